# SPDX-License-Identifier: MIT
"""
The finished program, as a web server runs it: the files of cases, inputs too large for a file, the
examples of docs/language.md, and pages with values of a system manager.
"""
import itertools
import os
import re
import resource
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.parse
import urllib.request
from concurrent.futures import ThreadPoolExecutor
from contextlib import ExitStack, contextmanager
from pathlib import Path

from served import HOST, free_port
from program import BUILD, OTHER_PROGRAMS, Program, SystemManager, answer, decode, headers, read_cases, table

PROGRAMS = [Program(path) for path in (BUILD / "main/vistel.cgi", *OTHER_PROGRAMS)]
PROGRAM = PROGRAMS[0]
TESTS = Path(__file__).resolve().parent
DEADLINE_SECONDS = 10
LARGEST_SHOWN = 5000
ME = "_file=@DIR@/main.wgl"


def page(template, output, fields=""):
    """The sections of a case."""
    return [("template", "", template), ("fields", "", fields), ("response", "text/html", output)]


def form(template, output, *body):
    request = "REQUEST_METHOD=POST\nCONTENT_TYPE=application/x-www-form-urlencoded\nCONTENT_LENGTH=1"
    return [*page(template, output), ("request", "", request), *(("body", "", piece) for piece in body)]


def error(template, line, message):
    return [("template", "", template), ("wgl-error", f"{line} {message}", "")]


def brief(part):
    """A short form of a large text that still differs from that of other texts."""
    return f"{part[:500]} ... {len(part)}, {hash(part)}" if len(str(part)) > LARGEST_SHOWN else part


class TestCase(unittest.TestCase):
    def check(self, name, sections, *programs):
        for program in programs or PROGRAMS:
            with self.subTest(name, program=program.build.name):
                self.assertEqual(*(tuple(map(brief, side)) for side in program.outcome(sections)))


class Cases(TestCase):
    def test_every_case(self):
        for file in sorted((TESTS / "cases").iterdir()):
            cases = list(read_cases(file.read_text(encoding="utf-8")))
            self.assertTrue(cases, file)
            for name, sections in cases:
                self.check(f"{file.stem}: {name}", sections)


