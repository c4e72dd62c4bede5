# SPDX-License-Identifier: MIT
"""
Lint sees the whole program: a fault in a header of any folder is reported, and no source is left out.
"""
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

from program import BUILD, SOURCE

# The example in docs is a maker's: test_own_platform compiles it with warnings as errors.
FILES = [file.relative_to(SOURCE) for top in SOURCE.iterdir() if top.name not in ("build", "tests", "bench", "docs")
         for file in top.rglob("*.*")]


class Lint(unittest.TestCase):
    def test_planted_faults(self):
        folders = sorted({file.parent for file in FILES if file.suffix == ".h"})
        self.assertGreater(len(folders), 10)
        with tempfile.TemporaryDirectory() as scratch:
            source = Path(scratch, "planted.cpp")
            source.write_text("".join(f'#include "{folder}/Planted.h"\n' for folder in folders))
            for number, folder in enumerate(folders):
                header = Path(scratch, folder, "Planted.h")
                header.parent.mkdir(parents=True, exist_ok=True)
                header.write_text(f"inline int* f{number}() {{ return 0; }}\n")
            output = subprocess.run(["clang-tidy", f"--config-file={SOURCE / '.clang-tidy'}", source, "--", "-I", scratch],
                                    capture_output=True, text=True).stdout
            found = re.findall(f"{scratch}/(.*)/Planted.h:1:.* error: .*modernize-use-nullptr", output)
        self.assertEqual(sorted(found), sorted(map(str, folders)))

    def test_every_source_is_checked(self):
        checked = re.findall(r"^build tidy/([\w./-]+\.cpp):? ", (BUILD / "build.ninja").read_text(), re.M)
        self.assertEqual(sorted(checked), sorted(str(file) for file in FILES if file.suffix == ".cpp"))
