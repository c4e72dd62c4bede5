# SPDX-License-Identifier: MIT
"""
The parts of run-bench that need the whole product: the static program with its own site and its
system manager. They compare a chart with reading and writing the same picture with giflib alone, and
the home page through the web server with the floor through another such server. The one rule: servers
listen on this machine only, take a free port, and are ended by their own process ids.
"""
import contextlib
import os
import re
import shutil
import socket
import statistics
import subprocess
import time

import emulated
from common import *

BUILT = BUILD / "product"
WWW = scratch_folder()
STATE = scratch_folder()
START_SECONDS = 20

STATION = "00:00:5E:00:53:02"
CHARTS = {"power": ("_type=power", "HomePlug.OutputPower"),
          "snr": ("_type=snr&mac=" + STATION, "HomePlug.SNR{MacAddress=%s}:format=scalar" % STATION)}
CHART_HEADERS = HEADERS.replace(b"text/html", b"image/gif")
CHART_ROUNDS = 500

# Both servers answer in turns, so that other load on the machine affects both alike.
LOAD_ADDRESS = "127.0.0.1"
LOAD_TURNS = 10
LOAD_REQUESTS = 500
LOAD_CONNECTIONS = 4
LOAD_SECONDS = 60  # for one turn, at most
# The simulated adapter measures every four seconds; before that, its home page is shorter.
MEASURED_SECONDS = 10


def product_paths():
    paths = {"DOCUMENT_ROOT": WWW, "UPLOAD_FILE": STATE / "upload.bin",
             "AUTHORISATION_FILE": STATE / "rpcauth", "SYSMGR_SOCKET": STATE / "run" / "socket",
             "SYSMGR_PROVIDERS": STATE / "run" / "providers",
             "SYSMGR_MODEL": STATE / "model.json", "SYSMGR_DATABASE": STATE / "settings.db",
             "SYSMGR_FILES": STATE / "files", "SBIN_DIR": STATE / "sbin",
             "CGI_DIR": STATE / "cgi-bin"}
    return ["-DVISTEL_%s=%s" % path for path in paths.items()]


def build_product(extra):
    """Builds and installs the product as ./run does, its root in scratch folders."""
    note("building the product")
    paths = product_paths()
    generator = ["-G", "Ninja"] if shutil.which("ninja") else []
    command("cmake", "-S", SOURCE, "-B", BUILT, *generator, "-DCMAKE_BUILD_TYPE=Release",
            "-DVISTEL_LINK=static", *paths, *extra)
    command("cmake", "--build", BUILT, "-j", os.cpu_count() or 1)
    command("cmake", "--install", BUILT)
    (STATE / "rpcauth").write_text("c2VjcmV0IG9mIHRoZSBtZWFzdXJlbWVu\n")
    (STATE / "rpcauth").chmod(0o600)
    return STATE / "cgi-bin" / "vistel.cgi"


@contextlib.contextmanager
def started(name, arguments, is_ready, **options):
    """A server that answers."""
    log = BUILD / (name + "-log")
    with open(log, "wb") as output:
        process = subprocess.Popen(list(map(str, arguments)), stdin=subprocess.DEVNULL,
                                   stdout=output, stderr=output, **options)
    try:
        deadline = time.monotonic() + START_SECONDS
        while not is_ready():
            if process.poll() is not None or time.monotonic() > deadline:
                fail("%s did not start: %s" % (name, log.read_text()))
            time.sleep(0.02)
        yield process
    finally:
        process.terminate()
        process.wait()


@contextlib.contextmanager
def settings_service():
    """With the simulated adapter, whose values are there when its charts and tables are asked for."""
    control = [STATE / "sbin" / "sysmgrctl", "get", "Network.CurrentGateway"]
    has_values = lambda: subprocess.run(control, capture_output=True).returncode == 0
    with started("sysmgrd", [STATE / "sbin" / "sysmgrd", "--open"], (STATE / "run" / "socket").exists) as service:
        with started("simulator", [BUILT / "simulator" / "vistel-simulator"], has_values):
            yield service


