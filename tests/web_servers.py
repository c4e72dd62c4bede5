# SPDX-License-Identifier: MIT
"""
A web server of deploy/ as a process with a scratch folder, and the program's way to read a query,
written a second time. The rule: each server has a port of its own, and ends by its process id.
"""
import functools
import http.client
import itertools
import os
import re
import shutil
import signal
import socket
import ssl
import subprocess
import tempfile
import time
from pathlib import Path

from program import decode, encode, run
from served import HOST, SOURCE, free_port, members

ROOT = SOURCE / "build/web/root"
WWW, CGI, UPLOAD = ROOT / "usr/www", ROOT / "usr/lib/cgi-bin", ROOT / "tmp/upload.bin"
START_SECONDS, END_SECONDS, ANSWER_SECONDS = 20, 10, 30
# If root runs the tests, the servers run as another user, who may read what root built: one of them
# refuses to be root, and none should.
UNPRIVILEGED = ["--reuid=65534", "--regid=65534", "--clear-groups", "--inh-caps=+dac_override",
                "--ambient-caps=+dac_override"] if os.geteuid() == 0 else []


def digit(byte):
    """The value of a byte after a "%", as the program reads it."""
    for first, last, offset in (("0", "9", 0), ("A", "Z", 10), ("a", "z", 10)):
        if first <= byte <= last:
            return ord(byte) - ord(first) + offset
    return 0


@functools.cache
def spellings(character):
    printable = [chr(code) for code in range(0x21, 0x7F) if chr(code) not in "#%"]
    return [character] + ["%" + high + low for high, low in itertools.product(printable, repeat=2)
                          if (digit(high) * 16 + digit(low)) % 256 == ord(character)]


def unescape(text):
    decoded = re.sub("%(.)(.)", lambda m: chr((digit(m[1]) * 16 + digit(m[2])) % 256), text)
    return decoded.replace("+", " ")  # not exact: the program keeps an escaped "+"


def parse(query):
    """The pairs of a query, as the program splits it."""
    pairs = []
    while query:
        name, _, query = query.partition("=")
        value, _, query = query.partition("&")
        pairs.append((unescape(name), unescape(value)))
    return pairs


def program(method, query="", body=b"", content_type="", **headers):
    """The output of the program, as (headers, body)."""
    answer = run([CGI / "vistel.cgi"], {
        "REQUEST_METHOD": method, "QUERY_STRING": query, "CONTENT_TYPE": content_type,
        "CONTENT_LENGTH": str(len(body)) if body else "", **headers}, [decode(body)])
    head, _, page = answer.output.partition("\r\n\r\n")
    return dict(line.split(": ", 1) for line in head.split("\r\n")), encode(page)


class Server:
    """A web server with a scratch folder: configuration, state and document root."""

    def __init__(self, name, password=None, **environment):
        self.name, self.port, self.processes, self.environment = name, free_port(), [], environment
        self.folder = Path(tempfile.mkdtemp(prefix="vistel web "))
        self.folder.chmod(0o755)
        self.www, self.state, self.passwords = (self.folder / name for name in ("www", "state", "passwords"))
        shutil.copytree(WWW, self.www)
        self.state.mkdir()
        self.state.chmod(0o777)
        # In a folder of its owner alone, such as root's home, where the servers' user needs its privileges.
        self.deploy = Path(shutil.copytree(SOURCE / "deploy", self.folder / "private/deploy"))
        self.deploy.parent.chmod(0o700)
        for path in ("styles/probe.js", "styles/probe.gif", "styles/probe.png", "styles/probe.wgl",
                     "styles/.probe", "styles/probe.wgl~", "probe.html"):
            (self.www / path).write_text("<~ probe ~>")
        shutil.rmtree(self.www / "errors")
        if password is not None:
            self.set_password(password)
        (self.www / "errors").mkdir()
        for status in (403, 404, 413, 421, 500, 502) if password is None else (401,):
            (self.www / f"errors/{status}.html").write_text(f"<p>Our own {status}.</p>")
        try:
            for process in ("fcgiwrap", name) if name == "nginx" else (name,):
                self.start(process)
            self.await_answer()
        except BaseException:
            self.stop()
            raise

    def set_password(self, password):
        """Stores its hash as the device's service does."""
        salted = subprocess.check_output(["openssl", "passwd", "-6", password], text=True).strip()
        (self.folder / "new").write_text(f"admin:{salted}\n")
        (self.folder / "new").rename(self.passwords)

    def start(self, name):
        environment = {**os.environ, "VISTEL_WWW": str(self.www), "VISTEL_CGI": str(CGI),
                       "VISTEL_BIND": HOST, "VISTEL_PORT": str(self.port), "VISTEL_STATE": str(self.state),
                       "VISTEL_PASSWORDS": str(self.passwords),
                       "VISTEL_HOSTS": "adapter.example.net other.example.net",
                       "VISTEL_OPEN": str(int(not self.passwords.exists())), **self.environment}
        with open(self.folder / "output.log", "ab") as log:
            self.processes.append(subprocess.Popen(
                ["setpriv", *UNPRIVILEGED, "--pdeathsig=TERM", self.deploy / "start", name],
                env=environment, cwd="/", stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                start_new_session=True))

    def await_answer(self):
        deadline = time.monotonic() + START_SECONDS
        while True:
            try:
                if self.request("/")[0] in (200, 401):
                    return
            except OSError:
                pass
            if time.monotonic() > deadline or any(p.poll() is not None for p in self.processes):
                files = (self.folder / "output.log", self.state / "error.log")
                raise RuntimeError(self.name + ": " + "".join(file.read_text() for file in files if file.exists()))
            time.sleep(0.02)

    def stop(self):
        """Ends the servers; fails if any of their processes or listening ports is left."""
        left = []
        for process in self.processes:
            process.terminate()
            deadline = time.monotonic() + END_SECONDS
            while (rest := members(process.pid)) and time.monotonic() < deadline:
                process.poll()
                time.sleep(0.02)
            left += rest
            for pid in rest:
                os.kill(pid, signal.SIGKILL)
            process.wait()
        shutil.rmtree(self.folder)
        with socket.socket() as probe:
            assert not left and probe.connect_ex((HOST, self.port)) != 0, left

    def request(self, path, method="GET", body=None, announced=None, source=HOST, **headers):
        """(status, headers, body). With `announced`, announces a body of that length and never sends it."""
        connection = http.client.HTTPConnection(HOST, self.port, timeout=ANSWER_SECONDS, source_address=(source, 0))
        if "VISTEL_TLS" in self.environment:
            connection = http.client.HTTPSConnection(HOST, self.port, timeout=ANSWER_SECONDS,
                                                     context=ssl._create_unverified_context())
        try:
            connection.putrequest(method, path, skip_host=True, skip_accept_encoding=True)
            length = announced or (None if body is None else len(body))
            for name, value in {"Host": f"{HOST}:{self.port}", "Content-Length": length, **headers}.items():
                if value is not None:
                    connection.putheader(name.replace("_", "-"), value)
            connection.endheaders()
            if body:
                connection.send(body)
            response = connection.getresponse()
            return response.status, response, response.read()
        finally:
            connection.close()

    def raw(self, request, ends=False):
        """The whole answer; with `ends`, the client sends no more after the request."""
        with socket.create_connection((HOST, self.port), ANSWER_SECONDS) as connection:
            connection.sendall(request.encode())
            if ends:
                connection.shutdown(socket.SHUT_WR)
            return b"".join(iter(lambda: connection.recv(65536), b""))
