# SPDX-License-Identifier: MIT
"""
A request of each kind, with the site and the system manager that it needs. The rule to know: all of
them succeed, but those that are made to be refused.
"""
import re
import shutil
import subprocess
import sys
import urllib.parse
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(SOURCE / "tests"))
from program import BUILD, SystemManager, answer, table

TIME_LIMIT_SECONDS = 25  # longer than the program waits for an answer
PAGE = """<~ include `part` ~><~ trans `Settings` ~> ${name htmltext} <~ query `a` ~>
<~ query `rows` do `${ROW}=${02},` ~> <~ query `rows` rowcount ~> <~ set `x` `<~ get `name` ~>${name}` ~>${x}
<~ if ${x} eq `TomTom` then `yes` else `no` ~> ${_errorcount} ${_sys_k} ${_error_k} ${_unanswered}
""" + "plain text " * 10_000
PART = "part <~ if `1` eq `1` then query `a` ~>"


class Site:
    """Templates, charts and downloads below the programs' document root, and a system manager."""

    def __init__(self, program, stack):
        self.root, self.upload = program.root, program.upload
        self.folder = Path(stack.enter_context(program.folder()))
        pictures = self.root / "styles" / self.folder.name / "img"
        shutil.copytree(BUILD / "site/styles/std/img", pictures)
        stack.callback(shutil.rmtree, pictures.parent)
        for name, text in (("page", PAGE), ("part", PART), ("wrong", "text <~ x"), ("syntax", "text <~ +")):
            (self.folder / name).write_text(text)
        self.unanswered = lambda number: False  # whether the query of that number, from 0, gets nonsense
        self.manager = stack.enter_context(SystemManager(program, self.react))

    def react(self, keys):
        if self.unanswered(len(self.manager.requests) - 1):
            return b"nonsense"
        if re.search("Show|SNR", keys[0]) and keys[0] != "System.ConfigShow":
            file = self.folder / "handed over.xml"
            file.write_bytes(b"\x40\x34" * 4620)
            return answer(0, str(file).encode())
        tables = {"rows": table(["1", "a"], ["2", "b"]), "k": table([""]), "HomePlug.OutputPower": b"256,512,1024"}
        return answer(0, tables.get(keys[0], b"value"))

    def requests(self):
        """Name, environment and body of a request of each kind."""
        form = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": "application/x-www-form-urlencoded", "CONTENT_LENGTH": "9"}
        multipart = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": "multipart/form-data; boundary=B"}
        fields = {"_file": f"/{self.folder.name}/page", "_lang": "de", "name": "Tom"}
        get = lambda **more: {"REQUEST_METHOD": "GET", "QUERY_STRING": urllib.parse.urlencode({**fields, **more})}
        part = lambda name, value: f'--B\r\nX: name="{name}"\r\n\r\n{value}\r\n'
        chart = {"_file": "image", "_style": self.folder.name, "mac": "00:00:5E:00:53:02"}
        yield "page", get(), ""
        yield "accepted", {**get(_lang="", name="Tom"), "HTTP_ACCEPT_LANGUAGE": "xx,de"}, ""
        yield "settings", form, urllib.parse.urlencode({**fields, ":sys:k": "v"})
        yield "upload", multipart, ('--B\r\nX: name="f"; filename="x"\r\n\r\n' + "u" * 70_000 + "\r\n" +
                                    "".join(part(*field) for field in fields.items()) + "--B--")
        yield "refused", {**form, "CONTENT_TYPE": "text/plain"}, ""
        yield "wrong", get(_file=f"/{self.folder.name}/wrong"), ""
        yield "syntax", get(_file=f"/{self.folder.name}/syntax"), ""
        for kind in ("power", "snr"):
            yield kind, get(**chart, _type=kind), ""
        for kind in ("ac", "cfg", "xml"):
            yield kind, get(_file="syscfg", _type=kind), ""

    def run(self, words, environment, body, unanswered=lambda number: False):
        """Output, errors and status; the status is None after the time limit."""
        self.unanswered = unanswered
        self.manager.requests.clear()
        self.upload.unlink(missing_ok=True)
        process = subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env=environment)
        try:
            output, errors = process.communicate(body.encode(), TIME_LIMIT_SECONDS)
        except subprocess.TimeoutExpired:
            process.kill()
            return b"", process.communicate()[1], None
        return output, errors, process.returncode
