# SPDX-License-Identifier: MIT
"""
The part of run-bench that shows whether costs grow with the page and no faster: by the size of a template, and by
the number of references, variables, includes, queries and rows. The one rule: what an empty page costs is subtracted.
"""
import contextlib
import os
import re
import socket
import subprocess
import threading

from common import *

FIELDS_C = ("name=Wohnzimmer+%26+K%C3%BCche&place=1.+Stock&model=PL-500+duo+%3Crev.+B%3E"
            "&mac=00:00:5E:00:53:02&fw=7.12.3-4&serial=1406023871000258&ip=192.168.1.21"
            "&mask=255.255.255.0&gateway=192.168.1.1&dns=192.168.1.1&peers=3&peersmax=8"
            "&ssid=Heim%22netz%22&contact=hausverwaltung@example.org&uptime=86400&rate=412"
            "&quality=87&group=B")

GROWTH_SIZES = [1, 2, 4, 16, 64]
# The times of large pages vary less, so fewer rounds are enough.
GROWTH_ROUNDS = {1: 200, 2: 150, 4: 100, 16: 50, 64: 25}
# Under callgrind 64 MB would take minutes and say nothing new; references take the most instructions.
GROWTH_COUNTED_SIZES = [1, 4, 16]
MANY_REFERENCES_ROUNDS = 3
MANY_REFERENCES_COUNTED_SIZES = [1, 4]
GROWTH_KINDS = {"html": "HTML, a tag every few words",
                "lines": "lines of 80 characters",
                "line": "one line, no newline",
                "symbols": "a `$` or `~` every few words",
                "mixed": "HTML, 1,000 references per megabyte",
                "references": "references and nothing else"}


# --- by size --------------------------------------------------------------------------------

def make_page(path, kind, size, *references):
    path.parent.mkdir(parents=True, exist_ok=True)
    with open(path, "wb") as page:
        page.write(command(BENCH / "make-page", kind, size, *references))


def peak_of(program, environment):
    """As the kernel tells it at the end, which is right for more memory than this script has. `resources` looks at
    every system call, and here there are too many of them."""
    with open(os.devnull, "wb") as nowhere:
        process = subprocess.Popen([program], env=environment, stdin=subprocess.DEVNULL, stdout=nowhere)
        _, status, used = os.wait4(process.pid, 0)
    if status != 0:
        fail("%s ended with %d" % (program, status))
    return used.ru_maxrss


def measure_growth(program, kind, size, cpu):
    note("growth: %s, %d MB" % (kind, size))
    page = ROOT / "growth" / "page.wgl"
    body = BUILD / "growth-body"
    make_page(page, kind, size * MEGABYTE, *([1000 * size] if kind == "mixed" else []))
    environment = request("/growth/page.wgl", FIELDS_C)
    body.write_bytes(respond(program, environment)[len(HEADERS):])
    rounds = MANY_REFERENCES_ROUNDS if kind == "references" else GROWTH_ROUNDS[size]
    times = measure({"hold": "%s@%s" % (BUILD / "hold", body), "program": program},
                    environment, rounds, cpu, warmup=1)
    row = {"time": times["program"]["min_ns"], "held_time": times["hold"]["min_ns"],
           "peak": peak_of(program, environment) if kind == "references" and size >= 16
                   else resources(program, environment, runs=1)["peak_kib"],
           "held_peak": resources(BUILD / "hold", {}, runs=1, stdin=body)["peak_kib"],
           "count": None}
    counted = MANY_REFERENCES_COUNTED_SIZES if kind == "references" else GROWTH_COUNTED_SIZES
    if size in counted:
        row["count"] = instructions(program, environment)
    page.unlink()
    body.unlink()
    return row


def measure_start(program, cpu):
    environment = request("/empty.wgl")
    empty = ROOT / "empty.wgl"
    times = measure({"hold": "%s@%s" % (BUILD / "hold", empty), "program": program}, environment,
                    GROWTH_ROUNDS[1], cpu)
    return {"time": times["program"]["min_ns"], "held_time": times["hold"]["min_ns"],
            "peak": resources(program, environment)["peak_kib"],
            "held_peak": resources(BUILD / "hold", {}, stdin=empty)["peak_kib"],
            "count": instructions(program, environment)}


