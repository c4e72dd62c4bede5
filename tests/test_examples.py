# SPDX-License-Identifier: MIT
"""The examples of docs/language.md: `vistel render` shows what the program shows with a device."""
import json
import re
import tempfile
from pathlib import Path

import test_author
import test_program

LEAST_EXAMPLES = 30


class Examples(test_author.Comparison):
    def test_every_example(self):
        self.count = 0
        with tempfile.TemporaryDirectory() as folder:
            values = Path(folder, "values.json")
            values.write_text(json.dumps(self.values_of_the_device()))
            self.tool = test_author.Tool(test_author.VISTEL, folder, "--model", test_author.MODEL, "--values", values)
            for line, sections in test_program.examples(test_program.Examples.TEXT):
                if not re.search(":sys:|System.Check", str(sections)):  # the device decides
                    self.check(f"docs/language.md:{line}", sections)
        self.assertGreater(self.count, LEAST_EXAMPLES)

    def values_of_the_device(self):
        """What the system manager answers to the keys of docs/language.md."""
        definitions = {key["key"]: key for key in json.loads(test_author.MODEL.read_text())["keys"]}
        cells = {key: ", ".join(f'"${{{number + 1:02}}}"' for number in range(len(definitions[key].get("columns", "1"))))
                 for key in set(re.findall("query `([A-Z][\\w.]+)", test_program.Examples.TEXT)) & {*definitions}}
        page = "".join(f'"{key}": [<~ query `{key}` json do `[{row}], ` ~>null], ' for key, row in cells.items())
        with test_program.real_system_manager(), test_program.PROGRAM.folder() as folder:
            Path(folder, "main.wgl").write_text("{%s}" % page.removesuffix(", "))
            request = {"REQUEST_METHOD": "GET", "QUERY_STRING": f"_file=/{Path(folder).name}/main.wgl"}
            answered = json.loads(test_program.PROGRAM.run(request).output.partition("\r\n\r\n")[2])
        return {key: rows[:-1] if definitions[key]["type"] == "table" else rows[0][0] for key, rows in answered.items() if rows[0]}
