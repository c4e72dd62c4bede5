# SPDX-License-Identifier: MIT
"""
The whole way: `./run` on a free port, pages through the real web server, and a clean end. What a
web server refuses is the subject of test_web_servers.py.
"""
import html
import http.client
import itertools
import json
import os
import re
import signal
import socket
import subprocess
import unittest
import urllib.parse
from pathlib import Path
from xml.etree import ElementTree

SOURCE = Path(__file__).resolve().parent.parent
HOST = "127.0.0.1"
START_SECONDS, END_SECONDS = 240, 10
WORDS = {"en": r"Language", "de": r"[äöüß]", "fr": r"[éèàç]"}
HOSTILE = "<script>alert('1')</script>\"&%41+`~> ${_file} <~ get `_file` ~> äöü €"


def free_port():
    with socket.socket() as probe:
        probe.bind((HOST, 0))
        return probe.getsockname()[1]


def children(pid):
    found = []
    for stat in Path("/proc").glob("[0-9]*/stat"):
        try:
            fields = stat.read_text().rpartition(")")[2].split()
        except OSError:
            continue
        if int(fields[1]) == pid:
            found.append(int(stat.parent.name))
    return found


class WebServer(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.port = free_port()
        cls.server = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", SOURCE / "run"], cwd="/", stdout=subprocess.PIPE, text=True,
                                   env={**os.environ, "PORT": str(cls.port), "LANGUAGE": "fr",
                                        "LC_ALL": "C"})
        signal.alarm(START_SECONDS)
        output = ""
        for line in cls.server.stdout:
            output += line
            if f"http://{HOST}:{cls.port}/" in line:
                signal.alarm(0)
                return
        raise RuntimeError("./run ended: " + output)

    @classmethod
    def tearDownClass(cls):
        if cls.server.poll() is None:
            cls.server.terminate()
        cls.server.wait(END_SECONDS)
        cls.server.stdout.close()

    def request(self, path, method="GET", body=None, **headers):
        connection = http.client.HTTPConnection(HOST, self.port, timeout=20)
        try:
            connection.request(method, path, body, headers)
            response = connection.getresponse()
            return response.status, response, response.read()
        finally:
            connection.close()

    def page(self, path, **headers):
        status, response, body = self.request(path, **headers)
        self.assertEqual((status, response.getheader("Content-Type")), (200, "text/html"))
        return body.decode()

    def test_languages(self):
        for language, word in WORDS.items():
            for page in (self.page("/?_lang=" + language),
                         self.page("/", **{"Accept-Language": language + "-XX;q=0.9,xx"}),
                         self.page("/?_lang=" + language, **{"Accept-Language": "xx,fr"})):
                self.assertIn(f'<html lang="{language}">', page)
                self.assertRegex(page, word)
                self.assertNotIn("WGL error", page)

    def test_every_link_of_the_pages(self):
        for language in WORDS:
            page = self.page("/?_lang=" + language)
            links = {html.unescape(link) for link in re.findall(r'(?:href|src)="([^"#]*)"', page)}
            self.assertGreater(len(links), 3)
            for link in links:
                if urllib.parse.urlsplit(link).netloc:
                    continue
                status, _, body = self.request(urllib.parse.urljoin("/", link))
                self.assertEqual(status, 200, link)
                self.assertNotIn(b"WGL error", body, link)

    def test_form_comes_back_escaped(self):
        page = self.page("/?_file=/wgl/main.wgl&_lang=en&_page=settings")
        form = re.search(r'<form id="settings-form".*?</form>', page, re.S)[0]
        fields = {}
        for tag in re.findall("<input[^>]*>", form):
            name, value = (re.search(f' {part}="([^"]*)"', tag)[1] for part in ("name", "value"))
            if 'type="radio"' not in tag or " checked" in tag:
                fields[name] = HOSTILE if 'type="text"' in tag else value
        self.assertGreaterEqual(list(fields.values()).count(HOSTILE), 5)
        status, _, body = self.request("/", "POST", urllib.parse.urlencode(fields), **{
            "Content-Type": "application/x-www-form-urlencoded"})
        page = body.decode()
        self.assertEqual(status, 200)
        self.assertIn("</html>", page)
        self.assertNotIn("WGL error", page)
        self.assertNotIn("<script>", page)
        escaped = html.escape(HOSTILE, quote=True).replace("&#x27;", "&#39;")
        self.assertIn(f'value="{escaped}"', page, "what was typed is not shown again")

    def test_live_values(self):
        _, response, body = self.request("/?_file=getjson&_lang=de")
        self.assertEqual(response.getheader("Content-Type"), "text/javascript")
        values = json.loads(body)
        columns, *stations = values["stations"]
        names = [dict(zip(columns, station))["name"] for station in stations]
        self.assertIn('"><img src=x onerror=alert(1)>', names)
        self.assertTrue(values["system"]["product"])

    def test_fields_are_checked_as_they_are_typed(self):
        for field, value, expected in (
                ("System.DeviceName", "Küche, {x}%41", ""),
                ("System.DeviceName", "", "Geben Sie 1 bis 63 Zeichen ein."),
                ("Network.Netmask", "255.0.255.0",
                 "Geben Sie eine Netzmaske ein, zum Beispiel 255.255.255.0."),
                ("No.Such", "x", "Diese Einstellung gibt es nicht.")):
            body = urllib.parse.urlencode(
                {"_file": "validate", "_lang": "de", "field": field, "value": value})
            _, response, answer = self.request(
                "/", "POST", body, **{"Content-Type": "application/x-www-form-urlencoded"})
            self.assertEqual(response.getheader("Content-Type"), "text/plain")
            self.assertEqual(answer.decode(), expected, field)

    def test_pages_without_fields(self):
        for page, heading in (("restore", "Restore the configuration"), ("restart", "Restart"),
                              ("firmware", "Firmware update"), ("reset", "Factory settings"),
                              ("diagnostics", "Diagnostics"), ("maintenance", "Maintenance"),
                              ("done", "Maintenance"), ("../main", "There is no such page")):
            text = self.page("/?_file=/wgl/main.wgl&_lang=en&_page=" + page)
            self.assertEqual(re.findall("<h1>(.*)</h1>", text), [heading])
            self.assertTrue(text.endswith("</html>\n"), page)
            self.assertNotIn('id="unreached"', text)

    def test_a_link_claims_nothing(self):
        """What a form has done is not said without the form, nor taken back in another language."""
        for query, page in (("station&mac=00:0B:3B:7F:01:02&form=name", "station"),
                            ("maintenance&form=remove", "maintenance"),
                            ("stored", "settings"), ("done", "maintenance")):
            text = self.page("/?_file=/wgl/main.wgl&_lang=en&_page=" + query)
            self.assertNotIn('class="notice good"', text)
            self.assertRegex(text, f'id="lang-de" href="[^"]*&amp;_page={page}&amp;')

    def test_system_information(self):
        _, response, body = self.request("/?_file=sysinfo")
        self.assertEqual(response.getheader("Content-Type"), "text/xml")
        system = ElementTree.fromstring(body)
        self.assertTrue(system.findtext("product"))
        self.assertIn(system.find("network").get("link"), ("up", "down"))
        names = [name.text for name in system.findall("powerline/station/name")]
        self.assertIn('"><img src=x onerror=alert(1)>', names)

    def act(self, page, fields, file=None):
        """The page that comes when a form is posted as a browser posts one with a file."""
        head = '--b\r\nContent-Disposition: form-data; name="{}"{}\r\n\r\n'
        fields = {"_file": "/wgl/main.wgl", "_page": page, "_lang": "en", **fields}
        body = b"".join((head.format(name, "") + value + "\r\n").encode()
                        for name, value in fields.items())
        if file is not None:
            body += head.format("file", '; filename="f"').encode() + file + b"\r\n"
        status, _, text = self.request("/", "POST", body + b"--b--\r\n", **{
            "Content-Type": "multipart/form-data; boundary=b"})
        self.assertEqual(status, 200)
        return text.decode()

    def device_name(self):
        return json.loads(self.request("/?_file=getjson")[2])["system"]["name"]

    def test_configuration_round_trip(self):
        name, restore = ":sys:System.DeviceName", ":sys:System.ConfigRestore"
        self.addCleanup(self.act, "settings", {name: self.device_name()})
        self.act("settings", {name: "Before"})
        _, _, kept = self.request("/?_file=syscfg&_type=xml")
        self.act("settings", {name: "After"})
        page = self.act("maintenance", {restore: "check", "_okpage": "restore"}, kept)
        self.assertIn("<td>After</td><td>Before</td>", page)
        self.assertEqual(self.device_name(), "After")
        page = self.act("restore", {restore: "apply", "_okpage": "done"})
        self.assertIn("The configuration is restored.", page)
        self.assertEqual(self.device_name(), "Before")

    def test_refused_uploads(self):
        for page, action in (("maintenance", "ConfigRestore"), ("firmware", "FirmwareUpdate")):
            text = self.act(page, {":sys:System." + action: "check", "_okpage": "done"}, b"\0<b>")
            self.assertRegex(text, r'id="file-error"[^>]*>[^<]+<')
            self.assertRegex(text, r'id="file"[^>]* aria-invalid="true"')

    def test_planted_variables(self):
        """
        Each template by itself, and each page, with every variable that any of them reads planted by
        a link: it is shown as text or not at all, and never is a key that the device is asked for.
        """
        templates = {"/" + file.relative_to(SOURCE / "site").as_posix(): file.read_text()
                     for file in (SOURCE / "site/wgl").rglob("*.wgl")}
        names = {name for text in templates.values()
                 for name in re.findall(r"\$\{([A-Za-z_]\w*)", text)}
        self.assertGreater(len(names), 40)
        targets = [{"_file": file} for file in templates]
        targets += [{"_file": "/wgl/main.wgl", "_page": Path(file).stem} for file in templates]
        self.addCleanup(self.act, "settings", {":sys:System.DeviceName": self.device_name()})
        self.act("settings", {":sys:System.DeviceName": "<script>"})
        unseen = "System.ConfigShow"
        planted = ['"><script>', "yes", unseen]
        planted += [f"x{other}}};{unseen};{key}=x" for key, other in (
            ("HomePlug.Stations{MacAddress", ""), ("System.Check{Key", ",Value=y"))]
        for target, value in itertools.product(targets, planted):
            form = {**dict.fromkeys(names, value), "key": unseen, **target}
            status, _, body = self.request("/", "POST", urllib.parse.urlencode(form), **{
                "Content-Type": "application/x-www-form-urlencoded"})
            self.assertEqual(status, 200)
            self.assertNotIn(b"Missing or invalid", body)
            self.assertNotRegex(body.decode(), "<script>|(<|&lt;)setting", (target, value))
        for part in ("text-field", "choice-field"):
            self.assertIn("WGL error", self.page(f"/?_file=/wgl/std/{part}.wgl&key=a"))

    def test_security_headers(self):
        _, response, _ = self.request("/")
        self.assertIn("default-src 'none'", response.getheader("Content-Security-Policy", ""))

    def test_refusals_arrive_whole(self):
        for method, body, expected in (
                ("PUT", "x", b"Unsupported request method: 'PUT'\r\n"),
                ("POST", "x", b"Unsupported content type: ''\r\n")):
            _, response, page = self.request("/", method, body)
            self.assertEqual(page, expected)
            self.assertEqual(response.getheader("Content-Type"), "text/plain")

    def test_zz_ends_cleanly(self):
        servers = children(self.server.pid)
        self.assertTrue(servers)
        self.server.send_signal(signal.SIGTERM)
        self.assertEqual(self.server.wait(END_SECONDS), 128 + signal.SIGTERM)
        for pid in servers:
            self.assertFalse(Path(f"/proc/{pid}").exists(), pid)
        with socket.socket() as probe:
            self.assertNotEqual(probe.connect_ex((HOST, self.port)), 0)
        self.assertEqual(list((SOURCE / "build/run").glob("state.*")), [])


if __name__ == "__main__":
    unittest.main()