def report_sizes(program, cpu):
    # Only the least times are compared, because other load on the machine exceeds the differences
    # between sizes. The start of a process, which is the same for every size, is subtracted; it would
    # make small pages look expensive. It is measured again for every kind, so that one busy minute
    # doesn't make it look long.
    starts = []
    measured = {}
    for kind in GROWTH_KINDS:
        starts.append(measure_start(program, cpu))
        measured[kind] = [measure_growth(program, kind, size, cpu) for size in GROWTH_SIZES]
    start = {key: min(one[key] for one in starts) for key in starts[0]}

    rows = []
    spread = []
    for kind, description in GROWTH_KINDS.items():
        times = []
        ratios = []
        for size, row in zip(GROWTH_SIZES, measured[kind]):
            over = {key: (row[key] - start[key]) / size for key in row if row[key] is not None}
            times.append(over["time"])
            ratios.append(over["time"] / over["held_time"])
            rows.append([description, size, microseconds(over["time"]),
                         "%.2f" % (over["time"] / times[0]), microseconds(over["held_time"]),
                         "%.2f" % ratios[-1],
                         "%.3f" % (over["count"] / MEGABYTE) if "count" in over else "-",
                         "%.2f" % (over["peak"] * 1024 / MEGABYTE),
                         "%.2f" % (over["held_peak"] * 1024 / MEGABYTE)])
        spread.append([description, "%.0f %%" % (100 * (max(times) / min(times) - 1)),
                       "%.0f %%" % (100 * (max(ratios) / min(ratios) - 1))])
    print("### Growth: cost per megabyte of template, all static\n")
    print("The yardstick is a static C program that reads the finished page whole and writes it "
          "in one go: what it costs is the machine's own share. Times (the least of each), "
          "instructions and memory are what comes on top of an empty page.\n")
    table(["template", "MB", "us per MB", "against 1 MB", "yardstick, us per MB",
           "times the yardstick", "instructions per byte", "memory, bytes per byte",
           "yardstick, bytes per byte"], rows)
    print("By how much the most expensive megabyte exceeds the cheapest, over all sizes:\n")
    table(["template", "in time", "in times the yardstick"], spread)

# --- by the number of things ----------------------------------------------------------------

# What is counted, the numbers of it, and the template for a number. Instructions don't depend on other load, so
# these need no rounds.
ITEMS = {
    "references": ([1000, 10_000, 100_000], lambda n: "${name htmltext}" * n),
    "variables, set and read": ([10, 100, 1000, 10_000, 100_000],
                                lambda n: "".join("<~ set `v%d` `1` ~>${v%d}" % (i, i) for i in range(n))),
    "conditions with a translation": ([10, 1000, 10_000], lambda n: "<~ if ${name} eq `x` then <~ trans `y` ~> ~>" * n),
    # A page has at most 250, because a template stays open until the end.
    "includes": ([1, 10, 100, 200], lambda n: "<~ include `/growth/part.wgl` ~>" * n),
    "queries": ([1, 10, 50, 200, 1000], lambda n: "<~ query `k` ~>" * n),
    "queries, each waited for": ([1, 10, 50, 200], lambda n: "<~ set `x` <~ query `k` ~> ~>" * n),
    "rows of a query": ([10, 100, 1000, 10_000, 50_000], lambda n: "<~ query `rows=%d` do `<i>${01}</i>${02}` ~>" % n),
}


def netstring(content):
    return b"%d:%s," % (len(content), content)


def answer_to(request):
    """Two columns of as many rows as the key asks for, or a single value."""
    rows = re.search(rb"rows=(\d+)", request)
    if rows is None:
        return netstring(netstring(b"0") + netstring(b"a <value>"))
    count = int(rows.group(1))
    table = b"\x012:%d:" % count + b"".join(netstring(b"row %d" % row) + netstring(b"<>") for row in range(count))
    return netstring(netstring(b"0") + netstring(table))


def serve(connection):
    received = b""
    with connection:
        while bytes_ := connection.recv(65536):
            received += bytes_
            while whole := re.match(rb"(\d+):", received):
                end = whole.end() + int(whole.group(1)) + 1
                if len(received) < end:
                    break
                connection.sendall(answer_to(received[:end]))
                received = received[end:]


@contextlib.contextmanager
def plain_service(path):
    """A service whose own speed does not matter: it answers every query at once."""
    path.parent.mkdir(parents=True, exist_ok=True)
    path.unlink(missing_ok=True)
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(path))
        listener.listen()

        def accept():
            with contextlib.suppress(OSError):  # at its end
                while True:
                    serve(listener.accept()[0])
        threading.Thread(target=accept, daemon=True).start()
        yield
        listener.shutdown(socket.SHUT_RDWR)
    # The system manager, which the next part starts, makes its own folder with its own mode.
    path.unlink()
    path.parent.rmdir()
    path.parent.parent.rmdir()


def cost_of(program, environment):
    return {"count": instructions(program, environment),
            "peak": resources(program, environment, runs=3)["peak_kib"] * 1024}


def report_items(programs, service_socket):
    page = ROOT / "growth" / "page.wgl"
    page.parent.mkdir(parents=True, exist_ok=True)
    (page.parent / "part.wgl").write_text("part\n")
    environment = request("/growth/page.wgl", FIELDS_C)
    rows = []
    with plain_service(service_socket):
        for name, (numbers, template) in ITEMS.items():
            note("growth: " + name)
            costs = []
            for count in [0, *numbers]:
                page.write_text(template(count) if count else "")
                costs.append({kind: cost_of(program, environment) for kind, program in programs.items()})
            for count, cost in zip(numbers, costs[1:]):
                rows.append([name, number(count)] + [
                    number((cost[kind][what] - costs[0][kind][what]) / count)
                    for what in ("count", "peak") for kind in programs])
    print("### Growth: cost of each thing\n")
    print("Instructions and bytes of memory for each, on top of an empty page; the first of a kind pays for what is "
          "done once.\n")
    table(["what", "how many"] + ["%s, %s" % (what, LINK_KINDS[kind]) for what in ("instructions", "bytes")
                                  for kind in programs], rows)


def report(programs, cpu, service_socket):
    report_sizes(programs["static"], cpu)
    report_items({kind: programs[kind] for kind in ("static", "musl")}, service_socket)
