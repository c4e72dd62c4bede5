# SPDX-License-Identifier: MIT
"""
One table of requests through each of the web servers that deploy/ has a configuration for. The rule:
what a server lets through is compared with what the program itself writes for the same request. Needs
build/web, installed (cmake --install build/web).
"""
import base64
import importlib.machinery
import importlib.util
import itertools
import os
import random
import re
import resource
import socket
import ssl
import subprocess
import tempfile
import threading
import time
import unittest
import urllib.parse
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from program import run
from web_servers import HOST, ROOT, SOURCE, START_SECONDS, UPLOAD, Server, parse, program, spellings

LOADER = importlib.machinery.SourceFileLoader("slow_clients", str(SOURCE / "bench/slow-clients"))
slow_clients = importlib.util.module_from_spec(importlib.util.spec_from_loader("slow_clients", LOADER))
LOADER.exec_module(slow_clients)
KNOWN_FILES = {"", "/wgl/main.wgl", "fs", "ie6", "sysinfo", "getjson", "validate", "image", "syscfg"}
FORM = "application/x-www-form-urlencoded"
REFUSED = (403, 404)
LARGEST_FILE_BYTES = 6291455
PASSWORD = "correct horse: battery"


class Requests:
    """The table; one class for each server gives it a name."""
    headers_on_errors, serves_dotfiles, own_403, speaks_tls, is_proxied = True, False, True, True, True

    @classmethod
    def setUpClass(cls):
        cls.server = Server(cls.name)
        cls.addClassCleanup(cls.server.stop)

    def assert_policy(self, response, strict, what):
        policy = response.getheader("Content-Security-Policy", "")
        self.assertRegex(policy, "^default-src 'none'; .*frame-ancestors 'self'", what)
        self.assertNotRegex(policy, r"unsafe|sandbox\s*\w", what)
        self.assertEqual(("sandbox" in policy, "script-src 'self'" in policy), (strict, not strict), what)
        self.assertEqual(response.getheader("X-Content-Type-Options"), "nosniff", what)
        for name in ("Referrer-Policy", "Cross-Origin-Resource-Policy", "Cross-Origin-Opener-Policy"):
            self.assertEqual(response.getheader(name), "same-origin", what)

    def assert_programs(self, answer, expected, what, strict=None):
        status, response, body = answer
        self.assertEqual((status, body), (200, expected[1]), what)
        for name, value in expected[0].items():
            self.assertEqual(response.getheader(name), value, what)
        if strict is not None:
            self.assert_policy(response, strict, what)

    def assert_refused(self, answer, what, statuses=REFUSED):
        status, response, body = answer
        self.assertIn(status, statuses, what)
        if status == 403 and self.own_403:
            self.assertEqual(body, b"<p>Our own 403.</p>", what)
            # Without a type that browsers show, they would show the page's source.
            self.assertRegex(response.getheader("Content-Type", ""), "^text/html(;|$)", what)
        if self.headers_on_errors:
            self.assertEqual(response.getheader("X-Content-Type-Options"), "nosniff", what)

    def test_what_is_let_through(self):
        rows = [("GET", path, b"", "", language) for path, language in itertools.product(
            ("/", "/?", "/?_lang=de", "/?_file=fs", "/?_file=ie6&_lang=fr", "/cgi-bin/vistel.cgi",
             "/?_file=%2Fwgl%2Fmain.wgl&_dir=std&_style=std&_page=help", "/?_file=sysinfo",
             "/?_file=getjson", "/?_file=validate", "/?_file=/wgl/main.wgl&x=%3Cb%3E&y=a=b+c"), (None, "fr,de"))]
        rows += [("POST", path, body, content_type, None) for (body, content_type), path in itertools.product(
            ((b"_file=/wgl/main.wgl&_page=settings&:sys:System.Name=", FORM),
             (b"_file=fs", FORM + "; charset=utf-8"), (b"x" * 8192, FORM), (b"x" * 8193, FORM), (b"x", "text/plain")),
            ("/", "/?_file=ignored", "/cgi-bin/vistel.cgi"))]
        for method, path, body, content_type, language in [*rows, ("PUT", "/", b"x", "", None)]:
            query = urllib.parse.urlsplit(path).query if method == "GET" else ""
            self.assert_programs(
                self.server.request(path, method, body or None, Content_Type=content_type or None,
                                    Accept_Language=language, Origin=f"http://{HOST}:{self.server.port}"),
                program(method, query, body, content_type, HTTP_ACCEPT_LANGUAGE=language or ""),
                (method, path, body[:20], content_type), strict=None if method == "PUT" else False)
            if method == "GET":
                head = self.server.raw(f"HEAD {path} HTTP/1.0\r\nHost: {HOST}\r\n\r\n")
                self.assertRegex(head, rb"\AHTTP/1\.\d 200 [^\0]*\r\n\r\n\Z", path)

    def test_what_is_not_served(self):
        for path in ("/wgl/main.wgl", "/wgl/", "/wgl", "/WGL/main.wgl", "/wgl%2fmain.wgl",
                     "/%77gl/main.wgl", "/./wgl/main.wgl", "/styles/../wgl/main.wgl",
                     "/styles/%2e%2e/wgl/main.wgl", "/styles/..%2fwgl/main.wgl", "//wgl//main.wgl",
                     "/wgl/main.wgl/", "/wgl/main.wgl%00", "/wgl/main.wgl?x", "/wgl/main.wgl.",
                     "/styles/std/../../wgl/main.wgl", "/locale/de/LC_MESSAGES/vistel.mo",
                     "/styles/../locale/de/LC_MESSAGES/vistel.mo", "/locale/", "/styles/",
                     "/styles/std/", "/../../../../../../etc/passwd", "/cgi-bin/", "/vistel.cgi",
                     "/styles/%2e%2e/%2e%2e/%2e%2e/etc/passwd", "/cgi-bin/vistel.cgi/x",
                     "/cgi-bin/../cgi-bin/vistel.cgi/../../wgl/main.wgl", "/cgi-bin/index.cgi",
                     "/cgi-bin/vistel.cgi/", "/probe.html", "/nowhere", "/styles/nowhere.css",
                     "/httpd.conf", "/nginx.conf", "/error.log", "/passwords",
                     *(() if self.serves_dotfiles else
                       ("/styles/probe.wgl", "/styles/.probe", "/styles/probe.wgl~"))):
            status, _, body = answer = self.server.request(path)
            self.assertNotRegex(body, rb"<~|\xde\x12\x04\x95|root:|\x7fELF|Index of|#!/", path)
            if status != 400:
                self.assert_refused(answer, path)

    def test_files(self):
        for path, content_type in (
                ("std/style.css", "text/css;charset=utf-8"), ("std/icon.svg", "image/svg+xml"),
                ("probe.js", "text/javascript;charset=utf-8"), ("probe.gif", "image/gif"),
                ("probe.png", "image/png")):
            status, response, body = self.server.request("/styles/" + path)
            self.assertEqual((status, body), (200, (self.server.www / "styles" / path).read_bytes()))
            self.assertEqual(response.getheader("Content-Type").replace(" ", ""), content_type)
            if self.headers_on_errors:
                self.assert_policy(response, False, path)

    def test_settings_in_urls(self):
        name = ":sys:"
        table = [name[:at] + spelling + name[at + 1:]
                 for at in range(len(name)) for spelling in spellings(name[at])]
        dice = random.Random(5)
        table += ["".join(dice.choice(spellings(c)[1:]) for c in name) for _ in range(40)]
        self.assertGreater(len(table), 120)
        for spelled in table:
            self.assertEqual(parse(spelled + "x=1"), [(":sys:x", "1")], spelled)
            self.assert_refused(self.server.request(f"/?{spelled}System.Name=x"), spelled, (403,))
        for query, method, path in itertools.product(
                ("_file=fs&:sys:X=1", "a=1&%3asys:X=1&b=2", "a&:sys:X=1", "%%3asys:X"),
                ("GET", "HEAD", "POST"), ("/", "/cgi-bin/vistel.cgi")):
            answer = self.server.request(f"{path}?{query}", method, b"a=b" if method == "POST" else None)
            self.assertEqual(answer[0], 403, (method, query))
        for harmless in ("sys:", ":sy:", ":sys", "%3Bsys:", ":%72ys:", "%%3%41sys:", ":s%79s%3", ":SYS:"):
            self.assertFalse(any(n.startswith(":sys:") for n, _ in parse(harmless + "x=1")))
            self.assert_programs(self.server.request(f"/?{harmless}x=1"),
                                 program("GET", harmless + "x=1"), harmless)

    def test_origins(self):
        body, here = b"_file=fs", f"{HOST}:{self.server.port}"
        expected = program("POST", "", body, FORM)
        for host, allowed, origins in (
                (here, True, (None, "http://" + here, "https://" + here)),
                (here, False, ("null", "http://evil.example", here, f"http://{here}0", f"http://{HOST}",
                               f"http://{here}.evil.example", f"http://evil{here}", f"http://evil@{here}",
                               f"http://{here}@evil", f"http://{here}/", "http://", "x", f"http://evil/{here}",
                               f"file://{here}", "http://evil&host=evil&", f"http://{here} {here}")),
                ("vistel", True, ("http://vistel",)),
                ("vistel", False, ("http://vistel:80", "http://vistel.local")),
                ("vistel.local", True, ("https://vistel.local",)),
                ("192.0.2.7", True, ("http://192.0.2.7",)), ("192.0.2.7", False, ("http://192.0.2.77",)),
                ("[2001:db8::7]", True, ("http://[2001:db8::7]",)),
                ("[2001:db8::7]", False, ("http://[2001:db8::8]",)),
                ("[2001:db8::7]:8080", True, ("https://[2001:db8::7]:8080",)),
                ("[2001:db8::7]:8080", False, ("http://[2001:db8::7]",))):
            for origin, path in itertools.product(
                    origins, ("/", "/cgi-bin/vistel.cgi?a=%41+b", "/?origin=evil.example&host=evil.example&")):
                what = (host, origin, path)
                answer = self.server.request(path, "POST", body, Content_Type=FORM, Host=host, Origin=origin)
                if allowed:
                    # Tools need no scripts, but a browser that sends no origin may have been led here.
                    self.assert_programs(answer, expected, what, strict=origin is None)
                else:
                    self.assert_refused(answer, what, (403,))
        # The program's path has many spellings, each of which may have a query that forges the comparison.
        forged = "?origin=evil.example&host=evil.example&"
        for path in ("//", "/./", "/x/..", "/x/../", "/%2f", "/%2F/", "/cgi-bin//vistel.cgi",
                     "/cgi-bin/./vistel.cgi", "/%63gi-bin/vistel.cgi", "///?/", "/.//cgi-bin/vistel.cgi"):
            answer = self.server.request(path + forged, "POST", body, Content_Type=FORM,
                                         Origin="http://evil.example")
            self.assertIn(answer[0], (400, 403, 404), path)
        # Requests that only read are allowed: another origin can't read the answer.
        self.assert_programs(self.server.request("/?_file=fs", Origin="http://evil.example"),
                             program("GET", "_file=fs"), "GET")

    def test_names_and_sites(self):
        """A name that anybody can register may lead here; what a browser does for another site is told."""
        post = {"method": "POST", "body": b"_file=fs", "Content_Type": FORM}
        for host in ("attacker.example", "vistel.local.attacker.example", "xadapter.example.net",
                     "adapterxexample.net", "127.0.0.1.nip.io", "local", ".local", "a b.local", "[::1].evil.example",
                     "1.2.3.4.5", "vistel:80:80", "vistel@evil.example"):
            for request in ({}, {"path": "/cgi-bin/vistel.cgi?_file=fs"}, {**post, "Origin": "http://" + host}):
                status, _, page = self.server.request(**{"path": "/", **request}, Host=host)
                if host == "local":  # a name without a dot
                    self.assertEqual(status, 200)
                elif status != 400:
                    self.assertEqual((status, page), (421, b"<p>Our own 421.</p>"), (host, request))
        for host in ("127.0.0.1", "192.0.2.7:80", "[2001:db8::7]", "[2001:DB8::7]:8080", "vistel", "VISTEL:80",
                     "a-b.Local", "a.b.lan:81", "x.home.arpa", "x.internal", "adapter.example.net",
                     "Other.Example.net:8080"):
            self.assertEqual(self.server.request("/?_file=fs", Host=host)[0], 200, host)
        self.assertRegex(self.server.raw("GET /?_file=fs HTTP/1.0\r\n\r\n"), rb"\AHTTP/1\.\d 200 ")
        for site, path, request, status in (
                ("cross-site", "/", {}, 200), ("cross-site", "/?_file=/wgl/main.wgl&_page=help&x=%3C", {}, 200),
                ("cross-site", "/?_file=image", {}, 403), ("Cross-Site", "/?_file=syscfg&_type=xml", {}, 403),
                ("cross-site", "/?a=b&_fil%65=syscfg", {}, 403), ("cross-site", "/?_file=fs&_file=image", {}, 403),
                ("cross-site", "/", post, 403), ("same-origin", "/", post, 200), ("none", "/?_file=image", {}, 200),
                ("same-site", "/?_file=image", {}, 200), ("cross-site", "/?_file=fs", {"method": "HEAD"}, 200)):
            self.assertEqual(self.server.request(path, **request, Sec_Fetch_Site=site)[0], status, (site, path))

    def test_policy_follows_what_a_request_can_name(self):
        dice = random.Random(7)
        words = ("_file=", "_file=", "&_file=", "_fil%65=", "%5ffile=", "_page", "_lang", "a",
                 "=", "=", "=", "&", "&", "&",
                 "/wgl/main.wgl", "%2Fwgl%2fmain.wgl", "fs", "getjson", "help", "/x", "..", "+", "%",
                 "%00", "%zz", "de", "%3Cscript%3E", "<b>", ";")
        table = ["".join(dice.choices(words, k=dice.randint(1, 9))) for _ in range(120)]
        table += ["_file=/%3Cscript%3E", "_file=/wgl/main.wgl&_file=/x", "a&_file=/x", "_file=fs/",
                  "%5Ffile=/x", "_fil%65=x", "_file=FS", "_file=fs%00", "_file=fs%20", "_file=fs+",
                  "_file", "fs", "&_file=fs", "_file=fs&_page=../x", "_file=fs&_page=%3Cb",
                  "_file=/wgl//main.wgl", "_file=/wgl/mainXwgl", "_file=fs%0A", "%=_file=/x",
                  "_file=\xe9"]
        strict = 0
        for query in table:
            path = "/?" + urllib.parse.quote(query, safe="%&=+/<>;.*_", encoding="latin-1")
            status, response, _ = self.server.request(path)
            self.assertEqual(status, 200, query)
            hostile = any(name == "_file" and value not in KNOWN_FILES or
                          name == "_page" and not re.fullmatch(r"[\w-]*", value, re.ASCII)
                          for name, value in parse(query))
            strict += hostile
            self.assert_policy(response, hostile or "sandbox" in response.getheader("Content-Security-Policy"), query)
        self.assertGreater(strict, 25)

    def test_list_of_pages(self):
        for pages, trusted, others in (
                ("/wgl/main.wgl /wizard.wgl fs", ("/", "/?_file=%2Fwizard.wgl&x=1", "/?_file=fs", "/?_file=image"),
                 ("/?_file=/wizardXwgl", "/?_file=/wgl/x.wgl", "/?_file=getjson")),
                ("*", ("/?_file=/a/b-c.wgl", "/?_file=getjson"), ("/?_file=/%3Cb", "/?_file=x", "/?_file=/a+b"))):
            server = Server(self.name, VISTEL_PAGES=pages)
            try:
                for path in (*trusted, *others):
                    self.assert_policy(server.request(path)[1], path in others, path)
                self.assertEqual(server.request("/?_file=image", Sec_Fetch_Site="cross-site")[0], 403)
            finally:
                server.stop()

    def test_program_without_a_word(self):
        for kind in ("none", "xml"):
            status, response, page = self.server.request("/?_file=syscfg&_type=" + kind)
            self.assertIn((status, page), ((500, b"<p>Our own 500.</p>"), (500, b"<p>Our own 502.</p>"),
                                           (502, b"<p>Our own 502.</p>")))
            self.assert_policy(response, False, "a failed download")

    def test_downloads(self):
        for content, name in ((b"x", "settings"), (b"<a>\n" * 30_000 + b"b", "settings"), (b"\n\n", "settings"),
                              (b'<?xml ?>\n<configuration format="1" device="Plug-2" model="1">\n', "Plug-2"),
                              (b'<?xml ?>\n<configuration format="1" device="A&quot;B" model="1">\n', "settings")):
            with tempfile.TemporaryDirectory() as folder:
                Path(folder, "content").write_bytes(content)
                Path(folder, "vistel.cgi").write_text("#!/bin/sh\nprintf 'Content-Type: text/xml\\r\\n'\n"
                                                      """printf 'Content-Disposition: attachment; filename="a; '\n"""
                                                      """printf 'filename="b.xml"\\r\\n\\r\\n'\n"""
                                                      f"cat {folder}/content\n")
                for path in (folder, folder + "/vistel.cgi"):
                    os.chmod(path, 0o755)
                server = Server(self.name, VISTEL_CGI=folder)
                try:
                    for path in ("/?_file=syscfg&_type=xml", "/?_type=xml&_file=syscfg"):
                        status, response, page = server.request(path)
                        self.assertEqual((status, response.getheader("Content-Type"), page), (200, "text/xml", content))
                        self.assertRegex(response.getheader("Content-Disposition"),
                                         rf'\Aattachment; filename="{name}-\d{{4}}-\d\d-\d\d\.xml"\Z')
                finally:
                    server.stop()

    def test_body_limits(self):
        content = random.Random(9).randbytes(LARGEST_FILE_BYTES)
        upload = (b'--x\r\nContent-Disposition: form-data; name="_file"\r\n\r\nfs\r\n'
                  b'--x\r\nContent-Disposition: form-data; name="f"; filename="f"\r\n\r\n' + content +
                  b"\r\n--x--\r\n")
        UPLOAD.parent.mkdir(exist_ok=True)
        self.addCleanup(UPLOAD.unlink, missing_ok=True)
        for body, content_type, stored in (
                (upload, "multipart/form-data; boundary=x", True),
                (bytes(LARGEST_FILE_BYTES + 65536), "application/octet-stream", False)):
            expected = program("POST", "", body, content_type)
            UPLOAD.unlink(missing_ok=True)
            answer = self.server.request("/", "POST", body, Content_Type=content_type)
            self.assert_programs(answer, expected, content_type)
            self.assertEqual(UPLOAD.exists() and UPLOAD.read_bytes() == content, stored)
        for path in ("/", "/cgi-bin/vistel.cgi"):
            status, _, page = self.server.request(path, "POST", announced=7 * 1024 * 1024,
                                                  Content_Type="multipart/form-data; boundary=x")
            self.assertEqual((status, page), (413, b"<p>Our own 413.</p>"))

    def test_a_body_that_is_cut_off_is_nothing(self):
        for announced, sent in ((9, b"_file=fs"), (200, b"_file=fs&"), (20000, b"_file=fs&x=" + b"y" * 19000)):
            answer = self.server.raw(f"POST / HTTP/1.1\r\nHost: x\r\nContent-Length: {announced}\r\n"
                                     f"Content-Type: {FORM}\r\n\r\n{sent.decode()}", ends=True)
            self.assertNotRegex(answer, rb"\AHTTP/1\.\d 200 |<frame", announced)

    def test_passwords(self):
        """With a password, and without other error pages of the site than that for it."""
        server = Server(self.name, PASSWORD, **({"VISTEL_PROXIED": "1"} if self.is_proxied else {}))
        self.addCleanup(server.stop)

        def basic(name, password):
            return "Basic " + base64.b64encode(f"{name}:{password}".encode()).decode()
        # Tries wrong passwords only once, because servers delay their answers to them.
        wrong = [("/", authorisation) for authorisation in (
            basic("admin", "wrong"), basic("root", PASSWORD), basic("admin", ""), "Bearer x")]
        paths = ("/", "/?_file=fs", "/cgi-bin/vistel.cgi")
        for path, authorisation in [(path, None) for path in paths] + wrong:
            status, response, body = server.request(path, Authorization=authorisation)
            self.assertEqual(status, 401, (path, authorisation))
            self.assertEqual(body, b"<p>Our own 401.</p>", path)
            if authorisation is None:
                self.assertRegex(response.getheader("WWW-Authenticate"), '^Basic realm="Vistel"')
        allowed = {"Authorization": basic("admin", PASSWORD)}
        for path in paths:
            self.assertEqual(server.request(path, **allowed)[0], 200)
        self.assertEqual(server.request("/?_file=fs", **allowed)[2], program("GET", "_file=fs")[1])
        # Without an error page of the site, the status stays the same.
        form = {"method": "POST", "Content_Type": FORM, **allowed}
        for path, request, statuses in (("/?:sys:x=1", allowed, (403,)), ("/wgl/main.wgl", allowed, REFUSED),
                                        ("/", {"announced": 7 * 1024 * 1024, **form}, (413,)),
                                        ("/", {"body": b"_file=fs", "Origin": "null", **form}, (403,))):
            self.assertIn(server.request(path, **request)[0], statuses, path)
        # A stranger's guesses are slowed, and nobody else is. A new password counts at once.
        def guess_one(number):  # a stranger can claim addresses, but only before the one that the server in front adds
            stranger = {"X_Forwarded_For": f"198.51.100.{number}, 203.0.113.9"} if self.is_proxied else {"source": "127.0.0.2"}
            while (status := server.request("/", **stranger, Authorization=basic("admin", "guess"))[0]) == 503:
                time.sleep(0.1)
            answers.append(status)
        guesses = [threading.Thread(target=guess_one, args=(number,)) for number in range(220)]
        answers, started = [], time.monotonic()
        for guess in guesses:
            guess.start()
        self.assertEqual(server.request("/?_file=fs", **allowed)[0], 200)
        self.assertLess(time.monotonic() - started, 5)
        for guess in guesses:
            guess.join()
        self.assertEqual(set(answers), {401, 429})
        # A hundred in each ten seconds; the first and the last of these may have begun before, or end later.
        self.assertLessEqual(answers.count(401), 100 * (2 + int((time.monotonic() - started) / 10)))
        server.set_password("another good one")
        self.assertEqual([server.request("/?_file=fs", Authorization=basic("admin", word))[0]
                          for word in (PASSWORD, "another good one")], [401, 200])

    def test_start(self):
        """No password, no server; and TLS where the server speaks it, without HTTP/2."""
        for environment, complaint in (({"VISTEL_OPEN": ""}, "there is no password in"),
                                       ({"VISTEL_HOSTS": "a;b"}, "Usage: deploy/start"),
                                       ({"VISTEL_PAGES": "a|b"}, "Usage: deploy/start"),
                                       *(() if self.speaks_tls else (({"VISTEL_TLS": "1"}, "speaks no TLS"),))):
            with self.assertRaisesRegex(RuntimeError, complaint):
                Server(self.name, **environment)
        if self.speaks_tls:
            server = Server(self.name, VISTEL_TLS="1")
            self.addCleanup(server.stop)
            self.assertEqual(server.request("/?_file=fs")[2], program("GET", "_file=fs")[1])
            self.assertEqual((server.state / "tls.pem").stat().st_mode & 0o777, 0o600)
            context = ssl._create_unverified_context()
            context.set_alpn_protocols(["h2", "http/1.1"])
            with socket.create_connection((HOST, server.port)) as connection, context.wrap_socket(connection) as secured:
                self.assertNotEqual(secured.selected_alpn_protocol(), "h2")


