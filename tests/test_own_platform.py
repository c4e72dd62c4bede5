# SPDX-License-Identifier: MIT
"""
A device maker's own client library instead of ours: builds the program with the example of docs/own-library.md, as a
maker would, and compares a page and a chart.
"""
import shutil
import subprocess
import unittest
from pathlib import Path

from program import BUILD as DEVELOPMENT, headers, run

TESTS = Path(__file__).resolve().parent
BUILD = TESTS.parent / "build/own-platform"
EXAMPLE = TESTS.parent / "docs/examples/platform"
# Selectors; the name, the client and the option that the library got, the library's own start and the program's stop;
# escaping; a refusal; nobody to ask.
PAGE = {"<~ query `Stations{Role=peer}` do `${01}=${02},` ~>": "00:00:5E:00:53:02=Cellar &amp; garage,00:00:5E:00:53:03=Kitchen,",
        "<~ query `Example.Caller` do `${01},${02},${03},${04},${05};` ~>": "Vistel,Vistel,0,1,0;",
        "<~ query `System.ProductName` json ~>": "The \\\"example\\\"",
        "[<~ query `nonsense` ~><~ query `nonsense` rowcount ~>]": "[0]",
        "${_unanswered}<~ query `Example.Unreachable` ~>${_unanswered}": "1",
        "${_errorcount}${_error_k}": "1&#39;k&#39; can&#39;t become &#39;&lt;v&gt;&#39;."}


def call(*words):
    return subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


class OwnPlatform(unittest.TestCase):
    def test_a_page_with_the_makers_values(self):
        root, library = BUILD / "root", BUILD / "libmaker.a"
        pictures = root / "styles/std/img"
        pictures.mkdir(parents=True, exist_ok=True)
        configure = ["cmake", "-G", "Ninja", "-S", TESTS.parent, "-B", BUILD, "-DCMAKE_BUILD_TYPE=Debug",
                     "-DVISTEL_BUILD_SITE=OFF", f"-DVISTEL_DOCUMENT_ROOT={root}",
                     f"-DVISTEL_PLATFORM_INCLUDE_DIR={EXAMPLE}"]
        for wrong in ("", "/nonexistent.a"):
            result = call(*configure, f"-DVISTEL_PLATFORM_LIBRARY={wrong}")
            self.assertNotEqual(result.returncode, 0)
            self.assertIn(f"VISTEL_PLATFORM_LIBRARY is '{wrong}'", result.stdout)
        for words in (["c++", "-std=c++17", "-Wall", "-Wextra", "-Werror", "-fPIC", "-I", EXAMPLE, "-c",
                       EXAMPLE / "SysMgrProxy.cpp", "-o", BUILD / "maker.o"],
                      ["ar", "rcs", library, BUILD / "maker.o"],
                      [*configure, f"-DVISTEL_PLATFORM_LIBRARY={library}"],
                      ["cmake", "--build", BUILD]):
            result = call(*words)
            self.assertEqual(result.returncode, 0, result.stdout)
        (root / "page.wgl").write_text("".join(PAGE))
        answer = self.ask("_file=/page.wgl&:sys:k=<v>&_okpage=x")
        self.assertEqual(answer.output.partition("\r\n\r\n")[2], "".join(PAGE.values()))
        shutil.copy(DEVELOPMENT / "site/styles/std/img/snr_template.gif", pictures)
        left = set(Path("/tmp").glob("snr-*"))
        charts = [self.ask("_file=image&_type=snr&_style=std&mac=00:00:5E:00:53:" + end).output for end in ("02", "99")]
        self.assertTrue(charts[0].startswith(headers("image/gif") + "GIF87a") and charts[0].endswith(";"))
        self.assertNotEqual(*charts)  # the second one has no values
        self.assertEqual(set(Path("/tmp").glob("snr-*")), left)
        # Nothing of ours is built.
        self.assertNotRegex((BUILD / "build.ninja").read_text(), r"[ /](platform|sysmgr|simulator)/(?!SysMgrProxy)\w+\.cpp")

    def ask(self, query):
        answer = run([BUILD / "main/vistel.cgi"], {"REQUEST_METHOD": "GET", "QUERY_STRING": query})
        self.assertEqual((answer.status, answer.errors), (0, ""))
        return answer