class Large(TestCase):
    def test_syntax_errors(self):
        # The names of other tokens are their texts, in capitals.
        names = {"": "$end", "<~": "T_BEGIN", "~>": "T_END", "`": "T_QUOTE", "+": "T_PLUS", "-": "T_MINUS",
                 "${a}": "T_VARNAME", "${a htmltext}": "T_VARNAME_HTMLTEXT", "${a htmlesc}": "T_VARNAME_HTMLESC"}
        end = ", expecting T_END"
        # After each of the starts, each of the tokens is an error; "|" separates the starts.
        for starts, tokens, expecting, line in (
                # Eight commands may follow "<~", too many for the message to list them.
                ("<~ ", "|~>|${a}|${a htmltext}|${a htmlesc}|<~|`", "", 1),
                ("<~ ", "do|rowcount|raw|json|then|else|eq|ne|gt|ge|lt|le", "", 1),
                # Each command requires an argument, which is one of five tokens.
                ("<~ + ", "|~>|+|-|include|trans|get|set|query|if", "", 1),
                ("<~ set `a` |<~ query |<~ if `a` eq |<~ if `a` eq `b` then |<~ if `a` eq `b` then `c` else ",
                 "~>", "", 1),
                # A single token ends a command.
                ("<~ + `a` |<~ - ${a} |<~ include `a` |<~ get `a` |<~ set `a` `b` ", "|`|${a htmlesc}", end, 1),
                ("<~ trans `a` |<~ query `a` rowcount ", "|do|raw", end, 1),
                # A condition is one comparison: six operators, then "then".
                ("<~ if `a` ", "~>|then|", "", 1),
                ("<~ if `a` eq `b` ", "~>|ne|`|", ", expecting T_THEN", 1),
                # The parser takes a missing "else" as left out before it reports the error.
                ("<~ if `a` eq `b` then `c` ", "then|`|", end, 1),
                ("<~ if `a` eq `b` then `c` else `d` ", "else|", end, 1),
                # Within a string: text, references, commands and its end, six tokens.
                ("<~ + `|<~ + `a|<~ + `<~ + `x` ~>", "", "", 1),
                ("<~ + `|<~ + `a", "~>", "", 1),
                # The line is that of the wrong token; a newline after "$" is not counted.
                ("a\nb\n<~ +\n\n", "~>", "", 5),
                ("a$\nb\n<~ ", "~>", "", 2),
                ("<~ + `a\nb`\n", "", end, 3)):
            for template, token in ((a + b, b) for a in starts.split("|") for b in tokens.split("|")):
                name = names.get(token, "T_" + token.upper())
                self.check(template, error(template, line, f"syntax error, unexpected {name}{expecting}"), PROGRAM)

    def test_nesting(self):
        # The parser's stacks hold 10,000 entries. Each nested command takes three of them, and the
        # innermost one two more.
        for depth in (65, 70, 3000, 3332):
            self.check(depth, page("<~+`" * depth + "x" + "`~>" * depth, "x"))
        for depth in (3333, 100_000):
            self.check(depth, error("<~+`" * depth + "x\n" + "`~>" * depth, 1, "memory exhausted"))
        self.check("else", page("<~ if `1` eq `1` then " * 1500 + "`y`" + " else `n` ~>" * 1500, "y"))
        # Commands nested as arguments exceed the stacks in the same way.
        self.check("fit", page("<~+ " * 4000 + "`x`" + "~>" * 4000, "x"))
        self.check("too many", error("<~+ " * 5000 + "`x`" + "~>" * 5000, 1, "memory exhausted"))

    def test_templates(self):
        megabytes = "A line of plain text, <b>as</b> there are many in a page & more.\n" * 100_000
        for template, output in (
                (megabytes, megabytes), ("<" * 1_000_000, "<" * 1_000_000), ("$" * 1_000_001, "$" * 1_000_001),
                ("~" * 300_000, "~" * 300_000), ("\0" * 10_000 + "x", "x"),
                ("<~+" + " \n" * 300_000 + "${x}~>", "y"), ("${x}" * 200_000, "y" * 200_000),
                # A variable that doubles its length.
                ("<~ set `x` `${x}${x}` ~>" * 20 + "${x}", "y" * (1 << 20))):
            self.check(template[:50], page(template, output, "x=y"))
        self.check("many files", [*page("<~ include `b` ~>" * 1000, "b" * 1000), ("template", "b", "b")])
        self.check("a line far down", error(megabytes + "<~ +", 100_001, "syntax error, unexpected $end"))

    def test_a_machine_without_locales(self):
        alone = ["/usr/bin/unshare", "--mount", *["--map-root-user"] * (os.geteuid() != 0), "/bin/sh", "-c",
                 'mount -t tmpfs none /usr/lib/locale && exec "$0"']
        if subprocess.run([*alone, "/bin/true"], capture_output=True).returncode != 0:
            self.skipTest("mounting is not permitted here")
        for program in PROGRAMS:
            self.check("de", page("<~ trans `Settings` ~>", "Einstellungen für Größe & Übertragung", "_lang=de"),
                       Program(program.path, alone))

    def test_signals_while_the_page_waits(self):
        """A page and an error, each larger than the pipe; only the page tries again by itself."""
        text, name = "x" * 1_000_000, "/" + "x" * 120_000
        error = f"WGL error: requested file outside of document subtree\n\n{name}\n"
        for program, (file, text) in itertools.product(PROGRAMS, (("", text), (name, error))):
            with self.subTest(program=program.build.name, text=text[:9]), program.folder() as folder:
                Path(folder, "main.wgl").write_text(text)
                environment = {"REQUEST_METHOD": "GET", "QUERY_STRING": f"_file={file or f'/{Path(folder).name}/main.wgl'}"}
                with subprocess.Popen([program.path], env=environment, stdout=subprocess.PIPE) as process:
                    output = process.stdout.read(1)
                    for _ in range(10):  # the first ones may come before the pipe is full
                        time.sleep(0.02)
                        process.send_signal(signal.SIGIO)
                    output += process.stdout.read()
                self.assertEqual(brief(decode(output)), brief(headers("text/html") + text))

    def test_requests(self):
        fields = "".join(f"&f{i}=v{i}" for i in range(10_000))
        name, letters, block, blocks = "n" * 1_000_000, "a" * 100 * 1024, "_" + "x" * 8191, "x" * 100_000
        get = "REQUEST_METHOD=GET\nQUERY_STRING="
        plain = "REQUEST_METHOD=POST\nCONTENT_TYPE=application/x-www-form-urlencoded\nCONTENT_LENGTH="
        for sections in (
                form("${f0} ${f9999} ${f10000}", "v0 v9999 ", ME + fields),
                form(f"<~ get `{name}` ~>", "x", f"{ME}&{name}=x"),
                form("[${x}|${y}]", f"[{block}|]", ME, "&x=" + block),
                form("[${x}|${y}]", f"[{blocks}|z]", f" {ME}&x=", blocks, "&y=z"),
                # A string of the environment holds at most 128 KB.
                page("${x htmlesc}", "%3C" * 102_400, "x=" + "<" * 102_400),
                page("${x htmltext}", "1", "x=1&" * 25_000),
                [*page("${_actlang}", "de"),
                 ("request", "", get + f"{ME}\nHTTP_ACCEPT_LANGUAGE={'x,' * 50_000}de")],
                *([("request", "", request), ("response", kind, output), ("exit", "1", "")]
                  for request, kind, output in (
                      (f"REQUEST_METHOD={letters}", "text/plain", f"Unsupported request method: '{letters}'\r\n"),
                      (f"REQUEST_METHOD=POST\nCONTENT_TYPE={letters}", "text/plain",
                       f"Unsupported content type: '{letters}'\r\n"),
                      (plain + letters, "text/plain", "Missing or invalid content length: 0\r\n"),
                      (f"{get}_file={letters}", "text/html",
                       f"WGL error: requested file outside of document subtree\n\n{letters}\n")))):
            self.check(sections[0][2][:100], sections)

    def test_uploads(self):
        # The fields after the file are read, even if the file is refused or dropped.
        part, content = '--B\r\nContent-Disposition: form-data; name="', "x" * 3 * 65536
        for extra in ([("uploaded", "", content)],
                      [("limit", "FSIZE 100000", ""), ("uploaded", "", content[:100_000])],
                      [("directory", str(PROGRAM.upload), "")]):
            self.check(extra, [
                *page("stored ${_errorcount}", "stored 0"), *extra,
                ("request", "", "REQUEST_METHOD=POST\nCONTENT_TYPE=multipart/form-data; boundary=B"),
                ("body", "", f'{part}f"; filename="x"\r\n\r\n{content[:70_000]}'),
                ("body", "", f'{content[70_000:]}\r\n{part}{ME[:5]}"\r\n\r\n{ME[6:]}\r\n--B--\r\n')])


