# SPDX-License-Identifier: MIT
"""
The author's tool. `vistel render` answers as the pages' program does: for the cases of tests/cases, and
for every page of the site with a device's values.
"""
import itertools
import json
import random
import re
import shlex
import shutil
import subprocess
import tempfile
import unittest
import urllib.parse
from pathlib import Path

import test_program
from program import BUILD, SOURCE, Program, SystemManager, answer, run, table

VISTEL = BUILD / "author/vistel"
SYSMGRD = BUILD / "sysmgr/sysmgrd"
INSTALLED = SOURCE / "build/web"
MODEL = SOURCE / "sysmgr/model.json"
ENVIRONMENT = {"PATH": "/usr/bin:/bin", "ASAN_OPTIONS": "detect_leaks=0"}  # a library of others leaks
NO_KEYS = '{"device": "d", "version": 1, "keys": []}'
LEAST_CASES = 210

PO = 'msgid ""\nmsgstr "Content-Type: text/plain; charset=UTF-8\\n"\n\n' + "".join(
    f'msgid "{text}"\nmsgstr "{translated}"\n\n' for text, translated in (("There", "Da"), ("Quoted", 'Zi\\"ert'), ("${01} there", "${01} da")))

VALUES = {
    "System.DeviceName": "Attic <b>'\"&", "System.Firmware": "2.3", "System.Uptime": "4711",
    "System.Log": [["2026-11-23 10:00:00", "Started."]], "System.ConfigPasswordSet": "1",
    "System.FirmwareState": "idle", "System.FirmwareImage": [["Vistel", "2.4", "10", "ab"]],
    "System.ConfigPending": "1", "System.ConfigChanges": [["System.Led", "0", "1", "0"]],
    "System.Check": "Enter 1 to 63 characters.", "Network.Link": "up", "Network.CurrentAddress": "192.0.2.7",
    "HomePlug.OutputPower": "256,0,12",
    "HomePlug.Stations": [["local", "00:00:5E:00:53:01", "Vistel", "", "", "2.3", "5"],
                          ["remote", "00:00:5E:00:53:02", "<i>Küche", "90", "12", "2.3", "77", "26", "1", "2", "3"],
                          ["remote", "00:00:5e:00:53:03", "${01}"]]}


class Tool(Program):
    """The tool in place of a program: a request becomes its options. It has a document root of its own."""

    def __init__(self, path, folder, *options):
        super().__init__(path)
        self.upload, self.options = Path(folder, "upload"), options
        for name in ("locale", "styles", "wgl"):
            if (self.root / name).exists():  # the tests' own root has no styles
                shutil.copytree(self.root / name, Path(folder, "www", name))
        self.root = Path(folder, "www")

    def run(self, environment, body=("",), closed=None, limit=None):
        words = [VISTEL, "render", "--headers", "--root", self.root, *self.options]
        language = environment.get("HTTP_ACCEPT_LANGUAGE", "")
        words += ["--query", environment.get("QUERY_STRING", ""), "--lang", language]
        answered = run(words, ENVIRONMENT)
        # The message follows the headers, without its line's text.
        error = re.fullmatch(r"(WGL error.*: .*\n)(?: *\d+ \| .*\n)?((?:.*\n)?)", answered.errors)
        if answered.status == 1 and error:
            return answered._replace(output=answered.output + error[1] + "\n" + error[2], errors="")
        return answered


def is_get(sections):
    """The tool's options can say no other request: no body, no upload."""
    requests = [text for kind, _, text in sections if kind == "request"]
    return all("REQUEST_METHOD=GET" in text.split("\n") for text in requests)


def column(keys, definition, values):
    """The columns of one key, as the system manager answers it; None when it refuses."""
    path, selectors, name, form = re.fullmatch(
        r"([\w.-]+)(?:{(.*)})?\.?([\w-]+)?(?::format=(\w+))?(?::measured=once)?", keys).groups()
    key = definition.get(path)
    if key is None or key["access"] not in ("read", "read-write"):
        return None
    if key["type"] != "table":
        return [[values.get(path, key.get("default", ""))]]
    names = [column["name"] for column in key["columns"]]
    rows = [row + [""] * (len(names) - len(row)) for row in values.get(path, [])]
    for selector in filter(None, (selectors or "").split(",")):
        at, _, value = selector.partition("=")
        value = urllib.parse.unquote(value).lower()
        rows = [row for row in rows if row[names.index(at)].lower() == value]
    if form == "count":
        return [[str(len(rows))]]
    return [[row[i] for row in rows] for i in range(len(names)) if name in (None, names[i])]