# --- charts ---------------------------------------------------------------------------------

def build_chart_floor(name, picture):
    floor = BUILD / ("floor-chart-" + name)
    headers = CHART_HEADERS.decode().replace("\r", "\\r").replace("\n", "\\n")
    command("gcc", "-O2", "-static", "-no-pie", "-Wall", "-Wextra",
            '-DTEMPLATE_FILE="%s"' % picture, '-DRESPONSE_HEADERS="%s"' % headers, "-o", floor,
            BENCH / "floor" / "chart.c", "-lgif")
    return floor


def chart_request(fields):
    return request("image", "_style=std&" + fields)


def check_chart(name, response, template):
    """A picture of the template's size with bars in it."""
    if not response.startswith(CHART_HEADERS + template[:10]) or not response.endswith(b"\0;"):
        fail("the %s chart came out wrong: %r" % (name, response[:200]))
    if len(response) < len(CHART_HEADERS + template) * 1.1:
        fail("the %s chart has no bars" % name)


def report_chart(program, options):
    rows = []
    counts = []
    for chart, (fields, key) in CHARTS.items():
        note("the %s chart" % chart)
        template = WWW / "styles" / "std" / "img" / (chart + "_template.gif")
        environment = chart_request(fields)
        response = command(program, env=environment)
        check_chart(chart, response, template.read_bytes())
        drawn = BUILD / ("chart-%s.gif" % chart)
        drawn.write_bytes(response[len(CHART_HEADERS):])
        floors = {"giflib, the template": build_chart_floor(chart + "-template", template),
                  "giflib, the finished chart": build_chart_floor(chart + "-drawn", drawn)}
        if command(floors["giflib, the finished chart"]) != response:
            fail("giflib alone writes the %s chart differently" % chart)
        pages = {}
        for page, body in ("no query", ""), ("the chart's query", "<~ query `%s` ~>" % key):
            file = WWW / ("%s-%d.wgl" % (chart, len(pages)))
            file.write_text(body + "\n")
            pages["a page with " + page] = request("/" + file.name)
            respond(program, pages["a page with " + page])
        asked = {"the chart": environment, **pages}
        programs = {**floors, **{name: "%s?%s" % (program, what["QUERY_STRING"])
                                 for name, what in asked.items()}}
        times = measure(programs, environment, CHART_ROUNDS, options.cpu, different=True)
        base = times["giflib, the template"]
        for name, t in times.items():
            rows.append([chart, name, microseconds(t["median_ns"]), microseconds(t["q1_ns"]),
                         microseconds(t["q3_ns"]), microseconds(t["min_ns"]), "%.2f" % t["ratio"],
                         "%.2f" % (t["min_ns"] / base["min_ns"])])
        for name, counted in {**floors, **{name: program for name in asked}}.items():
            took = resources(counted, asked.get(name, environment))
            counts.append([chart, name,
                           number(instructions(counted, asked.get(name, environment))),
                           number(took["faults"]), number(took["peak_kib"]),
                           number(took["system_calls"])])
    print("### Charts: time of a whole process\n")
    print("The floor reads the template and writes it again by giflib alone; reading and writing the "
          "finished chart shows what the bars cost giflib. The two pages show what the chart's query "
          "costs. %d interleaved rounds; microseconds. Load: %.2f.\n" % (
              CHART_ROUNDS, os.getloadavg()[0]))
    table(["chart", "program", "median", "lower quartile", "upper quartile", "least",
           "times the floor", "least, times the floor's least"], rows)
    print("### Charts: instructions, faults, memory\n")
    table(["chart", "program", "instructions, user mode", "page faults", "peak memory, KiB",
           "system calls"], counts)


# --- load -----------------------------------------------------------------------------------

def free_port():
    with socket.socket() as one:
        one.bind((LOAD_ADDRESS, 0))
        return one.getsockname()[1]