class Limits(TestCase):
    """Programs without sanitizers, which allow themselves any memory."""

    def test_memory_and_time(self):
        doubled = "<~ set `x` `${x}${x}` ~>"
        for template, limit, message in (
                (doubled * 21 + "${x}", None, None),
                (doubled * 30 + "${x}", None, "out of dynamic memory"),
                (doubled * 20 + "${x}" * 100, None, "out of dynamic memory"),
                (doubled * 20 + "<~ if ${x} eq `` then `` ~>" * 100_000, (resource.RLIMIT_CPU, 1, 3),
                 "the page takes too much time")):
            # The last one takes a second: of each C library one program, and one with the filter.
            for program in PROGRAMS[-2:] if limit else PROGRAMS[1:]:
                with self.subTest(template[-30:], program=program.build.name), program.folder() as folder:
                    Path(folder, "main.wgl").write_text(template)
                    done = program.run({"REQUEST_METHOD": "GET",
                                        "QUERY_STRING": f"_file=/{Path(folder).name}/main.wgl&x=y"}, limit=limit)
                    expected = (message + "\r\n", 2) if message else ("y" * (1 << 21), 0)
                    self.assertEqual((brief(done.output.removeprefix(headers("text/html"))), done.status),
                                     tuple(map(brief, expected)))

    def test_the_largest_answer(self):
        value = "x" * ((16 << 20) - len("1:0,16777202:,"))
        with SystemManager(PROGRAM, lambda _: answer(0, value.encode())):
            self.check("16 MiB", page("<~ query `a` ~>", value), *PROGRAMS[1:])

    def test_fields(self):
        part = lambda name, value: f'--B\r\nX: name="{name}"\r\n\r\n{value}\r\n'
        text = lambda name, value: f"{name}={urllib.parse.quote(value)}&"
        for kind, field, end in (("application/x-www-form-urlencoded", text, ""),
                                 ("multipart/form-data; boundary=B", part, "--B--")):
            for name, accepted in (
                    ("many", ["'" * 50] * 32768), ("too many", [""] * 32769), ("once", None),
                    ("large", ["'" * 8183] * 256), ("too large", ["'" * 8183] * 255 + ["'" * 8184])):
                body = (field(":sys:a", "v") * 32769 if accepted is None else
                        "".join(field(f":sys:{i:04d}", value) for i, value in enumerate(accepted))) + end
                fits = name in ("many", "large")
                environment = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": kind, "CONTENT_LENGTH": "1"}
                with SystemManager(PROGRAM, lambda keys: answer(0, table(*[[""]] * len(keys)))) as manager:
                    for program in PROGRAMS if fits else PROGRAMS[:2]:
                        # The memory that docs/limits.md promises.
                        limit = None if program is PROGRAM else (resource.RLIMIT_AS, 32 << 20)
                        with self.subTest(kind, name=name, program=program.build.name):
                            done = program.run(environment, [body], limit=limit)
                            self.assertEqual((done.status, done.errors), (0 if fits else 1, ""))
                            if not fits:
                                self.assertEqual(done.output, headers("text/plain") + "Too many or too large fields\r\n")
                self.assertTrue(fits or manager.requests == [])


