# SPDX-License-Identifier: MIT
"""
A device maker's own client library instead of ours: builds the program with a stand-in, as a maker
would, and checks pages. Also checks that our own library builds with base/ alone.
"""
import os
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

TESTS = Path(__file__).resolve().parent
SOURCE = TESTS.parent
FLAGS = ["-std=c++17", "-fPIC", "-fno-exceptions", "-fno-rtti", "-c"]


def run(*words, **options):
    result = subprocess.run(words, capture_output=True, text=True, **options)
    assert result.returncode == 0, "%s\n%s%s" % (words, result.stdout, result.stderr)


class OwnPlatform(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory(prefix="vistel-platform-")
        cls.addClassCleanup(scratch.cleanup)
        cls.folder = Path(scratch.name).resolve()
        cls.library = cls.folder / "libmaker.a"
        headers = cls.folder / "include"
        shutil.copytree(TESTS / "standin" / "platform", headers / "platform")
        run("c++", *FLAGS, "-I", headers, TESTS / "standin" / "StandIn.cpp", "-o", cls.folder / "maker.o")
        run("ar", "rcs", cls.library, cls.folder / "maker.o")
        cls.root = cls.folder / "root"
        cls.root.mkdir()
        cls.configuration = ["cmake", "-G", "Ninja", "-S", SOURCE, "-B", cls.folder / "build",
                             "-DCMAKE_BUILD_TYPE=Debug", "-DVISTEL_BUILD_SITE=OFF", f"-DVISTEL_DOCUMENT_ROOT={cls.root}",
                             f"-DVISTEL_PLATFORM_INCLUDE_DIR={headers}"]
        run(*cls.configuration, f"-DVISTEL_PLATFORM_LIBRARY={cls.library}")
        run("cmake", "--build", cls.folder / "build")

    def page(self, template, query):
        (self.root / "page.wgl").write_text(template)
        result = subprocess.run([self.folder / "build/main/vistel.cgi"], capture_output=True, text=True,
                                env={"REQUEST_METHOD": "GET", "QUERY_STRING": "_file=/page.wgl&" + query})
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout.rpartition("\n\n")[2]

    def test_queries_and_settings_are_the_makers(self):
        # The library got the name, the client and the option; its own start ran, and the program's stop.
        self.assertEqual(self.page("<~ query `a;<b>` do `${01},` ~>", ""),
                         "a,&lt;b&gt;,Vistel,Vistel,0,10,")
        self.assertEqual(self.page("<~ query `a` json ~>", ""), "escaped:a")
        self.assertEqual(self.page("[<~ query `fail` ~><~ query `fail` rowcount ~>]", ""), "[0]")
        self.assertEqual(self.page("${_errorcount}${_error_k}", ":sys:k=<v>&_okpage=x"), "1no k=&lt;v&gt;")

    def test_nothing_of_ours_is_built(self):
        self.assertEqual(list((self.folder / "build/platform").glob("*.a")), [])
        self.assertFalse((self.folder / "build/sysmgr").exists())

    def test_half_an_option_is_refused(self):
        for wrong in ("", "-DVISTEL_PLATFORM_LIBRARY=/nonexistent.a"):
            with self.subTest(wrong):
                words = [str(word).replace("/build", "/other") for word in self.configuration]
                result = subprocess.run([*words, *filter(None, [wrong])], capture_output=True, text=True)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn("VISTEL_PLATFORM_LIBRARY", result.stderr)

    def test_our_own_library_needs_nothing_but_base(self):
        for folder in ("platform", "base"):
            shutil.copytree(SOURCE / folder, self.folder / "alone" / folder)
        sources = sorted((self.folder / "alone").glob("*/*.cpp"))
        self.assertGreater(len(sources), 7)
        run("c++", *FLAGS, "-Wall", "-Wextra", "-Werror", '-DVISTEL_SYSMGR_SOCKET="/socket"',
            "-I", self.folder / "alone", *sources, cwd=self.folder)


if __name__ == "__main__":
    unittest.main()
