# SPDX-License-Identifier: MIT
"""
The examples of docs/language.md, rendered: each template must come out as the document says. The
rule to know: no example is exempt. A `wgl` block is a template, the `output` block behind it the
whole page, a `log` block behind that what goes to the server's log. A line of its own above a
template, in code, is its file's name, or the query string of the request (`?name=Tom`), or both. A
file whose name begins with "/" is one of the tests' document root, and shown as it is there.

usage: test_language.py PROGRAM DOCUMENT-ROOT SOCKET SYSTEM-MANAGER
"""
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PROGRAM, ROOT, SOCKET, SYSMGRD = sys.argv[1], Path(sys.argv[2]).resolve(), sys.argv[3], sys.argv[4]
SOURCE = Path(__file__).resolve().parent.parent
DOCUMENT = SOURCE / "docs/language.md"
SHOWN_FOLDER = "/usr/www/wgl"  # what the document calls the folder of its templates
KINDS = ("wgl", "output", "log")


def blocks(text):
    """Line, kind, caption and content of every fenced block."""
    lines, caption, start = text.splitlines(), "", None
    for number, line in enumerate(lines, 1):
        if start is None and line.startswith("```"):
            start, kind = number, line[3:]
            if kind not in KINDS:
                raise ValueError(f"line {number}: a block is one of {', '.join(KINDS)}, not '{kind}'")
        elif start is not None and line == "```":
            yield start, kind, caption, "".join(each + "\n" for each in lines[start:number - 1])
            start, caption = None, ""
        elif start is None and line:
            caption = match[1] if (match := re.fullmatch("`([^`]+)`", line)) else ""
    if start is not None:
        raise ValueError(f"line {start}: the block does not end")


def examples(text):
    """Line, templates (caption, content), output and log of every example; the page's template is the last."""
    found, templates = [], []
    for line, kind, caption, content in blocks(text):
        if kind == "wgl":
            if templates and not re.fullmatch(r"[\w.]+", templates[-1][0]):
                raise ValueError(f"line {start}: the example has no output")
            start = line
            templates.append((caption, content))
        elif kind == "output":
            if not templates:
                raise ValueError(f"line {line}: the output has no template")
            found.append((start, templates, content, ""))
            templates = []
        elif not found or templates or found[-1][3]:
            raise ValueError(f"line {line}: the log has no output")
        else:
            found[-1] = (*found[-1][:3], content)
    if templates:
        raise ValueError(f"line {start}: the example has no output")
    if not found:
        raise ValueError("there are no examples")
    return found


class SystemManager:
    """The real one, with the project's model and settings that nobody has touched."""

    def __enter__(self):
        os.makedirs(os.path.dirname(SOCKET), exist_ok=True)
        os.chmod(os.path.dirname(SOCKET), 0o750)
        self.folder = tempfile.TemporaryDirectory()
        self.process = subprocess.Popen(
            [SYSMGRD, "--socket", SOCKET, "--model", SOURCE / "sysmgr/model.json", "--seed", "1",
             "--database", Path(self.folder.name, "settings.db")], stderr=subprocess.PIPE, text=True)
        log = ""
        for line in self.process.stderr:
            log += line
            if "ready on" in line:
                return self
        raise RuntimeError("the system manager ended: " + log)

    def __exit__(self, *_):
        self.process.terminate()
        self.process.communicate()
        self.folder.cleanup()


def render(folder, templates):
    """Body, log and exit status."""
    for caption, content in templates:
        name, _, query = caption.partition("?")
        if name.startswith("/"):
            if (ROOT / name[1:]).read_text() != content:
                raise ValueError(f"'{name}' is another in the tests' document root")
        else:
            (folder / (name or "page.wgl")).write_text(content)
    if not name.startswith("/"):
        query = f"_file=/{folder.name}/{name or 'page.wgl'}&{query}"
    result = subprocess.run([PROGRAM], capture_output=True, stdin=subprocess.DEVNULL, timeout=60,
                            env={"REQUEST_METHOD": "GET", "QUERY_STRING": query})
    body = result.stdout.decode().partition("\r\n\r\n")[2]
    return body.replace(str(folder), SHOWN_FOLDER), result.stderr.decode(), result.returncode


class Language(unittest.TestCase):
    def test_every_example(self):
        for line, templates, output, log in examples(DOCUMENT.read_text()):
            with self.subTest(f"docs/language.md:{line}"), SystemManager(), \
                    tempfile.TemporaryDirectory(dir=ROOT) as folder:
                body, errors, status = render(Path(folder), templates)
                self.assertEqual((body, errors), (output, log))
                # 1 and 2 are the ends of a page that shows an error, or nothing at all.
                self.assertIn(status, (2,) if log else (0, 1) if "WGL error" in output else (0,))

    def test_every_keyword_has_an_example(self):
        keywords = re.findall(r'^<CODE>"([^"`~]+)"', (SOURCE / "wgl/WGLScanner.l").read_text(), re.MULTILINE)
        shown = "".join(content for _, templates, _, _ in examples(DOCUMENT.read_text())
                        for _, content in templates)
        self.assertGreater(len(keywords), 10)
        for keyword in (*keywords, "htmltext", "htmlesc"):
            with self.subTest(keyword):
                self.assertRegex(shown, rf"(?<!\w){re.escape(keyword)}(?!\w)")

    def test_an_example_that_is_none(self):
        for text, message in (
                ("no block", "there are no examples"),
                ("\n```wgl\na\n```\n", "line 2: the example has no output"),
                ("```wgl\na\n```\n```wgl\nb\n```\n```output\nb\n```\n", "line 1: the example has no output"),
                ("`?a=b`\n```wgl\na\n```\n`foot.wgl`\n```wgl\nb\n```\n```output\n```\n",
                 "line 2: the example has no output"),
                ("```output\n```\n", "line 1: the output has no template"),
                ("```log\nx\n```\n", "line 1: the log has no output"),
                ("```\na\n```\n", "line 1: a block is one of wgl, output, log, not ''"),
                ("text\n```wgl\na\n", "line 2: the block does not end")):
            with self.subTest(text), self.assertRaisesRegex(ValueError, "^" + re.escape(message) + "$"):
                examples(text)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