def service(keys):
    definition = {key["key"]: key for key in json.loads(MODEL.read_text())["keys"]}
    columns = [column(key, definition, VALUES) for key in keys]
    if None in columns:
        return answer(1, b"")
    rows = list(itertools.zip_longest(*itertools.chain(*columns), fillvalue=""))
    width = len(list(itertools.chain(*columns)))
    return answer(0, table(*rows) if rows else b"\x01%d:0:" % width)


def check(root, *options):
    """The findings as "FILE:LINE:COLUMN RULE", and the exit status."""
    answered = run([VISTEL, "check", "--root", root, "--model", MODEL, "--format", "json", *options], ENVIRONMENT)
    found = map(json.loads, answered.output.splitlines())
    return [f"{at['file']}:{at['line']}:{at['column']} {at['rule']}" for at in found], answered.status


class Check(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        (self.root / "locale").mkdir()
        for name, text in (("wgl/foot.wgl", "<p>foot</p>"), ("wgl/blank.wgl", "\n"), ("wgl/name.wgl", "<~ set `_given` `foot` ~>"), ("locale/de.po", PO),
                           ("wgl/user.wgl", "<~ include `foot.wgl` ~><~ trans `There` ~><~ trans `Quoted` ~>"
                            "<~ query `System.Log:format=count` raw do `<~ trans `${01} there` ~>` ~>")):
            self.write(name, text)

    def write(self, name, text):
        (self.root / name).parent.mkdir(exist_ok=True)
        (self.root / name).write_text(text)

    def test_rules(self):
        lines = (SOURCE / "tests/author/rules.txt").read_text().splitlines()
        rows = [line.split(" => ") for line in lines if line and line[0] != "#"]
        explained = run([VISTEL, "check", "--explain", "?"], ENVIRONMENT).errors
        self.assertEqual(set(re.findall("[a-z-]+", explained.split("there are ")[1])) - {row[0].split()[1] for row in rows},
                         {"unused-translation"})  # it's no mistake of a page
        for expected, wrong, right in rows:
            with self.subTest(wrong):
                if "lazy" in wrong:
                    self.write("wgl/lazy.wgl", "<~ - `")
                self.write("wgl/main.wgl", wrong.replace("\\n", "\n"))
                found, status = check(self.root)
                self.assertIn(expected if "wgl:" in expected else f"wgl/main.wgl:{expected}", found)
                self.assertEqual(status, 1)
            (self.root / "wgl/lazy.wgl").unlink(missing_ok=True)
        # The right forms are pages of one site.
        self.write("wgl/main.wgl", "")
        for number, (_, _, right) in enumerate(rows):
            self.write(f"wgl/{number}.wgl", right.replace("\\n", "\n"))
        found, _ = check(self.root)
        for number, (expected, _, right) in enumerate(rows):
            with self.subTest(right):
                rule = expected.split()[1] if "form-" in expected else ""
                self.assertEqual([each for each in found if each.startswith(f"wgl/{number}.wgl:") and rule in each], [])

    def test_advice(self):
        for template, advice in (("<~ query `System.Lde` ~>", "is it 'System.Led'?"), ("<~ query `Network.Led` ~>", "is it 'System.Led'?"),
                                 ("<~ query `system.led` ~>", "is it 'System.Led'?"), ("<~ query `System.Foo` ~>", "'System.Foo' [unknown-key]"),
                                 ("<~ tran `a` ~>", "is it trans?"), ("<~ trans There ~>", "texts stand between backquotes: `There`"),
                                 ("<~ set `a` = `b` ~>", "set takes no sign"), ("<~ if ${_dir} == `b` then `c` ~>", "comparisons are eq,"),
                                 ("<~ query `System.Log` html ~>", "it is: query `key`"), ("<~ if ${_dir} then `c` ~>", "it is: if `a` eq `b`"),
                                 ("<~ query `System.Led` do `${02}` ~>", "no column 2, only 1: System.Led")):
            self.write("wgl/main.wgl", template)
            self.assertIn(advice, run([VISTEL, "check", "--root", self.root, "--model", MODEL], ENVIRONMENT).output)

    def test_json(self):
        """Text for JSON is raw in that it can be asked for as a page, and once more where it stands outside of a string."""
        for template, count in (('{"a": "\\"<~ query `System.DeviceName` json ~>"}', 1),
                                ('{"a": "\\"", <~ query `System.DeviceName` json ~>}', 2)):
            self.write("wgl/getjson.wgl", template)
            self.assertEqual(len(check(self.root)[0]), count, template)

    def test_unused_translations(self):
        self.write("wgl/user.wgl", "<~ include `foot.wgl` ~><~ trans `There` ~>")
        unused = [each for each in check(self.root)[0] if "unused" in each]
        self.assertEqual(unused, ["locale/de.po:7:1 unused-translation", "locale/de.po:10:1 unused-translation"])

    def test_catalogues(self):
        """A fuzzy translation is none, and an old one may stay."""
        for old, new, expected in (('msgid "There"', '#, fuzzy\nmsgid "There"', (["wgl/user.wgl:1:25 untranslated"], 1)),
                                   ('"Da"', '"D"\n#~ msgid "a"\n#~ msgstr "b"\n', ([], 0)), ('"Da"', '"D\\qa"', ([], 2))):
            self.write("locale/de.po", PO.replace(old, new))
            self.assertEqual(check(self.root), expected, new)

    def test_switches_and_formats(self):
        found = "wgl/main.wgl:2:1 raw"
        for above, expected in (("check-off raw: an example", []), ("check-off raw:", [found]), ("check-off number: no", [found])):
            self.write("wgl/main.wgl", f"<~ - `{above}` ~>\n${{_page}}")
            self.assertEqual(check(self.root)[0], expected, above)
        self.assertEqual(check(self.root, "wgl/foot.wgl"), ([], 0))
        self.assertEqual(check(self.root, "wgl/none.wgl"), ([], 2))
        text = run([VISTEL, "check", "--root", self.root, "--model", MODEL], ENVIRONMENT).output
        self.assertEqual(text, "wgl/main.wgl:2:1: warning: '_page' can bring foreign text in text: it needs htmltext "
                         "(a query: neither raw nor json) [raw]\n")
        self.write("wgl/50 %/\u00fc.wgl", "${_page}")
        sarif = json.loads(run([VISTEL, "check", "--root", self.root, "--model", MODEL, "--format", "sarif"], ENVIRONMENT).output)
        result = sarif["runs"][0]["results"][0]
        self.assertEqual((sarif["version"], result["ruleId"], result["level"]), ("2.1.0", "raw", "warning"))
        self.assertEqual(result["locations"][0]["physicalLocation"]["artifactLocation"]["uri"], "wgl/50%20%25/%C3%BC.wgl")
        (self.root / "wgl/50 %/\u00fc.wgl").unlink()
        for settings, expected in (('{"off": {"raw": "old"}}', ([], 0)), ('{"off": {"raw": ""}}', ([], 2)), ("{", ([], 2))):
            (self.root / "vistel.json").write_text(settings)
            self.assertEqual(check(self.root), expected, settings)

    def test_site(self):
        answered = run([VISTEL, "check", "--root", SOURCE / "site", "--model", MODEL, "--sentences", SYSMGRD], ENVIRONMENT)
        self.assertEqual(tuple(answered[:3]), ("", "", 0))


class AnyInput(unittest.TestCase):
    def test_any_bytes(self):
        choose = random.Random(20261123)
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            (root / "locale").mkdir()
            model, values, catalogue, page = (root / name for name in ("model.json", "v.json", "locale/de.po", "a.wgl"))
            good = (MODEL.read_bytes(), b'{"System.Led": "1"}', PO.encode(), b"<~ - `\xff` ~><~ trans `\xff` ~><~ trans <~ query `System.Led` ~> ~>")
            for number in range(12):
                for file, content in zip((model, values, catalogue, page), good):
                    damaged = bytearray(content)
                    for _ in range(number % 3 * 20):
                        damaged[choose.randrange(len(damaged))] = choose.randrange(256)
                    file.write_bytes(damaged if choose.random() < 0.5 else content)
                for words in (["check"], ["render", "--values", values, "a.wgl"], ["strings"]):
                    answered = run([VISTEL, *words, "--root", root], ENVIRONMENT)
                    self.assertIn(answered.status, (0, 1, 2))
                    self.assertNotRegex(answered.output + answered.errors, "Sanitizer|runtime error|too much time")
            page.unlink()
            page.symlink_to(page)
            self.assertEqual(run([VISTEL, "check", "--root", root / "none"], ENVIRONMENT).status, 2)


class New(unittest.TestCase):
    def test_lays_out_a_site_that_passes(self):
        with tempfile.TemporaryDirectory() as root:
            for status in (0, 2):  # the second time, the folder isn't empty
                self.assertEqual(run([VISTEL, "new", root], ENVIRONMENT).status, status)
            self.assertEqual(check(root, "--sentences", SYSMGRD), ([], 0))
            shutil.copy(Path(root, "locale/en.po"), Path(root, "locale/it.po"))
            self.assertIn("locale/it.po:1:1 untranslated", check(root, "--sentences", SYSMGRD)[0])
            Path(root, "locale/it.po").unlink()
            words = [VISTEL, "render", "--root", root, "--model", MODEL, "--lang", "de", "-D", "_page=settings",
                     "-D", ":sys:System.DeviceName=<b>", "-D", ":sys:Network.Mode=static", "wgl/main.wgl"]
            Path(root, "refused.json").write_text('{":sys:System.DeviceName": "Enter 1 to 63 characters."}')
            refused = run([*words, "--values", Path(root, "refused.json")], ENVIRONMENT).output
            Path(root, "refused.json").write_text('{":sys:": "Not together."}')
            Path(root, "wgl/all.wgl").write_text("${_errorcount} ${_error_consistency}")
            words = [*words[:-1], "--values", Path(root, "refused.json"), "wgl/all.wgl"]
            self.assertEqual(run(words, ENVIRONMENT).output, "1 Not together.")
        self.assertIn('maxlength="63" value="&lt;b&gt;"> <em>Geben Sie 1 bis 63 Zeichen ein.</em>', refused)
        self.assertIn('<option value="static" selected>von Hand</option>', refused)

    def test_keys(self):
        keys = run([VISTEL, "keys", "--model", MODEL], ENVIRONMENT).output
        self.assertEqual((SOURCE / "docs/keys.md").read_text(), keys, "vistel keys --model sysmgr/model.json >docs/keys.md")

    def test_help_and_manual_pages(self):
        for program, section in ((VISTEL, 1), (SYSMGRD, 8), (SYSMGRD.with_name("sysmgrctl"), 8),
                                 (BUILD / "simulator/vistel-simulator", 1)):
            options = set(re.findall("--[a-z-]+", run([program, "--help"], ENVIRONMENT).output))
            manual = (SOURCE / f"docs/man/{program.name}.{section}.in").read_text().replace("\\-", "-")
            self.assertEqual(options, set(re.findall("--[a-z-]+", manual)), program.name)
            self.assertRegex(run([program, "--version"], ENVIRONMENT).output, rf"^{program.name} \d[\d.]+\n$")

    def test_watching(self):
        with tempfile.TemporaryDirectory() as root:
            page = Path(root, "a.wgl")
            page.write_text("a")
            words = [VISTEL, "check", "--watch", "--root", root, "--model", MODEL]
            with subprocess.Popen(words, stdout=subprocess.PIPE, text=True, env=ENVIRONMENT) as process:
                try:
                    self.assertEqual([process.stdout.readline() for _ in range(2)], ["Nothing found.\n", "\n"])
                    page.write_text("${a}")
                    self.assertIn("a.wgl:1:1: warning: 'a'", process.stdout.readline())
                finally:
                    process.kill()


class Guide(unittest.TestCase):
    def test_every_step(self):
        text = (SOURCE / "docs/guide.md").read_text()
        steps = re.findall(r"^`([\w/.]+)`\n```\w+\n(.*?)^```$|^    (vistel (?:render|check|strings) [^\n]*)\n\n```output\n(.*?)^```$",
                           text, re.M | re.S)
        self.assertGreater(len(steps), 14)
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder, "site")
            for name, content, command, output in steps:
                if name:
                    file = Path(folder, name)
                    file.parent.mkdir(parents=True, exist_ok=True)
                    file.write_text(content)
                    continue
                words = [VISTEL, *shlex.split(command)[1:], "--model", MODEL]
                words = [root if word == "site" else word.replace("values.json", f"{folder}/values.json")
                         if isinstance(word, str) else word for word in words]
                with self.subTest(command):
                    self.assertEqual(run(words, ENVIRONMENT).output, output)