def examples(text):
    """
    Line and sections of every example of a document. The rule to know: no example is exempt. A `wgl`
    block is a template, the `output` block after it the whole page, and a `log` block after that the
    server's log. A line of code by itself above a template is its file's name, or the query string of
    the request (`?name=Tom`), or both. A file whose name begins with "/" belongs to the document root of
    the tests, and the document shows it unchanged.
    """
    blocks = list(re.finditer(r"(?:^`([^`\n]+)`\n+)?^```(\w*)\n(.*?)^```$", text, re.M | re.S))
    kinds = "".join("f" if block[2] == "wgl" and re.fullmatch(r"[\w.]+", block[1] or "") else
                    {"wgl": "w", "output": "o", "log": "l"}.get(block[2], "?") for block in blocks)
    fit = re.match("(?:f*[fw]ol?)*", kinds).end()
    if not blocks or fit < len(blocks) or len(re.findall("^```", text, re.M)) != 2 * len(blocks):
        line = text.count("\n", 0, blocks[fit - 1].end() if fit else 0) + 1
        raise ValueError(f"line {line}: from here on, blocks are not templates, an output and perhaps a log")
    for example in re.finditer("f*[fw](o)(l?)", kinds):
        sections = []
        for block in blocks[example.start():example.start(1)]:
            name, _, query = (block[1] or "").partition("?")
            if not name.startswith("/"):
                query, name = f"_file=@DIR@/{name or 'page.wgl'}&{query}", name or "page.wgl"
                sections.append(("template", name, block[3]))
            elif (PROGRAM.root / name[1:]).read_text() != block[3]:
                raise ValueError(f"'{name}' is another in the tests' document root")
        output, log = blocks[example.start(1)][3], blocks[example.end() - 1][3] if example[2] else ""
        status = 2 if log else int("WGL error" in output and "syntax error" not in output)
        yield (text.count("\n", 0, blocks[example.start()].start(2)) + 1,
               [*sections, ("request", "", f"REQUEST_METHOD=GET\nQUERY_STRING={query}"),
                ("response", "text/html", output.replace("/usr/www/wgl", "@ROOT@@DIR@")),
                ("exit", str(status), ""), ("errors", "", log)])


def wait_for(process, words):
    """Reads its log up to a line with these words."""
    log = ""
    while words not in log:
        line = process.stderr.readline()
        assert line, "the system manager ended: " + log
        log += line


@contextmanager
def running(*words):
    """A program of the build, until the end of a `with`."""
    with subprocess.Popen([PROGRAM.build / words[0], *words[1:]], stderr=subprocess.PIPE, text=True) as process:
        try:
            yield process
        finally:
            process.terminate()


@contextmanager
def real_system_manager(model=TESTS.parent / "sysmgr/model.json", device=None):
    """With its default settings; a device that is started with these words, or the simulated adapter."""
    PROGRAM.socket.parent.mkdir(parents=True, exist_ok=True)
    PROGRAM.socket.parent.chmod(0o750)
    with tempfile.TemporaryDirectory() as folder:
        providers = Path(folder, "run/providers")
        with running("sysmgr/sysmgrd", "--open", "--socket", PROGRAM.socket, "--providers", providers, "--model",
                     model, "--database", Path(folder, "settings.db")) as process:
            wait_for(process, "ready on")  # not every device tries again to connect
            with running(*(device or ("simulator/vistel-simulator", "--socket")), providers):
                wait_for(process, "has put the settings in force")
                yield