class Lighttpd(Requests, unittest.TestCase):
    name = "lighttpd"

    def test_refusals_are_told_as_they_happen(self):
        server = Server(self.name, PASSWORD, VISTEL_REFUSALS="1")
        self.addCleanup(server.stop)
        allowed = {"Authorization": "Basic " + base64.b64encode(b"admin:" + PASSWORD.encode()).decode()}
        for path, more in (("/", {}), ("/", allowed), ("/x?a", allowed), ("/", {**allowed, "Host": "evil.example"})):
            server.request(path, **more)
        deadline, log = time.monotonic() + 5, server.state / "refused.log"
        while log.read_text().count("\n") < 2 and time.monotonic() < deadline:
            time.sleep(0.02)
        self.assertEqual(log.read_text(), f"web server: 403 GET /x?a HTTP/1.1, Host {HOST}:{server.port}, Origin -\n"
                                          "web server: 421 GET / HTTP/1.1, Host evil.example, Origin -\n")


class Nginx(Requests, unittest.TestCase):
    name = "nginx"

    def test_one_fcgiwrap_is_enough(self):
        """As when the others have not started yet."""
        server = Server(self.name)
        self.addCleanup(server.stop)
        sockets = [server.state / f"fcgiwrap.{number}" for number in "124"]
        end = time.monotonic() + START_SECONDS
        while not all(each.exists() for each in sockets):  # the server answers when one of the four is there
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)
        for each in sockets:
            each.unlink()
        for _ in range(4):
            self.assertEqual([server.request("/", "POST" if body else "GET", body, Content_Type=FORM)[0]
                              for body in (None, b"_file=fs")], [200, 200])


