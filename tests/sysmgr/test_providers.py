# SPDX-License-Identifier: MIT
"""
The programs that make a device: what they offer, push, answer and are told, and what becomes of those
that are silent, slow or lie. The example of the documents and the simulated adapter are providers too.
"""
import contextlib
import os
import re
import signal
import socket
import subprocess
import time

from service import BUILD, Client, IMPATIENT, SOURCE, WAIT_SECONDS, ServiceTest, decode, encode, eventually, grid, key, model, netstring, parts, read_netstring, rows, table

PLUG = SOURCE / "docs/examples/plug"
MODEL = model(key("Speed", "integer read, 'source': 'speed', 'minimum': 0, 'maximum': 9"),
              key("Fresh", "text read, 'source': 'fresh'"), key("File", "text read, 'source': 'file'"),
              key("Links", "table read, 'source': 'links', 'columns': [{'name': 'B', 'type': 'text'}]"),
              key("Go", "boolean action, 'action': 'go', 'refusals': ['It is stuck.']"),
              key("Go.How", "text parameter, 'minimum': 0, 'maximum': 9"),
              key("A.On", "boolean read-write, 'default': '0'"), key("B", "boolean read-write, 'default': '1'"))
GONE = "[1: key '{}': The device did not answer.]"


class Provider:
    def __init__(self, service, *messages, name="test"):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(str(service.folder / "run/providers"))
        self.socket.settimeout(WAIT_SECONDS)
        self.stream = self.socket.makefile("rb")
        if name:
            self.say(f"hello|1|{name}")
            assert self.hear().startswith("welcome|")
        for message in messages:
            self.say(message)
            assert message[0] != "o" or self.hear().startswith("offered|"), message

    def say(self, line):
        """Fields with "|" between them; "#a;b" is a table of one column."""
        fields = [table(*([cell] for cell in field[1:].split(";"))) if field[:1] == "#" else encode(field)
                  for field in line.split("|")]
        self.socket.sendall(netstring(b"".join(map(netstring, fields))))

    def hear(self):
        """The next message but pings, its tables as rows with ";" and cells with ","; "" for the end."""
        payload = read_netstring(self.stream)
        if payload is None:
            return ""
        fields = list(parts(payload))
        if fields == [b"ping"]:
            self.say("pong")
            return self.hear()
        return "|".join(";".join(",".join(row) for row in grid(field)) if field[:1] == b"\1" else decode(field)
                        for field in fields)