class Strings(unittest.TestCase):
    def test_templates_and_pseudo_translations(self):
        template = ("<~ - `For translators: a verb` ~>\n<~ trans `Store` ~> <~ trans `<b>&amp;</b> it` ~>\n"
                    "<~ trans <~ if ${_page} eq `a` then `One` else `Two` ~> ~>")
        with tempfile.TemporaryDirectory() as root:
            Path(root, "a.wgl").write_text(template)
            words = [VISTEL, "strings", "--root", root, "--model", MODEL]
            plain, pseudo = run(words, ENVIRONMENT), run([*words, "--pseudo"], ENVIRONMENT)
        self.assertEqual(plain.output.split("\n\n")[1:], [
            '#. For translators: a verb\n#: a.wgl:2\nmsgid "Store"\nmsgstr ""',
            '#: a.wgl:2\nmsgid "<b>&amp;</b> it"\nmsgstr ""',
            '#: a.wgl:3\nmsgid "One"\nmsgstr ""', '#: a.wgl:3\nmsgid "Two"\nmsgstr ""\n'])
        self.assertEqual(re.findall('msgstr "(\\[.*)"', pseudo.output),
                         ["[Støré~~]", "[<b>&amp;</b> ît~]", "[Øñé~]", "[Twø~]"])


class Comparison(unittest.TestCase):
    """The tool beside the program: `tool` renders, `count` counts."""
    maxDiff = 5000

    def check(self, name, sections, *_):
        """A case of the program's tests."""
        if not is_get(sections):
            return
        self.count += 1
        answered, expected = self.tool.outcome(sections)
        with self.subTest(name):
            self.assertEqual(answered[:2], expected[:2])
            self.assertEqual(answered.status, 1 if "WGL error" in expected.output else expected.status)


