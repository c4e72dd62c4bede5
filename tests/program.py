# SPDX-License-Identifier: MIT
"""
What the tests of finished programs share: running one as a web server would, cases, and a stand-in
for the system manager. Texts hold any bytes; see decode().

A file of cases, which any author of templates can write, looks like this:

  === name of the case
  comments, up to the first section
  --- template [FILE]          the content of a file in the case's own folder; without a name, of
                               main.wgl, which the default request asks for
  --- symlink FILE TARGET      and further kinds of files: hardlink FILE TARGET, fifo FILE, directory FILE
  --- fields                   what follows "&" in the default request
  --- request                  the whole environment instead, with a NAME=value on each line
  --- body                     standard input. A second one is sent, together with a SIGIO, when the
                               program has read the first one and waits
  --- closed N                 the number of a closed descriptor
  --- limit NAME N             a limit of the process: NOFILE for open files, FSIZE for a file's bytes
  --- response [CONTENT-TYPE]  the whole output; with a content type, the output after the header
                               block of that type
  --- wgl-error [FILE:]LINE MESSAGE    the response is this template error, then this text
  --- uploaded                 the content of the upload file afterwards, which nobody else may read;
                               without this section, there must be no such file
  --- exit N                   the exit status, if it isn't 0
  --- errors                   standard error, if it isn't empty
  --- rows                     the case runs once for each line, whose columns replace @1@, @2@ and so
                               on everywhere in the case. "=>" separates them, spaces around them
                               don't count, and a missing one is empty

The newline before the next section or case belongs to that one. \\n, \\r, \\t, \\\\ and \\xHH mean a
byte, @UPLOAD@ the upload file, @ROOT@ the document root, @DIR@ the case's folder as a path from there.
"""
import fcntl
import os
import re
import resource
import signal
import socketserver
import stat
import subprocess
import sys
import tempfile
import termios
import threading
import time
from collections import namedtuple
from contextlib import ExitStack
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
BUILD = Path(os.environ.get("VISTEL_BUILD", SOURCE / "build/dev"))  # of the whole project, with sanitizers
OTHER_PROGRAMS = [*filter(None, os.environ.get("VISTEL_TEST_PROGRAMS", "").split(":"))]  # linked as the product, for the same paths
TIME_LIMIT_SECONDS = 60  # far more than any test needs, on a busy machine as well
Answer = namedtuple("Answer", "output errors status uploaded", defaults=[None])


def encode(text):
    return text.encode(errors="surrogateescape")


def decode(data):
    return data.decode(errors="surrogateescape")


def headers(content_type):
    """The header block of a response."""
    return f"Content-Type: {content_type}\r\nPragma: no-cache\r\nCache-Control: no-cache\r\nExpires: -1\r\n\r\n"


def wait_until_read(pipe):
    """Stops after a while, because a program need not read everything."""
    for _ in range(2000):
        if fcntl.ioctl(pipe, termios.FIONREAD, bytes(4)) == bytes(4):
            return
        time.sleep(0.005)


def run(words, environment, body=("",), closed=None, limit=None, stdout=subprocess.PIPE):
    """
    Runs a program with only this environment, pieces of standard input, a closed descriptor, a limit
    (resource, soft, and hard if it differs).
    """
    def prepare():
        if limit:
            resource.setrlimit(limit[0], (limit[1:] * 2)[:2])
        if closed is not None:
            os.close(closed)

    with subprocess.Popen(words, stdin=subprocess.PIPE, stdout=stdout, stderr=subprocess.PIPE,
                          umask=0o277, env={name: encode(value) for name, value in environment.items()},
                          preexec_fn=prepare if closed is not None or limit else None) as process:
        try:
            for piece in body[:-1]:
                os.write(process.stdin.fileno(), encode(piece))
                wait_until_read(process.stdin)
                process.send_signal(signal.SIGIO)
            output, errors = process.communicate(encode(body[-1]), TIME_LIMIT_SECONDS)
        except BaseException:
            process.kill()
            raise
    return Answer(decode(output or b""), decode(errors), process.returncode)


def read_cases(text):
    """Name and sections (kind, argument, text) of every case, and of every row of a case."""
    for case in re.split("^=== ", text, flags=re.M)[1:]:
        title, *parts = re.split("^--- (.*)\n", case, flags=re.M)
        sections = list(zip(parts[::2], (text.removesuffix("\n") for text in parts[1::2])))
        for row in dict(sections).get("rows", "").split("\n"):
            columns = [column.strip() for column in row.split("=>")]
            column = lambda match: "".join(columns[int(match[1]) - 1:][:1])
            fill = lambda text: decode(re.sub("@([1-9])@", column, text)
                                       .encode().decode("unicode_escape").encode("latin-1"))
            yield (f"{title.splitlines()[0]}: {' '.join(row.split())}",
                   [(*fill(head).partition(" ")[::2], fill(text)) for head, text in sections if head != "rows"])