class Providers(ServiceTest):
    def test_a_history(self):
        """It is told while the device is there, and outlives the connection. While it waits, only clients ask again."""
        columns = "'columns': [{'name': 'Mac', 'type': 'mac'}, {'name': 'Role', 'type': 'text'}, {'name': 'Speed', 'type': 'integer'}]"
        kept = ", ".join(f"{{'name': '{name}', 'type': 'text'}}" for name in ("Mac", "Here", "AwayAgo", "AwayFor", "SpeedDay"))
        service = self.service(IMPATIENT, model=model(
            key("Links", f"table read, 'source': 'links', {columns}"), key("A", "boolean action, 'action': 'restart'"),
            key("Past", "table read, 'source': {'history': 'Links{Role=remote}', 'row': 'Mac', 'values': ['Speed']}, "
                        f"'columns': [{kept}]")))
        offer = "offer|table|links|asked|#Mac;Role;Speed|"
        gone = "[1: key 'Past': The device has not told this value yet.]"
        provider, asked = Provider(service, offer), 0
        self.assertEqual(service.ask("Past"), gone)

        def answer(*cells, client="", before=lambda: None):
            nonlocal asked
            asked = number = asked + 1
            self.assertEqual(provider.hear(), f"ask|{number}|links|||{client}")
            before()
            provider.say(f"answer|{number}|value|" + decode(table(("a", "local", ""), *cells)))

        other, links = Client(service), service.message("Links")
        answer(("b", "remote", "30"), ("c", "remote", "7"), before=lambda: (other.send(links), answer(client="tester")))
        eventually(lambda: service.ask("Past") == "b|1|||M287,-30H288/c|1|||M287,-7H288")
        service.clock(steady=1310)
        answer(("c", "remote", "8"))
        eventually(lambda: service.ask("Past") == "b|0|0|0|M286,-30H287/c|1|||M286,-7H287V-8H288")
        provider.socket.close()
        eventually(lambda: service.ask("Past") == gone)
        service.clock(steady=1490)
        provider, asked = Provider(service, offer, name="again"), 0
        answer(("b", "remote", "1"))
        eventually(lambda: service.ask("Past{Mac=b}") == "b|1|0|3|M286,-30H287V-1H288")
        self.expect(service, "set A=1 =>\n Past =>")
        # However seldom it asks, a device that has just started is asked at once, but only once if it has none.
        service.write("sample", "3600")
        service.restart()
        provider, asked = Provider(service, offer, name="late"), 1
        self.assertEqual(provider.hear(), "ask|1|links|||")
        provider.say("answer|1|none|")
        time.sleep(1.2)
        other = Client(service).send(links)
        answer(client="tester")

    def test_offers(self):
        service = self.service(model=MODEL)
        first = Provider(service, "offer|value|taken|pushed||")
        for offer, reason in rows("""
                value|speed|pushed|| =>
                value|speed|pushed|| => this name is offered already
                value|log|pushed|| => this name is offered already
                table|fresh|asked|#a|  => the model has it as a single value
                value|links|asked|| => the model has it as a table
                table|links|asked|#A| => it lacks the column B
                table|links|asked|#A;B|#o =>
                action|fresh||| => the model has a source of that name
                value|go|asked|| => the model has an action of that name
                file|file|asked|#Which| =>
                action|go||| =>
                value|unknown|pushed|#a| => a pushed value takes no selectors
                value|unknown|asked|#a|#b =>
                """):
            first.say("offer|" + offer.strip())
            self.assertEqual(first.hear(), f"offered|{offer.split('|')[1]}|{reason}", offer)
        second = Provider(service, name="second")
        second.say("offer|value|taken|pushed||")
        self.assertEqual(second.hear(), "offered|taken|this name is offered already")

    def test_values(self):
        service = self.service(model=MODEL)
        self.expect(service, f"Speed => {GONE.format('Speed')}\n Links => {GONE.format('Links')}")
        provider = Provider(service, "offer|value|speed|pushed||", "offer|value|fresh|asked|#S|#O",
                            "offer|file|file|asked||", "offer|table|links|pushed|#A;B|")
        self.expect(service, "Speed => [1: key 'Speed': The device has not told this value yet.]")
        provider.say("push|speed|7")
        provider.socket.sendall(netstring(b"".join(map(netstring, (b"push", b"links", table(["1", "x<\x07"], ["2", "y"]))))))
        eventually(lambda: service.ask("Links") == "x<?/y")
        self.expect(service, "Speed;Links{B=y} => 7|y\n Fresh{X=1} => [1: key 'Fresh', 'X': There is no such selector.]")
        for line, question, reply, answer in rows("""
                Fresh;A.On => fresh||| => value|x => x|0
                Fresh{S=a}:O=b => fresh|S,a|O,b => value|y => y
                Fresh => fresh||| => none|no time => [1: key 'Fresh': The device has no such value.]
                """):
            self.sent(service, line)
            heard = provider.hear().split("|")
            self.assertEqual((heard[0], heard[2], heard[-1]), ("ask", "fresh", "tester"))
            self.assertEqual("|".join(heard[2:-1]).rstrip("|"), question.rstrip("|"))
            provider.say(f"answer|{heard[1]}|{reply}")
            self.assertEqual(self.received(service), answer)
        self.sent(service, "File")
        provider.say(f"answer|{provider.hear().split('|')[1]}|value|content")
        path = self.received(service)
        self.assertEqual(service.read(path), "content")
        self.sent(service, "Fresh;File")
        for reply in ("value|content", "none|no time"):
            provider.say(f"answer|{provider.hear().split('|')[1]}|{reply}")
        self.assertIn("no such value", self.received(service))
        self.assertEqual(len(list((service.folder / "files").iterdir())), 1)
        # The answer to another client does not wait for the provider.
        self.sent(service, "Fresh")
        begin = time.monotonic()
        self.assertEqual(Provider(service, name="other").say("event|x"), None)
        other = type(service.client)(service)
        self.assertIn("1:0,", decode(other.send(service.message("A.On")).receive()))
        self.assertLess(time.monotonic() - begin, 2)
        provider.socket.close()
        self.assertEqual(self.received(service), GONE.format("Fresh"))
        self.expect(service, f"Speed => {GONE.format('Speed')}")

    def test_files(self):
        path = str(self.service().folder / "value")
        service = self.service(model=model(key("F", f"integer read, 'source': {{'file': '{path}'}}")))
        for content, answer in (("12\n13", "12"), ("", None), ("x", None), ("1" * 5000, None), (None, None)):
            subprocess.run(["rm", "-rf", path], check=True)
            if content is not None:
                service.write(path, content)
            self.assertEqual(service.ask("F"), answer or "[1: key 'F': The device has no such value.]", content)
        subprocess.run(["mkfifo", path], check=True)
        self.assertEqual(service.ask("F"), "[1: key 'F': The device has no such value.]")

    def test_actions_and_settings(self):
        service = self.service(model=MODEL)
        self.expect(service, "set Go=1 => The device did not answer.")
        provider = Provider(service, "offer|action|go|||", "subscribe|A")
        first = provider.hear().split("|")
        self.assertEqual((first[0], first[2]), ("settings", "A.On,0"))
        self.expect(service, "set A.On=1|B=0 => /\n set A.On=0 =>")
        provider.say(f"applied|{first[1]}")
        second = provider.hear().split("|")
        self.assertEqual(second[2], "A.On,0")
        provider.say(f"applied|{second[1]}")
        for reply, answer in rows("""
                 =>
                It is stuck. => It is stuck.
                It is "stuck". => It is stuck.
                Another <thing>. => The device has refused this.
                """):
            self.sent(service, "set Go=1|Go.How=fast")
            heard = provider.hear().split("|")
            self.assertEqual([heard[0], *heard[2:]], ["act", "go", "1", "How,fast", "tester"])
            provider.say(f"done|{heard[1]}|{reply}")
            self.assertEqual(self.received(service), answer + "/")

    def test_what_is_kept(self):
        service = self.service(model=MODEL)
        provider = Provider(service, "subscribe|")  # to settings, which texts that are kept are not
        provider.say(f"applied|{provider.hear().split('|')[1]}")
        keep = lambda *pairs: provider.socket.sendall(netstring(netstring(b"keep") + netstring(table(*pairs))))
        for pairs, answer in (((["a", "1"], ["b", "2"]), "kept|"), ((["a", ""],), "kept|"),
                              ([[str(i), "x"] for i in range(300)], "kept|there are too many texts")):
            keep(*pairs)
            self.assertEqual(provider.hear(), answer)
        # What can't be stored does not count.
        usual = service.limit_files(1)
        keep(*([f"c{i}", "x" * 100] for i in range(255)))
        self.assertEqual(provider.hear(), "kept|This could not be saved: the storage reports an error.")
        service.limit_files(usual)
        keep(["c", "3"], ["c", ""])
        self.assertEqual(provider.hear(), "kept|")
        service.restart()
        again = Provider(service, name="")
        again.say("hello|1|test")
        self.assertEqual(again.hear(), "welcome|b,2|2.3.1-02")

    def test_too_many_events(self):
        service = self.service(model=model(key("Log", "table read, 'source': 'log', 'columns': [{'name': 'Text', 'type': 'text'}]")))
        provider = Provider(service)
        for number in range(40):
            provider.say(f"event|{number}")
        eventually(lambda: "provider 'test' has too many events: the next ones are dropped\n" in service.read("log"))
        self.assertEqual(service.ask("Log").split("/")[:2], ["29", "28"])

    def test_those_who_misbehave_are_disconnected(self):
        """What a provider says after its hello, and what the log says of it."""
        service = self.service(IMPATIENT, model=MODEL)
        offers = ("offer|value|speed|pushed||", "offer|table|links|pushed|#A;B|", "offer|value|fresh|asked||")
        for said, why in rows("""
                hello|1|again => it does not begin with one hello
                nonsense => it sends an unknown message
                push|speed => its message has the wrong number of fields
                push|speed|10 => it pushes a value that the model rules out
                push|speed|#1;2 => it pushes another shape than it offered
                push|links|1 => it pushes another shape than it offered
                push|fresh|1 => it pushes what it has not offered
                answer|7|value|x => it answers what it was not asked
                done|7| => it has done what it was not told
                applied|7 => it has applied nothing of ours
                keep|x => it keeps nonsense
                offer|value|a b|pushed|| => it offers nonsense
                """):
            provider = Provider(service, *offers)
            provider.say("push|speed|1")
            eventually(lambda: service.ask("Speed") == "1")
            provider.say(said)
            self.assertEqual(provider.hear(), "", said)
            self.assertIn(f"'test' is disconnected: {why}\n", service.read("log"))
            self.assertEqual(service.ask("Speed"), GONE.format("Speed"))
        for sent, why in ((b"x", "it sends what is no message"), (b"9999999:", "it sends what is no message"),
                          (b"5:ab", "it is silent"), (b"", "it is silent"), (b"0:,", "it sends what is no message")):
            provider = Provider(service, *offers)
            provider.socket.sendall(sent)
            while provider.stream.read(1):  # pings that are not answered
                pass
            self.assertIn(f"'test' is disconnected: {why}\n", service.read("log"))
        provider = Provider(service, *offers)
        self.sent(service, "Fresh")
        self.assertEqual(self.received(service), GONE.format("Fresh"))
        self.assertIn("it does not answer in time", service.read("log"))
        first, twin = Provider(service), Provider(service, name="")
        twin.say("hello|1|test")
        self.assertEqual(twin.hear(), "", first)
        if os.geteuid() == 0:  # a user who would get through the folders
            for path, mode in (service.folder, 0o711), (service.folder / "run", 0o711), (service.folder / "run/providers", 0o666):
                path.chmod(mode)
            os.seteuid(65534)
            try:
                self.assertEqual(Provider(service, name="").hear(), "")
            finally:
                os.seteuid(0)
            self.assertIn("a provider of another user is disconnected\n", service.read("log"))
        nameless = Provider(service, name="")
        nameless.say("hello|2|test")
        self.assertEqual(nameless.hear(), "")

    def test_a_simulated_adapter_that_fails(self):
        for failure, why in (("die", "it has closed the connection"), ("stall", "it "),
                             ("lie", "it pushes a value that the model rules out"), ("flood", None)):
            service = self.service(IMPATIENT)
            self.device(service, "--fail", failure, "--fail-after", "5")
            self.assertEqual(service.ask("Network.Link"), "up")
            start = time.monotonic()

            def has_failed():  # the adapter may look at the clock for the first time after it was set
                service.clock(steady=1010 + 10 * int(time.monotonic() - start))
                return f"'simulator' is disconnected: {why}" in service.read("log")
            has_failed()
            if why:
                eventually(has_failed)
            else:
                self.assertEqual(service.ask("System.DeviceName;Network.Link"), "Vistel|up")

    def test_from_nothing_to_a_device(self):
        """The steps of docs/model.md: a model restarts the service, and each command prints what stands below it."""
        text = (SOURCE / "docs/model.md").read_text().partition("## From nothing to a device")[2]
        service, tool = None, ""
        for kind, block in re.findall("```(json|console)\n(.*?)```", text.partition("\n## ")[0], re.S):
            if kind == "json" or service and "plug.py" in block:
                model = block if kind == "json" else service.read("model.json")
                service = service or self.service(model=model)
                service.restart(model=model)
                service.write("model.json", model)
            for line, output in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.M):
                tool = line if line.startswith("sysmgrctl()") else tool
                words = ["bash", "-c", f"{tool}\n{line.removesuffix('&')}"]
                options = {"cwd": service.folder, "env": {**os.environ, "SOURCE": str(SOURCE), "PATH":
                           f"{BUILD / 'sysmgr'}:{os.environ['PATH']}"}, "stderr": subprocess.STDOUT}
                if line.endswith("&"):
                    process = subprocess.Popen(words, process_group=0, **options)
                    self.addCleanup(process.wait)
                    self.addCleanup(os.killpg, process.pid, signal.SIGTERM)
                else:
                    show = lambda: subprocess.run(words, stdout=subprocess.PIPE, text=True, **options).stdout
                    with contextlib.suppress(TimeoutError):
                        eventually(lambda: show() == output)
                    self.assertEqual(show(), output, line)
        self.assertLessEqual(sum(bool(line.strip()) for line in open(PLUG / "plug.py")), 40)

    def test_a_table_that_is_measured_once(self):
        """Queries of a connection share it until a set or until another provider has other columns; others ask anew."""
        service = self.service(model=MODEL)
        provider, fresh = Provider(service, "offer|table|links|asked|#A;B|"), Provider(service, "offer|value|fresh|asked||", name="fresh")
        name = "test"
        for line, cells, expected in rows(f"""
                Links{{B=y}}:measured=once => 1y 1x => y
                Links:measured=once;Links:measured=once:format=count => => y|2/x|
                another client: Links:measured=once => 1w => w
                Links:format=scalar => 1y 1z => y,z
                set A.On=1 => =>
                Links:measured=once => none => [1: key 'Links': The device has no such value.]
                Links:measured=once => 1y 1a => y/a
                Links:measured=twice => => [1: key 'Links', 'measured': The option does not take this value.]
                Links:measured=once;Fresh => #B;A| => {GONE.format("Links")}
                Links:measured=once => z1 => z
                Links:measured=once;Fresh => #A;B|#O => {GONE.format("Links")}
                Links:measured=once:O=1 => 1y => y
                Links:measured=once:O=2 => 1z => z
                """):
            client, _, question = line.rpartition(": ")
            self.sent(service, question, client or "tester")
            if cells.startswith("#"):  # another provider comes before the whole question is answered
                asked = fresh.hear().split("|")[1]
                before, name = name, "next" + cells[1]
                provider.socket.shutdown(socket.SHUT_RDWR)
                eventually(lambda: f"'{before}' is disconnected" in service.read("log"))
                provider = Provider(service, f"offer|table|links|asked|{cells}", name=name)
                fresh.say(f"answer|{asked}|value|7")
            elif cells:
                self.answer(provider, cells)
            self.assertEqual(self.received(service), expected, line)

    def test_how_much_is_kept(self):
        """Two of three clients have room for their tables; when one goes, there is room for another. Names count, too."""
        service = self.service(model=MODEL)
        provider, large = Provider(service, "offer|table|links|asked|#B|"), "x" * 400_000
        clients = [Client(service) for _ in range(3)]

        def take(client, is_asked, name="tester", cells=large):
            client.send(service.message("Links:measured=once:format=count", name))
            if is_asked:
                self.answer(provider, cells)
            self.assertEqual(client.ask(), "1")

        for client, is_asked in zip(clients * 2, (1, 1, 1, 0, 0, 1)):
            take(client, is_asked)
        clients[0].socket.close()
        clients[0].stream.close()
        for is_asked in (1, 0):
            take(clients[2], is_asked)
        for name, is_asked in ("c" * 300_000, 1), ("c" * 300_000, 1), ("c", 1), ("c", 0):
            take(clients[2], is_asked, name, "1")

    def answer(self, provider, cells):
        """Answers the next question with rows of these letters, or one with this text."""
        number, rows = provider.hear().split("|")[1], [(cells,)] if len(cells) > 99 else map(tuple, cells.split())
        provider.say(f"answer|{number}|" + ("none|" if cells == "none" else f"value|{decode(table(*rows))}"))

    def sent(self, service, line, client="tester"):
        service.client.send(service.message(line, client))

    def received(self, service):
        return service.client.ask()
