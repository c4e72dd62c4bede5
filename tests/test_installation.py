# SPDX-License-Identifier: MIT
"""
Installs the product into a scratch folder and checks the result: the files, the hardening of the
program, and that it works with nothing else on the machine.
"""
import io
import json
import os
import re
import shutil
import socket
import stat
import subprocess
import tarfile
import tempfile
import unittest
from pathlib import Path

from program import SOURCE, headers, run

BUILD = Path(os.environ.get("VISTEL_TEST_RELEASE_DIR", SOURCE / "build/release"))  # at its real paths
SITE = SOURCE / "site"
PROGRAM = "usr/lib/cgi-bin/vistel.cgi"
# What is installed beside the site's own files.
SERVERS = "usr/share/vistel/deploy/"
CONTROL = "usr/sbin/sysmgrctl"  # a link to sysmgrd
PROGRAMS = {PROGRAM, "usr/sbin/sysmgrd"}
FILES = {*("usr/share/man/man8/%s.8" % name for name in ("vistel.cgi", "sysmgrd", "sysmgrctl")), "usr/share/vistel/model.json", "usr/share/vistel/common-passwords",
         *("lib/systemd/system/" + unit for unit in ("sysmgrd.service", "vistel-web@.service")), "usr/www/errors/500.html",
         "usr/www/locale/C.utf8/LC_MESSAGES/SYS_LC_MESSAGES",
         *("usr/www/locale/%s/LC_MESSAGES/vistel.mo" % language for language in ("de", "en", "fr")),
         *("usr/www/styles/std/img/%s_template.gif" % chart for chart in ("power", "snr"))}
# A symbol that shows the use of a library, and the library's name in the bill of materials.
SYMBOLS = {"__libc_start_main": "glibc", "_Unwind_Resume": "gcc", "EGifSpew": "giflib", "sqlite3_step": "sqlite",
           "event_base_new": "libevent", "XML_Parse": "expat", "sodium_init": "libsodium", "crypt": "libxcrypt"}
SITE_BYTES = 64 * 1024  # of a device's flash


def command(*words):
    return subprocess.run(words, check=True, capture_output=True, text=True).stdout


