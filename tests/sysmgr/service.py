# SPDX-License-Identifier: MIT
"""
Shared by the tests of the system manager: services of a test's own, and clients. A query or a batch is a
line ("a;b", "set a=1|b=2"), and so is its answer: rows with "/" between them, cells with "|" between them;
or, in brackets, why there is none.
"""
import contextlib
import functools
import os
import random
import re
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
sys.path.append(str(SOURCE / "tests"))
from program import BUILD, decode, encode, netstring, parts, read_netstring, table  # noqa: E402

SYSMGRD, IMPATIENT = BUILD / "sysmgr/sysmgrd", BUILD / "tests/sysmgr/impatient-sysmgrd"
SIMULATOR = BUILD / "tests/sysmgr/timed-simulator"
PRODUCT = SOURCE / "sysmgr/model.json"
# Of the programs; those of a cross build may have another than this machine.
BYTE_ORDER = ">" if os.environ.get("VISTEL_BYTE_ORDER", sys.byteorder).upper().startswith("BIG") else "<"
WAIT_SECONDS = 60  # ends a hang, even on a busy machine
KILLS = int(os.environ.get("VISTEL_TEST_KILLS", 8))
RANDOM = random.Random(20261122)


def rows(text):
    """A row per line, its cells with "=>" between them; a line that begins with that continues the row."""
    return [[cell.strip() for cell in row.split("=>")]
            for row in re.sub(r"\n *=>", " =>", text).split("\n") if row.strip()]


def key(name, text):
    """A model's key from its type, access and further members, with limits as 0-9: "text read, 0-9, 'source': 's'"."""
    kind, access, more = re.fullmatch(r"(\S+) ([a-z-]+)(.*)", text, re.S).groups()
    more = re.sub(r", (-?\d+)-(\d+)", r", 'minimum': \1, 'maximum': \2", more)
    return f"{{'key': '{name}', 'type': '{kind}', 'access': '{access}'{more}}}"


def text_key(name, value=""):
    return key(name, f"text read-write, 0-65536, 'default': '{value}'")


def model(*keys, rules=""):
    text = f"{{'device': 'd', 'version': 1, 'keys': [{', '.join(keys)}], 'rules': [{rules}]}}"
    return text.replace("'", '"')


def frame(text):
    """ "query|name|secret|client|key|0" as a message; "#" means the byte that begins a table."""
    return netstring(b"".join(netstring(encode(field).replace(b"#", b"\1")) for field in text.split("|")))


def grid(reply):
    """The rows of a table."""
    if not reply.startswith(b"\1"):
        return [[decode(reply)]]
    columns, _, cells = reply[1:].split(b":", 2)
    cells = [decode(cell) for cell in parts(cells)]
    return [cells[at:at + int(columns)] for at in range(0, len(cells), int(columns))]


@functools.cache
def messages(model_file):
    """Every sentence of a model that a page can show, one per line."""
    return subprocess.run([SYSMGRD, "--messages", "--model", model_file], check=True, capture_output=True,
                          text=True).stdout.split("\n")


def eventually(is_true):
    """Waits until the condition is true."""
    end = time.monotonic() + WAIT_SECONDS
    while not is_true():
        if time.monotonic() > end:
            raise TimeoutError
        time.sleep(0.002)


class Client:
    def __init__(self, service):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(str(service.folder / "run/socket"))
        self.socket.settimeout(WAIT_SECONDS)
        self.stream = self.socket.makefile("rb")

    def send(self, data, more=True):
        try:
            self.socket.sendall(data)
            if not more:
                self.socket.shutdown(socket.SHUT_WR)
        except OSError:  # the service has disconnected; receiving shows that
            pass
        return self

    def receive(self):
        """The payload of the next message; None when there is no more."""
        with contextlib.suppress(ConnectionError):
            return read_netstring(self.stream)

    def ask(self, data=b""):
        payload = self.send(data).receive()
        if payload is None:
            return "[closed]"
        result, reply = parts(payload)
        if result != b"0":
            return f"[{decode(result)}: {decode(reply)}]"
        return "/".join("|".join(row) for row in grid(reply))

    def is_open(self):
        self.socket.setblocking(False)
        try:
            return self.socket.recv(1, socket.MSG_PEEK) != b""
        except BlockingIOError:
            return True
        except ConnectionError:
            return False
        finally:
            self.socket.settimeout(WAIT_SECONDS)