class Program:
    """A finished program in its build folder, whose settings hold the paths that it was built for."""

    def __init__(self, path, before=()):
        self.path, self.before = Path(path).resolve(), before  # the words of a command that starts it
        self.build = next(folder for folder in self.path.parents if (folder / "CMakeCache.txt").exists())
        settings = dict(re.findall("^VISTEL_(.*):.*=(.*)$", (self.build / "CMakeCache.txt").read_text(), re.M))
        self.root, self.socket, self.upload = (
            Path(settings[name]) for name in ("DOCUMENT_ROOT", "SYSMGR_SOCKET", "UPLOAD_FILE"))

    def run(self, environment, *arguments, **options):
        return run([*self.before, self.path], environment, *arguments, **options)

    def folder(self):
        """A folder of the document root, for a `with`."""
        return tempfile.TemporaryDirectory(dir=self.root)

    def outcome(self, sections):
        """The result of the program in a case, and the expected one."""
        with ExitStack() as stack:
            folder = Path(stack.enter_context(self.folder()))
            environment = {"REQUEST_METHOD": "GET", "QUERY_STRING": f"_file=/{folder.name}/main.wgl"}
            body, closed, limit, expected = [], None, None, Answer("", "", 0)
            self.upload.parent.mkdir(parents=True, exist_ok=True)
            self.upload.unlink(missing_ok=True)
            for kind, argument, text in sections:
                first, _, rest = argument.partition(" ")
                argument, text, first, rest = (
                    part.replace("@ROOT@", str(self.root)).replace("@DIR@", "/" + folder.name)
                    .replace("@UPLOAD@", str(self.upload)) for part in (argument, text, first, rest))
                file = folder / ((first if kind.endswith("link") else argument) or "main.wgl")
                if kind in ("template", "symlink", "hardlink", "fifo", "directory"):
                    file.parent.mkdir(parents=True, exist_ok=True)
                    if argument.startswith(("..", "/")):
                        stack.callback(file.rmdir if kind == "directory" else file.unlink)
                match kind:
                    case "template":
                        file.write_bytes(encode(text))
                    case "symlink":
                        file.symlink_to(rest)
                    case "hardlink":
                        file.hardlink_to(rest)
                    case "fifo":
                        os.mkfifo(file)
                    case "directory":
                        file.mkdir()
                    case "fields":
                        environment["QUERY_STRING"] += "&" + text
                    case "request":
                        environment = dict(line.split("=", 1) for line in text.split("\n") if line)
                    case "body":
                        body.append(text)
                    case "closed":
                        closed = int(argument)
                    case "limit":
                        limit = getattr(resource, "RLIMIT_" + first), int(rest)
                        environment["ASAN_OPTIONS"] = "detect_leaks=0"  # which opens files itself
                    case "response":
                        expected = expected._replace(output=(headers(argument) if argument else "") + text)
                    case "wgl-error":
                        name, _, line = first.rpartition(":")
                        place = f"line {line} in file '{folder / (name or 'main.wgl')}'"
                        expected = expected._replace(
                            output=headers("text/html") + f"WGL error ({place}): {rest}\n\n{text}")
                    case "exit":
                        expected = expected._replace(status=int(argument))
                    case "errors" | "uploaded":
                        expected = expected._replace(**{kind: text})
                    case _:
                        raise ValueError(f"no section is called '{kind}'")
            answer = self.run(environment, body or [""], closed, limit)
            if self.upload.exists() and self.upload.lstat().st_mode == stat.S_IFREG | 0o600:
                answer = answer._replace(uploaded=decode(self.upload.read_bytes()))
            return answer, expected


def netstring(data):
    return b"%d:%s," % (len(data), data)


def read_netstring(stream):
    """The content of the next netstring; None at the end, or for one that is cut off."""
    length = b"".join(iter(lambda: stream.read(1).strip(b":"), b""))
    content = stream.read(int(length or 0) + 1)
    if not length or len(content) <= int(length):
        return None
    assert content.endswith(b",")
    return content[:-1]


def parts(payload):
    """The contents of a payload's netstrings."""
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
    found = parts(rest)
    assert (columns, int(rows)) == (b"1", len(found))
    return [cell.decode() for cell in found]


def table(*rows):
    if len(rows) == 1 and len(rows[0]) == 1:
        return rows[0][0].encode()
    columns = len(rows[0]) if rows else 0
    return (b"\x01%d:%d:" % (columns, len(rows)) +
            b"".join(netstring(cell.encode()) for row in rows for cell in row))


def answer(result, reply):
    return netstring(netstring(b"%d" % result) + netstring(reply))


class SystemManager(socketserver.ThreadingMixIn, socketserver.UnixStreamServer):
    """Answers with what `react(keys)` returns, bytes; None leaves the client waiting."""
    daemon_threads = True

    def __init__(self, program, react):
        self.react, self.requests, self.connections, self.faults = react, [], 0, []
        program.socket.parent.mkdir(parents=True, exist_ok=True)
        program.socket.unlink(missing_ok=True)  # of a test that was killed
        super().__init__(str(program.socket), None)

    def finish_request(self, request, client_address):
        self.connections += 1
        with request.makefile("rb") as stream:
            while payload := read_netstring(stream):
                kind, service, secret, client, keys, last = parts(payload)
                assert (service, secret, client) == (b"Vistel", b"", b"Vistel"), (service, secret, client)
                self.requests.append((kind.decode(), cells(keys), cells(last)))
                if (reaction := self.react(cells(keys))) is not None:
                    request.sendall(reaction)

    def handle_error(self, request, client_address):
        if not isinstance(sys.exc_info()[1], ConnectionError):  # nonsense makes the program hang up
            self.faults.append(sys.exc_info()[1])

    def __enter__(self):
        threading.Thread(target=self.serve_forever, args=(0.01,), daemon=True).start()
        return self

    def __exit__(self, *_):
        self.shutdown()
        self.server_close()
        os.unlink(self.server_address)
