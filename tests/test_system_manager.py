# SPDX-License-Identifier: MIT
"""
The finished program and a system manager of the test's own: pages with values, forms, and what
happens when nobody, or a liar, is at the other end.

usage: test_system_manager.py PROGRAM DOCUMENT-ROOT SOCKET CHARTS   (the folder of their templates)
"""
import os
import shutil
import socketserver
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.parse
from contextlib import nullcontext
from pathlib import Path

PROGRAM, ROOT, SOCKET, CHARTS = sys.argv[1], Path(sys.argv[2]), sys.argv[3], Path(sys.argv[4])
DEADLINE_SECONDS = 10
HOSTILE = "<b>\"'&\u00e4</b>"
HOSTILE_HTML = "&lt;b&gt;&quot;&#39;&amp;\u00e4&lt;/b&gt;"


def netstring(data):
    return b"%d:%s," % (len(data), data)


def parts(payload):
    found = []
    while payload:
        length, payload = payload.split(b":", 1)
        found.append(payload[:int(length)])
        assert payload[int(length):int(length) + 1] == b","
        payload = payload[int(length) + 1:]
    return found


def cells(text):
    """The rows of a table of one column."""
    if not text.startswith(b"\x01"):
        return [text.decode()]
    columns, rows, rest = text[1:].split(b":", 2)
    assert columns == b"1"
    found = parts(rest)
    assert len(found) == int(rows)
    return [cell.decode() for cell in found]


def table(*rows):
    if len(rows) == 1 and len(rows[0]) == 1:
        return rows[0][0].encode()
    columns = len(rows[0]) if rows else 0
    return (b"\x01%d:%d:" % (columns, len(rows)) +
            b"".join(netstring(cell.encode()) for row in rows for cell in row))


def answer(result, reply):
    return netstring(netstring(b"%d" % result) + netstring(reply))


class Peer(socketserver.UnixStreamServer):
    """Answers with what `react(kind, keys, values)` returns; None leaves the client waiting."""

    def __init__(self, react):
        self.react, self.requests, self.connections, self.faults = react, [], 0, []
        os.makedirs(os.path.dirname(SOCKET), exist_ok=True)
        super().__init__(SOCKET, None)

    def finish_request(self, request, client_address):
        self.connections += 1
        with request.makefile("rb") as stream:
            while True:
                length = b"".join(iter(lambda: stream.read(1).strip(b":"), b""))
                if not length:
                    return
                kind, service, secret, client, keys, last = parts(stream.read(int(length) + 1)[:-1])
                self.requests.append((kind.decode(), cells(keys), last))
                reaction = self.react(*self.requests[-1])
                if reaction is not None:
                    request.sendall(reaction)

    def handle_error(self, request, client_address):
        if not isinstance(sys.exc_info()[1], ConnectionError):  # nonsense makes the program hang up
            self.faults.append(sys.exc_info()[1])
            super().handle_error(request, client_address)

    def __enter__(self):
        threading.Thread(target=self.serve_forever, args=(0.01,), daemon=True).start()
        return self

    def __exit__(self, *_):
        self.shutdown()
        self.server_close()
        os.unlink(SOCKET)