class Chart(TestCase):
    def test_what_a_device_measures(self):
        """The simulated adapter's file is in this processor's order of bytes, and the chart shows what it holds."""
        def chart():
            return PROGRAM.run({"REQUEST_METHOD": "GET", "QUERY_STRING": f"_file=image&_type=snr&_style=std&mac={mac}"}).output

        def get(key):
            words = [PROGRAM.build / "sysmgr/sysmgrctl", "--socket", PROGRAM.socket, "get", f"HomePlug.{key}"]
            return subprocess.run(words, check=True, capture_output=True, text=True).stdout.strip()
        mac, style = "00:00:5e:00:53:03", PROGRAM.root / "styles/std/img"
        style.mkdir(parents=True, exist_ok=True)
        shutil.copy(BUILD / "site/styles/std/img/snr_template.gif", style)
        with real_system_manager(device=("tests/sysmgr/timed-simulator", "--socket")):  # where time stands still
            measured = Path(get(f"SNR{{MacAddress={mac}}}")).read_bytes()
            mean, drawn = float(get(f"Stations{{MacAddress={mac}}}.MeanSnr")), chart()
        order = ">" if os.environ.get("VISTEL_BYTE_ORDER", sys.byteorder).upper().startswith("BIG") else "<"
        self.assertAlmostEqual(sum(struct.unpack(order + "1155d", measured)) / 1155, mean, 1)
        with tempfile.NamedTemporaryFile(delete=False) as file:
            file.write(measured)
        with SystemManager(PROGRAM, lambda _: answer(0, file.name.encode())):
            self.assertEqual(chart(), drawn)  # how values are drawn is tested with the chart itself
        self.assertNotEqual(chart(), drawn)


class Plug(TestCase):
    def test_a_device_behind_a_web_server(self):
        """The device of the documents: its page shows what it tells, and the page's form switches it."""
        plug = TESTS.parent / "docs/examples/plug"
        with (real_system_manager(plug / "model.json", (sys.executable, plug / "plug.py")), PROGRAM.folder() as folder,
              tempfile.TemporaryDirectory() as state):
            shutil.copy(plug / "plug.wgl", folder)
            name, address = f"/{Path(folder).name}/plug.wgl", f"http://{HOST}:{free_port()}"
            server = subprocess.Popen([TESTS.parent / "deploy/start", "lighttpd"], env={
                **os.environ, "VISTEL_WWW": str(PROGRAM.root), "VISTEL_CGI": str(PROGRAM.path.parent),
                "VISTEL_BIND": HOST, "VISTEL_PORT": address.rpartition(":")[2], "VISTEL_STATE": state, "VISTEL_OPEN": "1"})
            self.addCleanup(server.wait)
            self.addCleanup(server.terminate)

            def page(form=None):
                body = urllib.parse.urlencode(form).encode() if form else None
                request = urllib.request.Request(f"{address}/?_file={name}", body, {"Origin": address})
                shown = urllib.request.urlopen(request, timeout=DEADLINE_SECONDS).read().decode()
                fields.update(re.findall('name="([^"]+)" value="([^"]*)"', shown))
                return " ".join(re.sub("<[^>]*>", " ", shown).split())

            end = time.monotonic() + DEADLINE_SECONDS
            while not Path(state, "lighttpd.pid").exists() and time.monotonic() < end:
                time.sleep(0.02)
            fields = {}
            self.assertEqual(page(), "Plug Plug 0 W now 0 s 0 W Power Set")
            self.assertEqual(fields, {"_file": name, ":sys:Plug.On": "0"})
            self.assertRegex(page({**fields, ":sys:Plug.On": "1"}), "^Plug Plug (0|42) W now ")
            while "42 W now" not in (shown := page()) and time.monotonic() < end:
                pass
            self.assertRegex(shown, r"^Plug Plug 42 W now \d+ s 42 W 0 s 0 W Power Set$")
            self.assertIn(" Choose 0 or 1. ", page({**fields, ":sys:Plug.On": "2"}))