def fetch(port):
    """The response to GET /, or b"" while there is none."""
    with contextlib.suppress(OSError), socket.create_connection(
            (LOAD_ADDRESS, port), timeout=START_SECONDS) as connection:
        connection.sendall(b"GET / HTTP/1.0\r\nHost: %s:%d\r\n\r\n"
                           % (LOAD_ADDRESS.encode(), port))
        return b"".join(iter(lambda: connection.recv(65536), b""))
    return b""


def web_server(name, cgi, port):
    folder = STATE / name
    folder.mkdir()
    environment = {**os.environ, "VISTEL_WWW": str(WWW), "VISTEL_CGI": str(cgi),
                   "VISTEL_BIND": LOAD_ADDRESS, "VISTEL_PORT": str(port),
                   "VISTEL_STATE": str(folder), "VISTEL_OPEN": "1"}
    return started(name, [SOURCE / "deploy" / "start", "lighttpd"],
                   lambda: (folder / "lighttpd.pid").exists() and b"</html>" in fetch(port),
                   env=environment)


def requests_per_second(port):
    """One turn of the load generator; every response has to be a whole page."""
    output = command("ab", "-l", "-q", "-n", LOAD_REQUESTS, "-c", LOAD_CONNECTIONS, "-s",
                     START_SECONDS, "http://%s:%d/" % (LOAD_ADDRESS, port),
                     timeout=LOAD_SECONDS).decode()

    def value(name):
        found = re.search(r"^%s:\s+([\d.]+)" % name, output, flags=re.M)
        return float(found.group(1)) if found else 0

    if (value("Complete requests") != LOAD_REQUESTS or value("Failed requests")
            or value("Non-2xx responses")):
        fail("not every request was answered:\n" + output)
    return value("Requests per second"), value("HTML transferred") / LOAD_REQUESTS


def report_load(program):
    note("the home page through the web server")
    ports = {"vistel": free_port()}
    ports["floor"] = free_port()
    with web_server("lighttpd-vistel", program.parent, ports["vistel"]):
        time.sleep(MEASURED_SECONDS)
        home = fetch(ports["vistel"])
        body = home.split(b"\r\n\r\n", 1)[1]
        answer = BUILD / "response-home"
        answer.write_bytes(HEADERS + body)
        folder = STATE / "floor-bin"
        folder.mkdir()
        command("gcc", "-O2", "-static", "-no-pie", '-DRESPONSE_FILE="%s"' % answer, "-o",
                folder / program.name, BENCH / "floor" / "floor.c")
        with web_server("lighttpd-floor", folder, ports["floor"]):
            if fetch(ports["floor"]).split(b"\r\n\r\n", 1)[1] != body:
                fail("the floor's page is another one")
            load = os.getloadavg()[0]
            turns = {name: [] for name in ("floor", "vistel")}
            for _ in range(LOAD_TURNS):
                for name, rates in turns.items():
                    rate, size = requests_per_second(ports[name])
                    if abs(size - len(body)) > len(body) // 10:
                        fail("a page of %d bytes instead of %d" % (size, len(body)))
                    rates.append(rate)
    print("### The home page through the web server\n")
    print("%s bytes through lighttpd with the configuration of `deploy/`, the floor through another "
          "one like it: %d turns of %d requests each, %d at a time, all of it on this machine and its "
          "%d processors. Load before: %.2f.\n" % (number(len(body)), LOAD_TURNS, LOAD_REQUESTS,
                                                  LOAD_CONNECTIONS, os.cpu_count(), load))
    middle = {name: statistics.median(rates) for name, rates in turns.items()}
    table(["program", "requests/s, median", "least", "most", "of the floor's"],
          [[{"vistel": "all static"}.get(name, name), number(middle[name]), number(min(rates)),
            number(max(rates)), "%.2f" % (middle[name] / middle["floor"])]
           for name, rates in turns.items()])


def report(parts, options):
    program = build_product(options.configure)
    with settings_service():
        if "chart" in parts:
            report_chart(program, options)
        if "load" in parts:
            report_load(program)
        if "device" in parts:
            emulated.report(program, request("/wgl/main.wgl", "_style=std&_dir=std&_page=home"), product_paths(),
                            options.configure)