class Installation(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = Path(cls.enterClassContext(tempfile.TemporaryDirectory(prefix="vistel-install-")), "root")
        os.umask(0o022)
        subprocess.run(["cmake", "--install", BUILD], check=True, capture_output=True,
                       env={**os.environ, "DESTDIR": str(cls.root)})
        cls.program = cls.root / PROGRAM

    def test_files_and_modes(self):
        site = {"usr/www/" + file.relative_to(SITE).as_posix() for folder in ("wgl", "styles", "errors")
                for file in (SITE / folder).rglob("*") if file.is_file() and file.suffix != ".in"}
        servers = {SERVERS + file.relative_to(SOURCE / "deploy").as_posix(): os.access(file, os.X_OK)
                   for file in (SOURCE / "deploy").rglob("*") if file.is_file() and ".service" not in file.name}
        scripts = {name for name, is_script in servers.items() if is_script}
        expected = {"drwxr-xr-x": {file.relative_to(self.root).as_posix() for file in self.root.rglob("*/")},
                    "-rwxr-xr-x": PROGRAMS | scripts, "lrwxrwxrwx": {CONTROL}, "-rw-r--r--": FILES | site | servers.keys() - scripts}
        found = {}
        for file in self.root.rglob("*"):
            found.setdefault(stat.filemode(file.lstat().st_mode), set()).add(file.relative_to(self.root).as_posix())
        self.assertEqual(found, expected)

    def test_versions(self):
        version = re.search(r"project\(vistel VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text())[1]
        for program in PROGRAMS | {CONTROL}:
            self.assertEqual(command(self.root / program, "--version"), f"{Path(program).name} {version}\n")
        # For a web server that makes arguments of a query's words.
        answer = run([self.program, "--version"], {"GATEWAY_INTERFACE": "CGI/1.1", "REQUEST_METHOD": "PUT"})
        self.assertEqual(answer.output, headers("text/plain") + "Unsupported request method: 'PUT'\r\n")

    def test_size_of_the_site(self):
        """Pages, catalogues and pictures, as one compressed archive."""
        archive = io.BytesIO()
        with tarfile.open(fileobj=archive, mode="w:xz") as site:
            site.add(self.root / "usr/www", "www")
        self.assertLess(len(archive.getvalue()), SITE_BYTES)

    def test_bill_of_materials(self):
        """What it lists is what the programs' symbols show, and has a licence and a notice."""
        bill = json.loads((BUILD / "sbom.spdx.json").read_text())
        packages = {package["name"]: package for package in bill["packages"]}
        for program, folder in (("vistel.cgi", "main"), ("sysmgrd", "sysmgr")):
            symbols = set(re.findall(r" (\w+)(?:@.*)?$", command("nm", BUILD / folder / program), re.M))
            listed = {relation["relatedSpdxElement"].removeprefix("SPDXRef-") for relation in bill["relationships"]
                      if relation["spdxElementId"] == "SPDXRef-" + program}
            self.assertEqual(listed, {name for symbol, name in SYMBOLS.items() if symbol in symbols} |
                             {"vistel.cgi": {"bison"}, "sysmgrd": {"nlohmann-json"}}.get(program, set()), program)
        notice = (SOURCE / "NOTICE").read_text().lower().replace(" ", "")
        for name, package in packages.items():
            self.assertRegex(package["licenseConcluded"], "^[A-Za-z0-9]+[A-Za-z0-9. -]*$")
            self.assertRegex(package["versionInfo"], r"^\d+(\.\d+)+")
            self.assertIn({"glibc": "gnuclibrary", "gcc": "libgcc", "nlohmann-json": "jsonformodernc++"}.get(name, name), notice)

    def test_relinking(self):
        """A recipient links the programs anew, with another function of the C library."""
        subprocess.run(["cmake", "--build", BUILD, "--target", "relink-kit"], check=True, capture_output=True)
        with tempfile.TemporaryDirectory(prefix="vistel relink ") as folder:
            kit = shutil.copytree(BUILD / "relink-kit", Path(folder, "kit"))
            (kit / "own.c").write_text('#include <unistd.h>\nint puts(const char* s) { return (int)write(1, "own\\n", 4); }\n')
            command("cc", "-c", "-o", kit / "own.o", kit / "own.c")
            for program, extra, said in (("vistel.cgi", "", "vistel.cgi "), ("vistel.cgi", "own.o", "own"), ("sysmgrd", "", "sysmgrd ")):
                subprocess.run([kit / "relink", program], check=True, env={**os.environ, "EXTRA": extra})
                self.assertTrue(command(kit / program, "--version").startswith(said))

    def test_hardening(self):
        header, segments, dynamic = (
            command("readelf", "--wide", option, self.program)
            for option in ("--file-header", "--program-headers", "--dynamic"))
        self.assertRegex(header, r"Type:\s+DYN")  # loaded at a different address each time
        self.assertIn("GNU_RELRO", segments)
        self.assertRegex(dynamic, r"BIND_NOW|FLAGS_1.*\bNOW\b")
        self.assertRegex(segments, r"GNU_STACK(\s+0x\w+)+\s+RW\s")
        self.assertNotRegex(segments, r"LOAD.*\bRWE\b")
        # All static: no loader loads it, and it loads no libraries.
        self.assertNotRegex(segments + dynamic, r"RPATH|RUNPATH|TEXTREL|INTERP|NEEDED")

    def test_replaced_parts_of_libraries(self):
        # main/NoExceptions.cpp and main/LocaleAlias.cpp keep these out of a static program.
        program = self.program.read_bytes()
        for library, text in (("libstdc++.a", b"terminate called"), ("libc.a", b"/locale.alias")):
            path = command("g++", "-print-file-name=" + library).strip()
            self.assertIn(text, Path(path).read_bytes())
            self.assertNotIn(text, program, library)

    def test_stack_protector(self):
        # Our own objects must refer to it, not only those of the C library. After link-time
        # optimisation, only the finished program shows that: main has an output buffer and a path on
        # its stack.
        checks = command("objdump", "--disassemble", "--no-show-raw-insn", self.program)
        self.assertGreater(checks.count("%fs:0x28"), 10)

    def run_alone(self, **environment):
        """Runs the program with the scratch folder as its whole file system."""
        enter = ["chroot"] if os.geteuid() == 0 else ["unshare", "-r", "chroot"]
        probe = subprocess.run([*enter, "/", "/bin/true"], capture_output=True)
        if probe.returncode != 0:
            self.skipTest("chroot is not permitted here: " + probe.stderr.decode().strip())
        # Started by its path, because the environment of the test holds no PATH.
        enter[0] = shutil.which(enter[0], path="/usr/sbin:/usr/bin:/sbin:/bin")
        return run([*enter, self.root, "/" + PROGRAM], environment)

    def test_real_paths_with_nothing_else(self):
        for language, other in (("de", "fr_FR.UTF-8"), ("fr", "C")):
            page, errors, status, _ = self.run_alone(REQUEST_METHOD="GET", QUERY_STRING="_lang=" + language,
                                                     LANG=other, LC_ALL=other, LANGUAGE="en")
            self.assertEqual((page[:len(headers("text/html"))], errors, status), (headers("text/html"), "", 0))
            self.assertIn(f'<html lang="{language}">', page)
            self.assertTrue(page.rstrip().endswith("</html>"))
            self.assertRegex(page, {"de": "[äöüß]", "fr": "[éèàç]"}[language])
            self.assertNotIn("WGL error", page)

    def test_refusals_are_logged(self):
        log = self.root / "dev" / "log"
        log.parent.mkdir()
        self.addCleanup(shutil.rmtree, log.parent)
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as receiver:
            receiver.bind(str(log))
            receiver.settimeout(5)
            result = self.run_alone(REQUEST_METHOD="PUT")
            self.assertEqual(result[:3], (headers("text/plain") + "Unsupported request method: 'PUT'\r\n", "", 1))
            # Priority LOG_USER | LOG_CRIT.
            self.assertRegex(receiver.recv(4096).decode(),
                             r"^<10>.*: RequestHandler::Parse\(\) failed\n?\0?$")
