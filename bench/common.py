# SPDX-License-Identifier: MIT
"""
What the parts of run-bench share: requests, starting and measuring programs, tables. The one rule:
the programs measured are finished binaries, and every run has the same fixed environment.
"""
import atexit
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

BENCH = Path(__file__).resolve().parent
SOURCE = BENCH.parent
BUILD = SOURCE / "build" / "bench"


def scratch_folder():
    """Opening a template checks every folder on its path, so the measured document root must be as
    deep as the product's, /usr/www. No folder of the source tree is."""
    folder = Path(tempfile.mkdtemp(prefix="vistel-"))
    atexit.register(shutil.rmtree, folder, ignore_errors=True)
    return folder


ROOT = scratch_folder()

LINK_KINDS = {"static": "all static",
              "musl": "all static, with musl",
              "partial": "libstdc++ and libgcc static, the rest dynamic",
              "dynamic": "all dynamic"}
KIND_OPTIONS = {kind: ["-DVISTEL_LINK=" + kind] for kind in LINK_KINDS}
KIND_OPTIONS["musl"] = ["-DCMAKE_TOOLCHAIN_FILE=%s" % (SOURCE / "cmake" / "musl.cmake"),
                        "-DGIF_SOURCE_DIR=%s" % (SOURCE / "build" / "giflib")]
MEGABYTE = 1024 * 1024
# Faults and peak vary by a page or two with the random placement of the stack.
RESOURCE_RUNS = 15

HEADERS = (b"Content-Type: text/html\r\nPragma: no-cache\r\nCache-Control: no-cache\r\n"
           b"Expires: -1\r\n\r\n")


def request(template, fields=""):
    """The environment in which lighttpd starts a CGI program for this template, and nothing else:
    every variable of the caller's own would change the counts."""
    query = "_file=" + template + "&_lang=de" + ("&" + fields if fields else "")
    return {
        "CONTENT_LENGTH": "0",
        "QUERY_STRING": query,
        "REQUEST_URI": "/cgi-bin/vistel.cgi?" + query,
        "REDIRECT_STATUS": "200",
        "SCRIPT_NAME": "/cgi-bin/vistel.cgi",
        "SCRIPT_FILENAME": "/usr/lib/cgi-bin/vistel.cgi",
        "DOCUMENT_ROOT": "/usr/www",
        "REQUEST_METHOD": "GET",
        "SERVER_PROTOCOL": "HTTP/1.1",
        "SERVER_SOFTWARE": "lighttpd/1.4.69",
        "GATEWAY_INTERFACE": "CGI/1.1",
        "REQUEST_SCHEME": "http",
        "SERVER_PORT": "80",
        "SERVER_ADDR": "192.168.1.21",
        "SERVER_NAME": "192.168.1.21",
        "REMOTE_ADDR": "192.168.1.30",
        "REMOTE_PORT": "51234",
        "HTTP_HOST": "192.168.1.21",
        "HTTP_USER_AGENT": "Mozilla/5.0 (X11; Linux x86_64; rv:115.0) Gecko/20100101 Firefox/115.0",
        "HTTP_ACCEPT": "text/html,application/xhtml+xml,application/xml;q=0.9,*/*;q=0.8",
        "HTTP_ACCEPT_LANGUAGE": "de,en-US;q=0.7,en;q=0.3",
        "HTTP_ACCEPT_ENCODING": "gzip, deflate",
    }


def note(text):
    print("run-bench: " + text, file=sys.stderr, flush=True)


def fail(text):
    sys.exit("run-bench: " + text)


def command(*arguments, **options):
    """Runs a tool quietly; what it said is shown only when it fails."""
    arguments = list(map(str, arguments))
    done = subprocess.run(arguments, stdin=options.pop("stdin", subprocess.DEVNULL),
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)
    if done.returncode != 0:
        sys.stderr.buffer.write(done.stdout[-4000:] + done.stderr[-4000:])
        fail("failed: " + " ".join(arguments))
    return done.stdout


def build_tools():
    for name in ("measure", "resources"):
        command("gcc", "-O2", "-static", "-Wall", "-Wextra", "-o", BUILD / name,
                BENCH / (name + ".c"))
    command("gcc", "-O2", "-static", "-no-pie", "-o", BUILD / "hold", BENCH / "floor" / "hold.c")


def respond(program, environment):
    response = command(program, env=environment)
    if not response.startswith(HEADERS):
        fail("%s: the response does not begin with the header block" % program.name)
    if b"WGL error" in response:
        fail("%s: %s" % (program.name, response[len(HEADERS):400]))
    return response


def table_of(output):
    lines = [line.split("\t") for line in output.decode().splitlines()]
    return [dict(zip(lines[0], line)) for line in lines[1:]]


def measure(programs, environment, rounds, cpu, warmup=20, different=False):
    """Times of the programs by their names; the first one is the floor, and writes what all of them
    have to write, unless they may write `different` things."""
    pin = ["-c", str(cpu)] if cpu is not None else []
    output = command(BUILD / "measure", "-t", "-n", rounds, "-w", warmup, *pin,
                     *(["-d"] if different else []),
                     *["%s=%s" % item for item in programs.items()], env=environment)
    return {row["name"]: {key: float(value) for key, value in row.items() if key != "name"}
            for row in table_of(output)}


def resources(program, environment, runs=RESOURCE_RUNS, stdin=None):
    rows = []
    for _ in range(runs):
        with open(stdin or "/dev/null", "rb") as given:
            rows += table_of(command(BUILD / "resources", "-t", program, env=environment,
                                     stdin=given))
    return {key: statistics.median(int(row[key]) for row in rows) for key in rows[0]}


def instructions(program, environment):
    return int(command(BENCH / "instructions", program, env=environment).replace(b",", b""))


def table(heading, rows):
    print("| " + " | ".join(heading) + " |")
    print("|---" + "|---:" * (len(heading) - 1) + "|")
    for row in rows:
        print("| " + " | ".join(map(str, row)) + " |")
    print()


def number(value):
    return "{:,.0f}".format(value)


def microseconds(nanoseconds):
    return "{:,.1f}".format(nanoseconds / 1000)
