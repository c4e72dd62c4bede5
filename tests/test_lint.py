# SPDX-License-Identifier: MIT
"""
Lint sees the whole program: a fault in a header of any folder is reported, and no source is left out.
"""
import json
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
        stamps = re.findall(r"^build tidy/([\w.-]+)\.checked:? ", (BUILD / "build.ninja").read_text(), re.M)
        checked = [Path(line).relative_to(SOURCE)
                   for stamp in stamps for line in (BUILD / f"tidy/{stamp}.list").read_text().split("\n") if line]
        self.assertEqual(sorted(checked), sorted(file for file in FILES if file.suffix == ".cpp"))

    # Names that meet in a group only are no fault; what is found is told with its place.
    def test_groups(self):
        both = "namespace {\nconstexpr int kSame = 1;\n}\n"
        for second, status in (("int F(int number);\nint F(int number) { return number; }\n", 0), (both, 0),
                               (both + "int* G() { return 0; }\n", 1), ("int* G() {\nreturn 0;\n}\n", 1),
                               # On one path of a function that the other source never calls so.
                               ("int H(int* p) { return p == nullptr ? *p : 1; }\nint I() { int x = 1; return H(&x); }\n", 1)):
            with self.subTest(second), tempfile.TemporaryDirectory() as scratch:
                sources = [Path(scratch, name) for name in ("first.cpp", "second.cpp")]
                for source, text in zip(sources, (both + "int kUsed = kSame;\n", second)):
                    source.write_text(text + ("int kUsedToo = kSame;\n" if text.startswith(both + "int*") or text == both else ""))
                Path(scratch, "compile_commands.json").write_text(json.dumps(
                    [{"file": str(source), "command": f"c++ -Wall -o x -c '{source}'"} for source in sources]))
                options = re.findall(r"--extra-arg=[^\s)]+", (SOURCE / "cmake/VistelLint.cmake").read_text())
                done = subprocess.run([SOURCE / "tools/lint-group", scratch, Path(scratch, "group.cpp"), *options, *sources],
                                      capture_output=True, text=True)
                self.assertEqual((done.returncode, f"{sources[1]}:" in done.stderr), (status, status == 1), done.stderr)