class Examples(TestCase):
    TEXT = (TESTS.parent / "docs/language.md").read_text(encoding="utf-8")

    def test_every_example(self):
        found = list(examples(self.TEXT))
        changing = [[example] for example in found if ":sys:" in str(example)]
        for group in ([example for example in found if [example] not in changing], *changing):
            with real_system_manager():
                for line, sections in group:
                    self.check(f"docs/language.md:{line}", sections, PROGRAM)

    def test_every_keyword_has_an_example(self):
        keywords = re.findall(r'^<CODE>"([^"`~]+)"', (TESTS.parent / "wgl/WGLScanner.l").read_text(), re.M)
        self.assertGreater(len(keywords), 10)
        shown = "".join(text for _, sections in examples(self.TEXT)
                        for kind, _, text in sections if kind == "template")
        for keyword in (*keywords, "htmltext", "htmlesc"):
            self.assertRegex(shown, rf"(?<!\w){re.escape(keyword)}(?!\w)")


HOSTILE = "<b>\"'&\u00e4</b>"
HOSTILE_HTML = "&lt;b&gt;&quot;&#39;&amp;\u00e4&lt;/b&gt;"
NO_ANSWER = "The system manager did not answer; the setting may or may not be stored."
TABLES = {"one": table([HOSTILE, "2"]), "outer": table(["x"], ["y"]), "inner": table(["1", "a<"], ["2", "b"])}


def submission(output):
    """A form with two settings, one of them twice, on a page with a query."""
    fields = [("_page", "form"), (":sys:b", "1"), (":sys:Net.Name", HOSTILE), (":sys:b", "2"), ("_okpage", "done")]
    return form("${_page}|${_errorcount}|${_sys_Net_Name}|${_error_Net_Name}|${_sys_b}|${_error_b}|"
                "${_error_consistency}|<~ query `a` ~>|<~ query `a` rowcount ~>", output, ME + "&" + urllib.parse.urlencode(fields))


def image(kind):
    """A request for an image without a style, which draws nothing."""
    return [("request", "", f"REQUEST_METHOD=GET\nQUERY_STRING=_file=image&_type={kind}"),
            ("response", "image/gif", "")]


def failure(message):
    return submission(f"form|2|{HOSTILE_HTML}|{message}|2|{message}|||0")


def wait_for_the_deadline():
    """The result of a page whose system manager doesn't answer, and how many seconds it takes."""
    start = time.monotonic()
    return PROGRAM.outcome(failure(NO_ANSWER)), time.monotonic() - start


def setUpModule():
    """Tests that only wait run beside the other ones."""
    global waiting
    asked = threading.Event()
    with SystemManager(PROGRAM, lambda _: asked.set()):
        waiting = ThreadPoolExecutor().submit(wait_for_the_deadline)
        asked.wait(DEADLINE_SECONDS)