class Service:
    """The finished program, or the impatient one, in a folder of its own."""

    def __init__(self, program=SYSMGRD, before=(), secret=None, mode=0o640, without_secret=("--open",), **arguments):
        self.temporary = tempfile.TemporaryDirectory(prefix="vistel-sysmgr-")
        self.folder = Path(self.temporary.name)
        self.program, self.before, self.more, self.client = program, before, without_secret, None
        self.arguments = {"model": PRODUCT, "database": "settings.db", "socket": "run/socket", "providers": "run/providers",
                          "authorisation": "auth", "files": self.folder / "files", "upload": self.folder / "upload.bin",
                          "password": "passwords", "common-passwords": SOURCE / "sysmgr/password/common-passwords"}
        self.clock()
        if secret is not None:
            self.write("auth", secret).chmod(mode)
        self.start(**arguments)

    def start(self, **arguments):
        """Waits until the service listens or has ended. `model`: a path, or a text."""
        self.arguments.update(arguments)
        if isinstance(text := self.arguments["model"], str):
            self.arguments["model"] = self.write(f"model-{hash(text)}.json", text)
        with open(self.folder / "log", "ab") as log:
            words = [*self.before, self.program, *self.more, *(f"--{name}={value}" for name, value in self.arguments.items())]
            self.process = subprocess.Popen(words, cwd=self.folder, stderr=log)
        eventually(lambda: self.process.poll() is not None or self.is_listening())

    def restart(self, **arguments):
        assert self.end() == 0
        self.start(**arguments)

    def is_listening(self):
        try:
            self.client = Client(self)
            return self.client.ask(b"0:,") != "[closed]"
        except OSError:
            return False

    def plug_in(self, *arguments):
        """Starts the simulated device, whose stations go by hostile names, and waits for its values."""
        with open(self.folder / "device.log", "ab") as log:
            device = subprocess.Popen([SIMULATOR, "--socket", "run/providers", "--seed", "7",
                                       "--hostile-names", *arguments], cwd=self.folder, stderr=log)
        eventually(lambda: not self.ask("Network.CurrentGateway").startswith("["))
        return device

    def end(self, number=signal.SIGTERM):
        """The exit status, below 0 for a signal."""
        self.process.send_signal(number)
        return self.process.wait(WAIT_SECONDS)

    @contextlib.contextmanager
    def stopped(self):
        """What clients send in this `with` is there at once, in that order, when the service looks again."""
        self.process.send_signal(signal.SIGSTOP)
        eventually(lambda: ") T " in self.read(f"/proc/{self.process.pid}/stat"))
        yield
        self.process.send_signal(signal.SIGCONT)

    def kill_at_any_moment(self, work):
        """Repeatedly kills the service during `work`, which returns whether to continue, and starts it again."""
        for _ in range(KILLS):
            threading.Timer(RANDOM.uniform(0, 0.03), self.process.kill).start()
            while work():
                pass
            self.process.wait(WAIT_SECONDS)
            self.start()
            yield

    def limit_files(self, size):
        """No file may grow beyond this from now on. Returns the limit before."""
        usual = resource.prlimit(self.process.pid, resource.RLIMIT_FSIZE)
        resource.prlimit(self.process.pid, resource.RLIMIT_FSIZE, (size, usual[1]))
        return usual[0]

    def kilobytes(self, what="VmRSS"):
        return int(self.read(f"/proc/{self.process.pid}/status").partition(what + ":")[2].split()[0])

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else encode(content))
        return path

    def read(self, name):
        path = self.folder / name
        return decode(path.read_bytes()) if path.exists() else None

    def clock(self, time_of_day=1700000000, steady=1000):
        """Sets the clock of the impatient program."""
        self.write("clock.new", f"{time_of_day} {steady}").rename(self.folder / "clock")

    def message(self, line, client="tester"):
        kind, *tables = "query", line.split(";"), None
        if line.startswith("set "):
            # The value begins after the first "=" outside of braces.
            pairs = [re.fullmatch(r"((?:\{.*?\}|[^={])*)=(.*)", pair, re.S).groups() for pair in line[4:].split("|")]
            kind, *tables = "set", *zip(*pairs)
        keys, values = (b"0" if cells is None else table(*([cell] for cell in cells)) for cells in tables)
        fields = [kind.encode(), b"Test", encode((self.read("auth") or "").removesuffix("\n")), client.encode()]
        return netstring(b"".join(map(netstring, [*fields, keys, values])))

    def ask(self, line, client="tester"):
        answer = self.client.ask(self.message(line, client))
        if line.startswith("set ") and answer.strip("/") and answer[0] != "[":
            # Every refusal is a sentence that translators know.
            told = re.sub("|".join(map(re.escape, messages(self.arguments["model"]))), "", answer)
            assert not told.strip("/"), answer
        return answer


class ServiceTest(unittest.TestCase):
    maxDiff = None

    def service(self, *arguments, **options):
        service = Service(*arguments, **options)
        self.addCleanup(service.temporary.cleanup)
        self.addCleanup(lambda: service.process.poll() is None and self.assertEqual(service.end(), 0))
        return service

    def device(self, service, *arguments):
        device = service.plug_in(*arguments)
        self.addCleanup(device.wait)
        self.addCleanup(device.kill)
        return device

    def expect(self, service, text, **options):
        """Checks rows, each a line and its answer."""
        for line, answer in rows(text):
            self.assertEqual(service.ask(line, **options), answer, line[:500])