class SystemManager(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(dir=ROOT)
        self.addCleanup(self.folder.cleanup)

    def page(self, template, fields=(), method="GET"):
        """The body of the page, whose process must end well."""
        path = Path(self.folder.name, "page.wgl")
        path.write_text(template)
        fields = [("_file", "/%s/page.wgl" % path.parent.name), *fields]
        encoded = urllib.parse.urlencode(fields).encode()
        environment = {"REQUEST_METHOD": method, "QUERY_STRING": encoded.decode()}
        if method == "POST":
            environment = {"REQUEST_METHOD": method, "CONTENT_LENGTH": str(len(encoded)),
                           "CONTENT_TYPE": "application/x-www-form-urlencoded"}
        result = subprocess.run([PROGRAM], input=encoded if method == "POST" else b"",
                                capture_output=True, env=environment, timeout=60)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        return result.stdout.decode().partition("\r\n\r\n")[2]

    def test_every_form_of_query(self):
        def react(kind, keys, option):
            self.assertEqual((kind, option), ("query", b"0"))
            rows = {"one": [[HOSTILE, "2"]], "outer": [["x"], ["y"]],
                    "inner": [["1", "a<"], ["2", "b"]]}.get(keys[0])
            return answer(1, b"unknown") if rows is None else answer(0, table(*rows))

        many = "<~ query `one` ~>" * 50
        for template, page, asked in (
                ("no query", "no query", 0),
                ("<~ query `one` ~>", HOSTILE_HTML + " 2", 1),
                ("<~ query `one` raw ~>", HOSTILE + " 2", 1),
                ("<~ query `one` json ~>", HOSTILE.replace('"', '\\"') + " 2", 1),
                ("<~ query `unknown` ~>", "", 1),
                ("<~ query `inner` rowcount ~><~ query `unknown` rowcount ~>", "20", 2),
                ("<~ query `inner` do `${ROW}=${02},` ~>${ROW}", "1=a&lt;,2=b,${ROW}", 1),
                ("<~ query `inner` raw do `${02}` ~><~ get `ROW` ~>", "a<b", 1),
                ("<~ query `unknown` do `never` ~>", "", 1),
                ("<~ query `outer` do `${01}[<~ query `inner` do `${01A}${01B}` ~>]` ~>",
                 "x[x1y2]y[x1y2]", 2),
                ("<~ query `outer` do `<~ set `v` `${01}` ~>` ~>${v}", "${01}", 1),
                ("<~ if `1` eq `1` then query `one` raw ~>", HOSTILE + " 2", 1),
                ("<~ if `1` eq `2` then query `one` raw ~>", "", 0),
                ("<~ if `1` eq `1` then query `outer` do `${01};` ~>", "x;y;", 1),
                ("<~ if `1` eq `2` then query `outer` do `${01};` ~>", "", 0),
                ("<~ if `1` eq `2` then query `outer` do `<~ query `inner` rowcount ~>` ~>", "", 1),
                ("<~ if `1` eq `2` then query `outer` do `<~ set `v` `was evaluated` ~>` ~>${v}",
                 "was evaluated", 0),
                ("<~ if <~ query `inner` rowcount ~> gt `1` then `many` ~>", "many", 1),
                (many, (HOSTILE_HTML + " 2") * 50, 50)):
            with self.subTest(template=template), Peer(react) as peer:
                self.assertEqual(self.page(template), page)
                self.assertEqual(len(peer.requests), asked)
                self.assertEqual(peer.connections, min(asked, 1))

    def test_a_template_error_shows_no_values(self):
        with Peer(lambda *_: answer(0, table(["x"], ["y"]))):
            for template in ("<~ query `a` do `${01}", "<~ query `a` do `${01}` raw ~>",
                             "<~ if `1` eq `2` then query `a` raw do ~>",
                             "<~ query <~ query `a` ~> json rowcount ~>"):
                self.assertRegex(self.page(template), r"\AWGL error \(line 1 in file '.*'\): syntax error")

    def test_a_request_never_reaches_another_key(self):
        text = "x},Admin=1};b:format=raw,%7D%4%\n+\u00e4{"
        with Peer(lambda *_: answer(0, b"v")) as peer:
            self.page("<~ query `Stations{Name=${n htmlesc}}.Mac` ~>", [("n", text)])
        (_, (key,), _), = peer.requests
        inside = key.removeprefix("Stations{Name=").removesuffix("}.Mac")
        self.assertRegex(inside, r"\A([0-9A-Za-z]|%[0-9A-F]{2})*\Z")
        self.assertEqual(urllib.parse.unquote(inside), text)

    FORM = ("${_page}|${_errorcount}|${_sys_Net_Name}|${_error_Net_Name}|${_sys_b}|${_error_b}|"
            "${_error_consistency}")
    FIELDS = [("_page", "form"), (":sys:Net.Name", HOSTILE), (":sys:b", "2"), ("_okpage", "done")]

    def test_a_form(self):
        for rows, page in (
                ([[""], [""]], f"done|0|{HOSTILE_HTML}||2||"),
                ([["<5>"], [""], ["not both"]], f"form|2|{HOSTILE_HTML}|&lt;5&gt;|2||not both")):
            with self.subTest(rows), Peer(lambda *_: answer(0, table(*rows))) as peer:
                self.assertEqual(self.page(self.FORM, self.FIELDS, "POST"), page)
                self.assertEqual([(kind, keys, cells(values)) for kind, keys, values in peer.requests],
                                 [("set", ["Net.Name", "b"], [HOSTILE, "2"])])

    def image(self, kind, react):
        """The response to a request for an image of a style of this test's own."""
        style = Path(self.folder.name, "style")
        shutil.copytree(CHARTS, style / "img", dirs_exist_ok=True)
        (ROOT / "styles").mkdir(exist_ok=True)
        query = "_file=image&_type=%s&mac=%s&_style=../%s/style" % (
            kind, "00:B0:52:00:00:01", Path(self.folder.name).name)
        with Peer(react):
            result = subprocess.run([PROGRAM], input=b"", capture_output=True, timeout=60,
                                    env={"REQUEST_METHOD": "GET", "QUERY_STRING": query})
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        head, _, body = result.stdout.partition(b"\r\n\r\n")
        self.assertEqual(head, b"Content-Type: image/gif\r\nPragma: no-cache\r\n"
                               b"Cache-Control: no-cache\r\nExpires: -1")
        return body

    def test_images(self):
        file = Path(self.folder.name, "values")
        texts = {"HomePlug.OutputPower": b"",
                 "HomePlug.SNR{MacAddress=00:B0:52:00:00:01}:format=scalar": str(file).encode()}
        react = lambda kind, keys, option: answer(0, texts[keys[0]])
        for kind in ("power", "snr"):
            template = (CHARTS / f"{kind}_template.gif").read_bytes()
            file.write_bytes(b"")
            self.assertEqual(self.image(kind, react), template)  # no values, no bars
            file.write_bytes(struct.pack("1155d", *[20.0] * 1155))
            texts["HomePlug.OutputPower"] = b"256," * 1155
            image = self.image(kind, react)
            self.assertNotEqual(image, template)
            self.assertEqual((image[:6], image[13:37], image[-1:]),
                             (b"GIF87a", template[13:37], b";"))
        self.assertFalse(file.exists())

    def test_nobody_or_a_liar_is_there(self):
        for reaction, message in (
                (None, "The system manager could not be reached; the setting was not stored."),
                *((lie, "The system manager did not answer; the setting may or may not be stored.")
                  for lie in (b"nonsense", b"16777217:", answer(0, b"\x011:4294967296:0:,")))):
            with self.subTest(reaction), Peer(lambda *_: reaction) if reaction else nullcontext():
                self.assertEqual(self.page("[<~ query `a` ~><~ query `a` rowcount ~>]"), "[0]")
                self.assertEqual(self.page(self.FORM, self.FIELDS, "POST"),
                                 f"form|2|{HOSTILE_HTML}|{message}|2|{message}|")

    def test_a_closed_output_is_not_the_connection(self):
        with Peer(lambda *_: answer(0, b"")) as peer:
            subprocess.run([PROGRAM], stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60,
                           preexec_fn=lambda: os.close(1),
                           env={"REQUEST_METHOD": "GET", "QUERY_STRING": ":sys:a=1"})
        self.assertEqual((len(peer.requests), peer.faults), (1, []))

    def test_a_peer_that_stalls(self):
        with Peer(lambda *_: None):
            start = time.monotonic()
            self.assertIn("form|2|", self.page(self.FORM, self.FIELDS, "POST"))
            waited = time.monotonic() - start
        self.assertGreaterEqual(waited, DEADLINE_SECONDS - 0.1)
        self.assertLess(waited, DEADLINE_SECONDS + 3)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
