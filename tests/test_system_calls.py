# SPDX-License-Identifier: MIT
"""
What must not happen: a page opens only its templates, its catalogue and a few files of the C library,
and connects to nothing; no request executes anything.
"""
import re
import subprocess
import sys
import tempfile
import unittest
from contextlib import ExitStack
from pathlib import Path

from program import OTHER_PROGRAMS, SOURCE, Program, run

sys.path.append(str(SOURCE / "bench"))
from every_request import Site

CALLS = "trace=%file,%network,%process,%ipc"
# Resolving a name checks every folder on its path, and opens none.
HARMLESS = ("readlink", "readlinkat", "stat", "lstat", "newfstatat", "access", "faccessat",
            "faccessat2", "exit_group", "exit", "arch_prctl")
# Allowed outside the document root: the locale's files, and a dynamic program's libraries.
SYSTEM = re.compile(r"(/usr)?/lib/locale/.*|/usr/share/locale/.*|/etc/ld\.so\..*|(/usr)?/lib(64)?/.*\.so.*|"
                    r"/usr/lib/x86_64-linux-gnu/(glibc-hwcaps|gconv)/.*|/proc/self/auxv")


def traced(program, environment, body=""):
    with tempfile.NamedTemporaryFile() as log:
        answer = run(["strace", "-f", "-s", "4096", "-e", CALLS, "-o", log.name, program.path], environment, [body])
        return answer.output, [line for line in Path(log.name).read_text().splitlines()[1:]
                               if "+++" not in line]


class SystemCalls(unittest.TestCase):
    def setUp(self):
        probe = subprocess.run(["strace", "-o", "/dev/null", "true"], capture_output=True)
        if probe.returncode != 0:
            self.skipTest("tracing is not permitted here: " + probe.stderr.decode().strip())

    def check(self, query, *, page, environment=(), opened=()):
        for program in map(Program, OTHER_PROGRAMS):
            with self.subTest(program=program.build.name, query=query):
                output, calls = traced(program, {"REQUEST_METHOD": "GET", "QUERY_STRING": query, **dict(environment)})
                self.assertIn(page, output)
                inside = set()
                for call in calls:
                    name = re.match(r"\d+\s+(\w+)\(", call)
                    if not name or name[1] in HARMLESS:
                        continue
                    # No socket, no other process, and no change to any file.
                    self.assertIn(name[1], ("open", "openat", "openat2"), call)
                    self.assertNotRegex(call, r"O_WRONLY|O_RDWR|O_CREAT")
                    path = re.search(r'"([^"]*)"', call)[1]
                    if not path.startswith(f"{program.root}/"):
                        self.assertTrue(SYSTEM.fullmatch(path), call)
                    elif " = -1 " not in call:
                        inside.add(path[len(str(program.root)):])
                self.assertEqual(inside - {"/locale/C.utf8/LC_MESSAGES/SYS_LC_MESSAGES"}, set(opened))

    def test_nothing_is_executed(self):
        for program in map(Program, OTHER_PROGRAMS):
            # A dynamic program's imports; a static one's symbols.
            list_names = lambda *options: subprocess.run(["nm", *options, program.path], stdout=subprocess.PIPE,
                                                         text=True, check=True).stdout
            names = list_names("-D", "--undefined-only") or list_names()
            self.assertRegex(names, r"(?m) malloc(@.*)?$")
            self.assertNotRegex(names, r"(?m) _*(libc_)?(f?exec[lv]\w*|system|popen|posix_spawnp?|v?fork|clone3?)(@.*)?$")
            with ExitStack() as stack:
                for name, environment, body in Site(program, stack).requests():
                    with self.subTest(program=program.build.name, request=name):
                        output, calls = traced(program, environment, body)
                        self.assertTrue(output)
                        self.assertNotRegex("\n".join(calls), r"(?m)^\d+ +(v?fork|clone3?|exec\w*)\(")

    def test_every_program_answers_the_same(self):
        answers = {}
        for program in map(Program, OTHER_PROGRAMS):
            with ExitStack() as stack:
                site = Site(program, stack)
                for name, environment, body in site.requests():
                    output, errors, status = site.run([program.path], environment, body)
                    got = (output.replace(site.folder.name.encode(), b""), errors, status)
                    with self.subTest(program=program.build.name, request=name):
                        self.assertEqual(got, answers.setdefault(name, got))

    def test_what_is_opened(self):
        self.check("_lang=de", page="_actlang=de",
                   opened=["/wgl/main.wgl", "/locale/de/LC_MESSAGES/vistel.mo"])
        default = "/locale/en/LC_MESSAGES/vistel.mo"
        for path in ("/../../../../../../../../../../etc/passwd", "../../../../../../../../../etc/passwd"):
            self.check("_file=" + path, page="outside of document subtree", opened=[default])
        self.check("_lang=../../../../../../etc", page="_actlang=en", opened=["/wgl/main.wgl", default],
                   environment={"HTTP_ACCEPT_LANGUAGE": "..,/e,./", "LANGUAGE": "../../x"})