class Apache(Requests, unittest.TestCase):
    name = "apache"

    def test_bodies_that_are_not_whole(self):
        """Because the client has sent less, or because the disk takes less."""
        with tempfile.TemporaryDirectory() as folder:
            for announced, limit, status in ((5, 999, "200 OK"), (6, 999, "400 Bad Request"), (5, 4, "507 Insufficient Storage")):
                Path(folder, "vistel.cgi").write_text("#!/bin/sh\ncat\n")
                Path(folder, "vistel.cgi").chmod(0o755)
                answer = run([SOURCE / "deploy/body.cgi"], {"CONTENT_LENGTH": str(announced), "VISTEL_STATE": folder,
                             "VISTEL_CGI": folder, "PATH": os.environ["PATH"]}, ["a=b&c"], limit=(resource.RLIMIT_FSIZE, limit))
                self.assertEqual(answer.output, "a=b&c" if announced == limit - 994 else
                                 f"Status: {status}\r\nContent-Type: text/plain\r\n\r\n{status}\r\n")
                self.assertEqual(os.listdir(folder), ["vistel.cgi"])


class Busybox(Requests, unittest.TestCase):
    name, headers_on_errors, serves_dotfiles, own_403, speaks_tls, is_proxied = "busybox", False, True, False, False, False

    def test_pages_about_errors_hold_their_styles(self):
        folder = self.enterContext(tempfile.TemporaryDirectory())
        for name, content in (("styles/s.css", "p {}\n"), ("styles/s.js", "f();\n"), ("errors/401.html", (
                '<link rel="stylesheet" href="/styles/s.css">\n<script src="/styles/s.js" defer></script>\n<p>No.\n</body>\n'))):
            Path(folder, name).parent.mkdir(exist_ok=True)
            Path(folder, name).write_text(content)
        os.chmod(folder, 0o755)
        server = Server(self.name, PASSWORD, VISTEL_WWW=folder)
        self.addCleanup(server.stop)
        self.assertEqual(server.request("/")[2], b"<style>\np {}\n</style>\n<p>No.\n<script>\nf();\n</script>\n</body>\n")


class SlowClients(unittest.TestCase):
    """The short form of bench/slow-clients, which mostly waits: with two servers at once."""

    def check(self, name):
        server = Server(name)
        try:
            for what in slow_clients.BEGINNINGS:
                answers = slow_clients.others_wait(server.port, what, 3)
                self.assertEqual({status for _, status in answers}, {200}, (name, what))
                self.assertLess(max(answers)[0], 2, (name, what))
            self.assertLessEqual({status for _, status in slow_clients.at_once(server.port)}, {200, 503}, name)
        finally:
            server.stop()

    def test_slow_clients(self):
        with ThreadPoolExecutor(2) as pool:
            list(pool.map(self.check, (kind.name for kind in Requests.__subclasses__())))
