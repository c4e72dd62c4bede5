# SPDX-License-Identifier: MIT
"""
A device maker's own client library instead of ours: builds the program with a stand-in, as a maker
would, and compares a page.
"""
import subprocess
import unittest
from pathlib import Path

from program import run

TESTS = Path(__file__).resolve().parent
BUILD = TESTS.parent / "build/own-platform"
# The name, the client and the option that the stand-in got; its own start ran, and the program's
# stop.
PAGE = {"<~ query `a;<b>` do `${01},` ~>": "a,&lt;b&gt;,Vistel,Vistel,0,10,",
        "<~ query `a` json ~>": "escaped:a",
        "[<~ query `fail` ~><~ query `fail` rowcount ~>]": "[0]",
        "${_errorcount}${_error_k}": "1no k=&lt;v&gt;"}


def call(*words):
    return subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


class OwnPlatform(unittest.TestCase):
    def test_a_page_with_the_makers_values(self):
        root, library = BUILD / "root", BUILD / "libmaker.a"
        root.mkdir(parents=True, exist_ok=True)
        for name in ("StringEscaper", "StringTable", "StringVector", "SvcMgrAdapter", "SysMgrProxy"):
            header = BUILD / f"include/platform/{name}.h"
            header.parent.mkdir(parents=True, exist_ok=True)
            header.write_text('#include "tests/standin/StandIn.h"\n')
        configure = ["cmake", "-G", "Ninja", "-S", TESTS.parent, "-B", BUILD, "-DCMAKE_BUILD_TYPE=Debug",
                     "-DVISTEL_BUILD_SITE=OFF", f"-DVISTEL_DOCUMENT_ROOT={root}",
                     f"-DVISTEL_PLATFORM_INCLUDE_DIR={BUILD / 'include'}"]
        for wrong in ("", "/nonexistent.a"):
            result = call(*configure, f"-DVISTEL_PLATFORM_LIBRARY={wrong}")
            self.assertNotEqual(result.returncode, 0)
            self.assertIn(f"VISTEL_PLATFORM_LIBRARY is '{wrong}'", result.stdout)
        for words in (["c++", "-std=c++17", "-fPIC", "-I", TESTS.parent, "-c", TESTS / "standin/StandIn.cpp", "-o",
                       BUILD / "StandIn.o"],
                      ["ar", "rcs", library, BUILD / "StandIn.o"],
                      [*configure, f"-DVISTEL_PLATFORM_LIBRARY={library}"],
                      ["cmake", "--build", BUILD]):
            result = call(*words)
            self.assertEqual(result.returncode, 0, result.stdout)
        (root / "page.wgl").write_text("".join(PAGE))
        answer = run([BUILD / "main/vistel.cgi"], {
            "REQUEST_METHOD": "GET", "QUERY_STRING": "_file=/page.wgl&:sys:k=<v>&_okpage=x"})
        self.assertEqual((answer.status, answer.errors), (0, ""))
        self.assertEqual(answer.output.partition("\r\n\r\n")[2], "".join(PAGE.values()))
        # Nothing of ours is built.
        self.assertNotRegex((BUILD / "build.ninja").read_text(), r"(platform|sysmgr|simulator)/\w+\.cpp")