class Render(Comparison):
    def test_canaries(self):
        with tempfile.TemporaryDirectory() as root:
            values, page = Path(root, "v.json"), Path(root, "a.wgl")
            values.write_text('{"System.Log": [["1", "Started."]], "System.Uptime": "7"}')
            words = [VISTEL, "render", "--root", root, "--model", MODEL, "--values", values, "--canary", "-D", "who=me", "a.wgl"]
            Path(root, "wgl").mkdir()
            for form, status in (("json", 0), ("raw", 1)):
                Path(root, "wgl/getjson.wgl").write_text(f'{{"a": "<~ query `System.DeviceName` {form} ~>"}}')
                self.assertEqual(run([*words[:-1], "getjson"], ENVIRONMENT).status, status)
            for template, output, raw in (
                    ("${who htmltext} <~ query `System.Log` do `${02}` ~>",
                     "me&#39;&quot;&lt;canary-who&gt; Started.&#39;&quot;&lt;canary-System.Log.Text&gt;", []),
                    ("\n${who}<~ query `System.Log` raw do `\n${02}${02}` ~>",
                     "\nme'\"<canary-who>\n" + "Started.'\"<canary-System.Log.Text>" * 2,
                     [("who", 2), ("System.Log.Text", 3)])):
                page.write_text(template)
                answered = run(words, ENVIRONMENT)
                self.assertEqual(answered.output, output)
                self.assertEqual(answered.errors, "".join(
                    f"vistel: '{name}' comes out raw, first in line {line} of the page\n" for name, line in raw))
                self.assertEqual(answered.status, int(bool(raw)))

    def test_cases(self):
        self.count = 0
        with tempfile.TemporaryDirectory() as folder:
            model = Path(folder, "model.json")
            model.write_text(NO_KEYS)
            self.tool = Tool(VISTEL, folder, "--model", model)
            for cases in (test_program.Cases.test_every_case, test_program.Large.test_syntax_errors,
                          test_program.Large.test_nesting, test_program.Large.test_templates):
                cases(self)
        self.assertGreater(self.count, LEAST_CASES)

    def test_pages_of_the_site(self):
        program = Program(INSTALLED / "main/vistel.cgi")
        pages = re.findall("eq `(\\w+)` then `\\1`", (SOURCE / "site/wgl/std/pages.wgl").read_text())
        queries = ["", "_file=fs", "_file=ie6", "_file=sysinfo", "_file=getjson", "_file=image&_type=power&_style=std",
                   "_file=validate&field=System.DeviceName&value=", "_page=x&_okpage=help&_file=/wgl/main.wgl"]
        queries += [f"_file=/wgl/main.wgl&_page={page}&mac=00:00:5E:00:53:02" for page in pages]
        queries += [f"_file=/wgl/{file.relative_to(SOURCE / 'site/wgl')}" for file in (SOURCE / "site/wgl").rglob("*.wgl")]
        self.assertGreater(len(pages), 10)
        with tempfile.TemporaryDirectory() as folder, SystemManager(program, service) as manager:
            values = Path(folder, "values.json")
            values.write_text(json.dumps(VALUES))
            tool = Tool(program.path, folder, "--model", MODEL, "--values", values)
            for query, language in zip(queries, itertools.cycle(("fr-FR,de", ""))):
                environment = {"REQUEST_METHOD": "GET", "QUERY_STRING": query, "HTTP_ACCEPT_LANGUAGE": language}
                with self.subTest(query, language=language):
                    self.assertEqual(tool.run(environment)[:2], program.run(environment)[:2])
        self.assertEqual(manager.faults, [])
        self.assertGreater(len(manager.requests), 100)