class Values(TestCase):
    def test_queries(self):
        """Pages, and what they ask for; the examples of the language show the forms of queries."""
        for case, *asked in (
                (page("no query", "no query"),),
                (page("<~ query `one` ~>|<~ query `one` raw ~>", f"{HOSTILE_HTML} 2|{HOSTILE} 2"), "one", "one"),
                (page("<~ query `outer` do `${01}[<~ query `inner` do `${01A}${01B}` ~>]` ~>", "x[x1y2]y[x1y2]"),
                 "outer", "inner"),
                (page("<~ if `1` eq `2` then query `one` raw ~>", ""),),
                (page("<~ if `1` eq `2` then query `outer` do `<~ query `inner` rowcount ~>` ~>", ""), "inner"),
                (page("<~ if `1` eq `2` then query `outer` do `<~ set `v` `evaluated` ~>` ~>${v}", "evaluated"),),
                (page("<~ query `one` ~>" * 50, (HOSTILE_HTML + " 2") * 50), *["one"] * 50),
                # Those before a text that is needed at once come first, those that show nothing are asked, too.
                (page("<~ query `one` raw ~><~ set `v` `[<~ query `inner` raw ~>]` ~>${v}<~ query `one` raw ~>"
                      "<~ query `outer` rowcount ~>", f"{HOSTILE} 2[1 a<]{HOSTILE} 22"), "one", "inner", "one", "outer"),
                (page("<~ - `<~ query `one` ~>` ~><~ if `1` eq `2` then <~ query `none` ~> else <~ query `inner` ~> ~>",
                      "1 a&lt;"), "one", "none", "inner"),
                (page("<~ query `one` ~>" * 400 + "<~ query `outer` ~>", (HOSTILE_HTML + " 2") * 400 + "x"), *["one"] * 400, "outer"),
                (page("<~ query `one` raw ~><~ query `outer` do `${01}` ~>", HOSTILE + " 2xy"), "one", "outer"),
                # A value of the request never becomes another key.
                (page("<~ query `S{Name=${n htmlesc}}.Mac` ~>", "",
                      "n=" + urllib.parse.quote("x},A=1};b:raw,%7D%4%\n+\u00e4{")),
                 "S{Name=x%7D%2CA%3D1%7D%3Bb%3Araw%2C%257D%254%25%0A%2B%C3%A4%7B}.Mac"),
                (image("power"), "HomePlug.OutputPower"),
                (image("snr&mac=00:B0"), "HomePlug.SNR{MacAddress=00:B0}:format=scalar"),
                # A template error shows no values, but what stands before it is asked.
                (error("<~ query `one` ~><~ query `inner` ~><~ +", 1, "syntax error, unexpected $end"), "one", "inner"),
                ([*page("<~ query `one` ~>`", ""), ("exit", "2", ""), ("errors", "", "start-condition stack underflow\n")],
                 "one"),
                (error("<~ query `outer` do `${01}", 1, "syntax error, unexpected $end"), "outer"),
                (error("<~ query `outer` do `${01}` raw ~>", 1,
                       "syntax error, unexpected T_RAW, expecting T_END"), "outer"),
                (error("<~ if `1` eq `2` then query `outer` raw do ~>", 1, "syntax error, unexpected T_END"),),
                (error("<~ query <~ query `outer` ~> json rowcount ~>", 1,
                       "syntax error, unexpected T_ROWCOUNT, expecting T_DO"), "outer", "x")):
            with SystemManager(PROGRAM, lambda keys: answer(0, TABLES[keys[0]]) if keys[0] in TABLES
                               else answer(1, b"unknown")) as manager:
                self.check(case[0], case, PROGRAM)
            with self.subTest(case[0]):
                self.assertEqual(manager.requests, [("query", [key], ["0"]) for key in asked])
                self.assertEqual((manager.connections, manager.faults), (min(len(asked), 1), []))

    def test_settings(self):
        asked = [("set", ["b", "Net.Name"], ["2", HOSTILE]), *2 * [("query", ["a"], ["0"])]]
        for reply, case, asked in (
                (answer(0, table([""], [""])), submission(f"done|0|{HOSTILE_HTML}||2||||2"), asked),
                (answer(0, table([""], ["<5>"], ["not both"])),
                 submission(f"form|2|{HOSTILE_HTML}|&lt;5&gt;|2||not both||3"), asked),
                (answer(1, b"<no>"),
                 failure("The system manager refused the request; the setting was not stored."), asked),
                (b"nonsense", failure(NO_ANSWER), asked),
                (b"16777217:", failure(NO_ANSWER), asked),
                (answer(0, b"\x011:4294967296:0:,"), failure(NO_ANSWER), asked),
                # With a closed output, the connection does not become the output.
                (answer(0, b""), [("template", "", "x"), ("closed", "1", ""), ("fields", "", ":sys:a=1"), ("exit", "2", "")],
                 [("set", ["a"], ["1"])])):
            with SystemManager(PROGRAM, lambda _: reply) as manager:
                self.check(reply, case, PROGRAM)
            with self.subTest(reply):
                self.assertEqual((manager.requests, manager.faults), (asked, []))
        self.check("nobody", failure("The system manager could not be reached; the setting was not stored."),
                   PROGRAM)

    def test_a_template_that_is_cut_while_a_query_waits(self):
        for query in ("<~ query `a` ~>", "<~ set `a` <~ query `a` ~> ~>"):  # at the page's end; in the middle
            with PROGRAM.folder() as folder:
                file = Path(folder, "main.wgl")
                file.write_text(query + "x" * 200_000)
                with SystemManager(PROGRAM, lambda _: os.truncate(file, 100) or answer(0, b"1")):
                    done = PROGRAM.run({"REQUEST_METHOD": "GET", "QUERY_STRING": f"_file=/{file.parent.name}/main.wgl"})
            self.assertEqual((done.status, done.output),
                             (2, headers("text/html") + "a file was cut while it was read\r\n"))

    def test_a_service_that_goes(self):
        for reaction, mark in ((b"nonsense", "1"), (answer(1, b"refused"), ""), (answer(0, b""), "")):
            with SystemManager(PROGRAM, lambda _: reaction):
                self.check(mark, page("<~ query `a` ~>[${_unanswered}]", f"[{mark}]"), PROGRAM)
                self.check(mark, page("<~ query `a` ~><~ set `_unanswered` `x` ~>[${_unanswered}]", "[x]"), PROGRAM)
        # However many queries it answers, the site's page comes whole or not at all.
        site, copies = TESTS.parent / "site/wgl", (PROGRAM.root / "wgl/std", PROGRAM.root / "wgl/site.wgl")
        with ExitStack() as stack:
            shutil.copytree(site / "std", copies[0])
            stack.callback(shutil.rmtree, copies[0])
            shutil.copy(site / "main.wgl", copies[1])
            stack.callback(copies[1].unlink)
            left = [0]

            def react(keys):
                left[0] -= 1
                return answer(0, table(["1"] * len(keys))) if left[0] >= 0 else b"nonsense"
            for answers in range(100):
                left[0] = answers
                with SystemManager(PROGRAM, react) as manager:
                    output = PROGRAM.run({"REQUEST_METHOD": "GET",
                                          "QUERY_STRING": "_file=/wgl/site.wgl&_page=firmware&_unanswered=1"}).output
                whole = len(manager.requests) <= answers
                self.assertIn("</html>", output)
                self.assertEqual('id="unreached"' in output, not whole, answers)
                self.assertEqual("<form" in output, whole, answers)
                if whole:
                    break
            self.assertTrue(whole and answers > 3)

    def test_lost_output(self):
        with ExitStack() as stack:
            folder = Path(stack.enter_context(PROGRAM.folder()))
            pictures = PROGRAM.root / "styles" / folder.name / "img"
            shutil.copytree(PROGRAM.build / "site/styles/std/img", pictures)
            stack.callback(shutil.rmtree, pictures.parent)
            for name, text in (("page", "<~ query `a` ~>" + "x" * 200_000), ("wrong", "<~ x"), ("syntax", "<~ +")):
                Path(folder, name).write_text(text)
            file = folder / "file"
            stack.enter_context(SystemManager(PROGRAM, lambda _: answer(0, str(file).encode())))
            full = stack.enter_context(open("/dev/full", "wb"))
            reader, writer = os.pipe()
            os.set_blocking(writer, False)
            stack.callback(os.close, reader)
            stack.callback(os.close, writer)
            for query, status, method in (
                    (f"_file=/{folder.name}/page", 0, "GET"), ("", 1, "PUT"), (f"_file=/{folder.name}/wrong", 1, "GET"),
                    (f"_file=/{folder.name}/syntax", 0, "GET"), ("_file=/none", 1, "GET"),
                    (f"_file=image&_type=power&_style={folder.name}", 0, "GET"), ("_file=syscfg&_type=xml", 0, "GET"),
                    ("_file=syscfg&_type=ac", 0, "GET"), ("_file=syscfg&_type=cfg", 0, "GET")):
                for output in ({}, {"stdout": full}, {"closed": 1}, {"stdout": writer}):
                    file.write_text("y" * 200_000)
                    os.write(writer, b"z" * 65536) if output == {"stdout": writer} else None
                    expected = status or (2 if output else 0)
                    with self.subTest(query=query, **output):
                        done = PROGRAM.run({"REQUEST_METHOD": method, "QUERY_STRING": query}, **output)
                        self.assertEqual((done.status, file.exists()), (expected, not query.endswith(("ac", "cfg"))))
                    if output == {"stdout": writer}:
                        os.read(reader, 65536)
            file = Path("/proc/self/mem")  # a file that can't be read
            done = PROGRAM.run({"REQUEST_METHOD": "GET", "QUERY_STRING": "_file=syscfg&_type=cfg"})
            self.assertEqual((done.status, done.output.partition("\r\n\r\n")[2]), (2, ""))

    def test_silence(self):
        (done, expected), seconds = waiting.result()
        self.assertEqual(done[:3], expected[:3])  # the upload file belongs to the other tests
        self.assertGreaterEqual(seconds, DEADLINE_SECONDS - 0.1)
        self.assertLess(seconds, DEADLINE_SECONDS + 3)
