# SPDX-License-Identifier: MIT
"""
The service from outside: who may connect, malformed requests, the effect of one client on others, and the
effect of disk errors and kills on the settings.
"""
import ctypes
import json
import os
import re
import resource
import select
import signal
import socket
import subprocess
import time

from service import BUILD, IMPATIENT, PRODUCT, RANDOM, SYSMGRD, WAIT_SECONDS, Client, ServiceTest, eventually, frame, key, model, rows, text_key

NAME = "Vistel Powerline Adapter"
ASK_NAME = frame("query|||tester|System.ProductName|0")
LARGE = model(text_key("a", "x" * 65536), text_key("b"), text_key("System.ProductName", NAME))
LARGE_QUERY = frame("query|||tester|#1:200:" + "1:a," * 200 + "|0")  # its answer has some 13 MB

MS_RDONLY, MS_REMOUNT, MNT_DETACH = 1, 32, 2


class Requests(ServiceTest):
    def test_start_and_end(self):
        service = self.service()
        run = service.folder / "run"
        mode = lambda path: path.stat().st_mode & 0o777
        self.assertEqual((mode(run), mode(run / "socket")), (0o750, 0o660))
        self.assertEqual(service.ask("System.ProductName"), NAME)
        self.assertEqual(service.end(), 0)
        self.assertFalse((run / "socket").exists())
        # A killed service leaves its socket; the next one replaces it.
        service.start()
        self.assertEqual(service.end(signal.SIGKILL), -signal.SIGKILL)
        self.assertTrue((run / "socket").exists())
        service.start()
        self.assertEqual(service.ask("System.ProductName"), NAME)
        self.assertEqual(service.end(), 0)
        for wide in (0o755, 0o770):
            run.chmod(wide)
            service.start()
            self.assertEqual(service.process.poll(), 1)

    def test_what_keeps_it_from_starting(self):
        for options, record in (
                ({"model": "{"}, "line 1: syntax error"),
                ({"secret": "secret\n", "mode": 0o644}, "is too open; its mode must be 0640 or less"),
                ({"secret": "secret\n", "mode": 0o660}, "is too open"),
                ({"secret": "\n"}, "is empty"),
                ({"secret": "s" * 4097}, "is longer than 4096 bytes"),
                ({"without_secret": ()}, "is not there; without one, clients are served with --open only"),
                ({"database": "/nowhere/s.db"}, "can't be opened")):
            service = self.service(**options)
            self.assertEqual(service.process.poll(), 1, record)
            self.assertRegex(service.read("log"), rf"\A[^\n]*{record}[^\n]*\n\Z")
            self.assertNotIn("'secret", service.read("log"))

    def test_command_lines(self):
        """Commands of a shell in the service's folder, and their status; "c" asks the service."""
        service = self.service(secret="secret\n")
        service.write("c", 'exec "$C" --socket run/socket --providers run/providers --authorisation auth "$@"')
        paths = {"D": SYSMGRD, "C": BUILD / "sysmgr/sysmgrctl", "L": BUILD / "tests/sysmgr/sysmgr-load", "M": PRODUCT}
        for command, status in rows(r"""
                "$D" --help >/dev/null => 0
                "$D" --version | grep -Eqx 'sysmgrd [0-9.]+' => 0
                "$D" --check-model --model "$M" => 0
                "$D" --check-model --model /dev/null 2>/dev/null => 1
                "$D" --unknown 2>/dev/null => 2
                "$D" extra 2>/dev/null => 2
                "$D" --open --socket run/socket --database other.db --model "$M" 2>&1 | grep -q 'another service' => 0
                sh c set System.DeviceName=a=b System.Led=0 => 0
                test "$(sh c get System.DeviceName System.Led)" = "$(printf 'a=b\t0')" => 0
                test "$(sh c set System.Led=2 2>&1)" = 'sysmgrctl: System.Led: Choose 0 or 1.' => 0
                sh c get Foo 2>/dev/null => 1
                sh c keys >all && sh c keys System >some && grep -q ^Network all && ! grep -v '^System\.' some => 0
                test "$(sh c keys System.Led)" = "$(grep '^System.Led' all)" => 0
                sh c keys a b 2>/dev/null => 2
                sh c cat System.Led System.Led 2>/dev/null => 2
                sh c cat System.ConfigShow >upload.bin => 0
                sh c set System.Led=1 && sh c set System.ConfigRestore=apply => 0
                test "$(sh c get System.DeviceName System.Led)" = "$(printf 'a=b\t0')" => 0
                echo long enough | sh c set HomePlug.NetworkPassword => 0
                sh c set System.DeviceName=- && test "$(sh c get System.DeviceName)" = - => 0
                sh c watch System.DeviceName -- sh -c 'cat >>out' & until grep -qx System.DeviceName=- out; do sleep .01; done; sh c set System.DeviceName=new; until grep -qx System.DeviceName=new out; do sleep .01; done; kill $! => 0
                sh c provide uptime --every 1 -- echo 12345 & until sh c get System.Uptime 2>/dev/null | grep -qx 12345; do sleep .1; done; kill $! => 0
                (sh c provide uptime -- false; sh c watch X) 2>/dev/null => 2
                sh c get "$(printf 'a\302\233\377\033\303\244')" 2>&1 | grep -q "key 'a': The key is malformed." => 0
                sh c 2>/dev/null => 2
                "$L" -c 200 -n 2000 -s run/socket -a secret >/dev/null => 0
                """):
            done = subprocess.run(["timeout", str(WAIT_SECONDS), "sh", "-c", command], cwd=service.folder, env={**os.environ, **paths})
            self.assertEqual(done.returncode, int(status), command)
        self.assertNotIn("long enough", service.read("log"))

    def test_refused_requests(self):
        client = Client(service := self.service(secret="the secret\n"))
        for shown in ("", "the secre", "the secret\n", "the secrets", "The secret", "the secretthe secret"):
            for kind in ("query", "set"):
                self.assertEqual(client.ask(frame(f"{kind}|s|{shown}|c|System.Led|0")),
                                 "[2: The authorisation is wrong.]", shown)
        self.assertEqual(Client(self.service()).ask(frame("query|s|anything|c|System.Led|0")),
                         "[2: The authorisation is wrong.]")
        self.assertEqual(client.ask(b"0:,"), "[3: The request is not understood.]")
        long = {"nonsense": "[3: The request is not understood.]",
                "no query": "[1: A query is a table of one column with a row for each key.]",
                "no set": "[1: A set is two tables of one column with as many keys as values, 1 to 4096.]"}
        for fields, answer in rows("""
                query => nonsense
                quarry|s|wrong|c|System.Led|0 => nonsense
                query|s|the secret|c|System.Led => nonsense
                query|s|the secret|c|System.Led|0|more => nonsense
                query|s|the secret|c||0 => [1: The key is malformed.]
                query|s|the secret|c|#1:1:10:System.Led,|0 => 1
                query|s|the secret|c|#1:0:|0 => no query
                query|s|the secret|c|#0:3:|0 => no query
                query|s|the secret|c|#1:4294967295:|0 => no query
                query|s|the secret|c|#4294967296:1:1:a,|0 => no query
                query|s|the secret|c|#1:1:99999999999999999999:a,|0 => no query
                query|s|the secret|c|#2:1:1:a,1:b,|0 => no query
                set|s|the secret|c|System.Led|#1:2:1:0,1:1, => no set
                set|s|the secret|c|#1:0:|#1:0: => no set
                set|s|the secret|c|System.Led|#1:1:9:0, => no set
                query||the secret||System.Led| => 1
                """):
            self.assertEqual(client.ask(frame(fields)), long.get(answer, answer), fields)
        self.assertNotIn("secret", service.read("log"))

    def test_a_secret_that_changes(self):
        """Each change counts at the next request of a connection that is open already."""
        service, other = self.service(secret="first\n", without_secret=()), self.service(secret="first\n")
        for secret, mode, answers in (("other\n", 0o640, "101"), ("\n", 0o640, "000"), ("first", 0o644, "000"),
                                      ("other", 0o600, "101"), (None, 0, "000"), ("s" * 4096, 0o640, "010"),
                                      ("s" * 4097, 0o640, "000")):
            file = service.folder / "auth"
            file.unlink(missing_ok=True)
            if secret is not None:
                service.write("auth", secret).chmod(mode)
            shown = [service.client.ask(frame(f"query||{text}|c|System.Led|0")) for text in ("other", "s" * 4096, "other")]
            self.assertEqual("".join(answer.replace("[2: The authorisation is wrong.]", "0") for answer in shown),
                             answers, secret)
        # Several times while the file system's clock stands still, and always as long.
        service.write("auth", "0000").chmod(0o640)
        for number in range(50):
            with open(service.folder / "auth", "r+b") as file:
                file.write(b"%04d" % number)
            self.assertEqual(service.client.ask(frame(f"query||{number:04}|c|System.Led|0")), "1", number)
        (other.folder / "auth").unlink()
        self.assertEqual(other.client.ask(frame("query|||c|System.Led|0")), "1")
        other.write("auth", "second").chmod(0o600)
        other.process.send_signal(signal.SIGHUP)
        eventually(lambda: "auth': the secret is read again" in other.read("log"))
        self.assertEqual(other.ask("System.Led"), "1")
        self.assertNotRegex(service.read("log") + other.read("log"), "'(first|second)")

    def test_what_starts_it(self):
        """It tells the service manager when clients can connect, and gives the journal priorities."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as told:
            told.bind(f"\0vistel-{os.getpid()}")
            service = self.service(before=["env", f"NOTIFY_SOCKET=@vistel-{os.getpid()}", "sh", "-c",
                                           'JOURNAL_STREAM=$(stat -Lc %d:%i /proc/self/fd/2) exec "$@"', "-"])
            self.assertEqual(told.recv(99), b"READY=1")
            self.assertEqual(service.ask("Foo")[:2], "[1")
            self.assertEqual(service.end(), 0)
            self.assertEqual(told.recv(99), b"STOPPING=1")
        service.start(database="/nowhere/s.db")
        levels = re.findall(r"^<(\d)>\S+ sysmgrd: (ready|query|ending|database)", service.read("log"), re.M)
        self.assertEqual(levels, [("6", "ready"), ("4", "query"), ("6", "ending"), ("3", "database")])

    def test_bytes_that_are_no_request(self):
        """For any bytes, a client gets an answer or is disconnected: never silence, never half an answer."""
        service, begin = self.service(), time.monotonic()
        for data in (b"x", b":", b",", b"-1:", b"01:a,", b"1048577:", b"4294967296:", b"18446744073709551616:",
                     b"1:ab", b"3:1:a.,", b"5:1:a,,,", b"6:9:abc,,", b"9" * 100):
            self.assertIsNone(Client(service).send(data).receive(), data)
        self.assertLess(time.monotonic() - begin, 9)  # at once, not when their time is over, after ten seconds
        request = frame("query|s||c|#1:2:18:System.ProductName,10:System.Led,|0")
        for at in range(len(request)):
            self.assertIsNone(Client(service).send(request[:at], more=False).receive(), at)
            for bit in range(8):
                changed = request[:at] + bytes([request[at] ^ 1 << bit]) + request[at + 1:]
                Client(service).send(changed, more=False).receive()
        # The largest request, refused for its content and not for its size.
        cut = "x" * 200
        self.assertEqual(service.ask("x" * (1048576 - 200)), f"[1: key '{cut}': There is no such key.]")
        self.assertEqual(service.ask(f"System.Led:{cut}x=1"),
                         f"[1: key 'System.Led', '{cut}': There is no such option.]")
        self.assertEqual(service.ask("System.ProductName;System.Led"), NAME + "|1")

    def test_byte_by_byte_and_all_at_once(self):
        service = self.service()
        slow = Client(service)
        for byte in ASK_NAME:
            slow.send(bytes([byte]))
            time.sleep(0.0001)
        self.assertEqual(slow.ask(), NAME)
        # More requests than one turn answers, with different answers, in order.
        many = Client(service).send((ASK_NAME + frame("query|||c|System.Led|0")) * 500, more=False)
        self.assertEqual([many.ask() for _ in range(1001)], [NAME, "1"] * 500 + ["[closed]"])

    def test_the_log_s_records(self):
        service = self.service()
        for name in ("a\nb\x1b[0m\u00e4", "x" * 5000):
            Client(service).ask(frame(f"query|s||{name}|Foo|0"))
            Client(service).ask(frame(f"query|s|wrong|{name}|Foo|0"))
            self.assertEqual(Client(service).ask(frame(f"query|s||c|Foo\n{name}|0")),
                             "[1: key 'Foo': The key is malformed.]")
        for record in service.read("log").split("\n"):
            self.assertRegex(record, r"\A[ -~]{,1023}\Z")
        self.assertIn("'a?b?[0m??'", service.read("log"))
        # Mistakes do not push successful sets out.
        self.assertEqual([service.ask("Foo")[:2] for _ in range(50)], ["[1"] * 50)
        service.ask("set System.Led=1")
        self.assertIn("set of client 'tester' done: System.Led", service.read("log"))
        # In the next second, the log says how many it lacks.
        eventually(lambda: service.ask("Foo") and re.search(r"sysmgrd: \d+ more records about clients left out\n", service.read("log")))
        self.assertEqual(len(self.service(model=f'{{"{"x" * 5000}": 0}}').read("log")), 1024)


class Clients(ServiceTest):
    def test_stuck_ones(self):
        """The others are served at once; these are disconnected when their time is over."""
        service = self.service(IMPATIENT, model=LARGE)
        idle, stuck, dribbling, greedy, slow = (Client(service) for _ in range(5))
        greedy.send(LARGE_QUERY * 2)
        slow.send(LARGE_QUERY, more=False)
        for _ in range(3):  # a turn for the large answer in between
            self.assertEqual(idle.ask(ASK_NAME), NAME)
        begin, answers, taken = time.monotonic(), 0, b""
        stuck.send(b"10")
        dribbling.send(b"9999:")
        while stuck.is_open() or dribbling.is_open() or "does not take its answer" not in service.read("log"):
            self.assertEqual(service.ask("System.ProductName"), NAME)
            self.assertLess(time.monotonic() - begin, 60)
            answers += 1
            dribbling.send(b"x")
            taken += slow.socket.recv(512)
            time.sleep(0.005)
        self.assertGreater(time.monotonic() - begin, 0.98)  # the loop reads a coarse clock
        self.assertGreater(answers, 4)
        self.assertIsNone(greedy.receive())
        taken += slow.stream.read()
        self.assertEqual(len(taken), len(b"13108621:,") + int(taken[:8]))
        self.assertEqual(idle.ask(ASK_NAME), NAME)

    def test_limits(self):
        """
        When clients that begin requests, take no answers or do nothing become too many, the one that
        began first goes. Not so one whose request came whole meanwhile and that has begun another one.
        """
        resource.setrlimit(resource.RLIMIT_NOFILE, (resource.getrlimit(resource.RLIMIT_NOFILE)[1],) * 2)
        for few, data, record in (
                (5, LARGE_QUERY, "too many answers wait: a client that does not read is disconnected"),
                (7, b"1048576:" + b"x" * 1048500,
                 "too many requests wait: the client whose request began first is disconnected"),
                (990, b"9:",
                 "too many clients: the one whose request has been unfinished for longest is disconnected"),
                (990, b"", "too many clients: the one that has been idle for longest is disconnected")):
            with self.subTest(record):
                service = self.service(model=LARGE)
                settle = lambda: self.assertEqual(service.ask("System.ProductName"), NAME)
                clients = [Client(service).send(ASK_NAME[:9])]
                settle()
                clients.append(Client(service).send(data))
                settle()
                clients += [Client(service).send(data) for _ in range(few - 1)]
                settle()
                self.assertEqual(clients[0].ask(ASK_NAME[9:] + data[:2]), NAME)
                while record not in service.read("log") and len(clients) < 1100:
                    clients.append(Client(service).send(data))
                    settle()
                self.assertIsNone(clients[1].receive())
                self.assertTrue(clients[0].is_open() and clients[-1].is_open())
                # None goes but for one that came: several may have come before the first one went.
                self.assertLessEqual(service.read("log").count(record), len(clients) - few - 1)
                if b"__asan_init" not in SYSMGRD.read_bytes():
                    self.assertLess(service.kilobytes(), 192 * 1024)

    def test_turns(self):
        """Sets and large requests come after what else is ready, and one of a client between the others' turns."""
        service, long = self.service(), "x" * 4096
        for slow, record in (("set|||slow|Foo|1", "set of client 'slow' refused"),
                             (f"query|||slow|#1:2:3:Foo,4096:{long},|0", "query of client 'slow'")):
            first, other = Client(service), service.client
            self.assertEqual([client.ask(ASK_NAME) for client in (first, other)], [NAME] * 2)
            with service.stopped():
                first.send(frame(slow) * 3)
                other.send(frame("query|||other|Bar|0"))
            for _ in range(3):
                self.assertRegex(first.ask(), r"\A(\[1|There is no such)")
            self.assertRegex(other.ask(), r"\A\[1")
            self.assertEqual(re.findall(rf"{record}|query of client 'other'", service.read("log"))[-4:],
                             ["query of client 'other'", *[record] * 3])

    def test_many_sets_at_once(self):
        """They are stored one by one between the others' turns, so a query sees many of the names."""
        service = self.service()
        setter = Client(service).send(b"".join(frame(f"set|||c|System.DeviceName|name {i}") for i in range(100)))
        names = {service.ask("System.DeviceName")}
        while "name 99" not in names:
            names.add(service.ask("System.DeviceName"))
        self.assertGreater(len(names), 8)
        self.assertEqual({setter.ask() for _ in range(100)}, {""})

    def test_the_largest_answer(self):
        service, most = self.service(model=LARGE), 16 << 20
        query = frame("query|||c|#1:256:1:b," + "1:a," * 255 + "|0")
        too_large = "[1: The answer would be larger than 16777216 bytes.]"
        # A much larger one is not even put together.
        self.assertEqual(Client(service).ask(frame("query|||c|#1:4096:" + "1:a," * 4096 + "|0")), too_large)
        self.assertLess(service.kilobytes("VmHWM"), 100 * 1024)
        room = most - len(Client(service).send(query).receive())
        self.assertLess(room, 65536)
        # The length of the value takes bytes too.
        room -= len(str(room)) - 1
        self.assertEqual(service.ask("set b=" + "y" * room), "")
        self.assertEqual(len(Client(service).send(query).receive()), most)
        self.assertEqual(service.ask("set b=y" + "y" * room), "")
        self.assertEqual(Client(service).ask(query), too_large)


class Disk(ServiceTest):
    BOTH = model(text_key("a", "1"), text_key("b", "2"))

    def test_new_models_over_old_databases(self):
        service = self.service(model=self.BOTH)
        self.expect(service, "a;b => 1|2\n set a=long value|b=22 => /")
        for text, query, values in (
                # One key is gone, one is new, one refuses the stored value.
                (model(key("a", "text read-write, 0-3, 'default': 'new'"), text_key("c", "3")),
                 "a;c", "new|3"),
                # The first model finds its values again.
                (self.BOTH, "a;b", "long value|22")):
            service.restart(model=text)
            self.assertEqual(service.ask(query), values)
        self.assertEqual((service.folder / "settings.db").stat().st_mode & 0o777, 0o600)

    def test_unusable_databases(self):
        first = self.service()
        for database, fault in ((first.folder / "no/s.db", "can't be opened: No such file or directory"),
                                (first.folder / "settings.db", "is in use by another service: it can't be used: "
                                                               "database is locked")):
            service = self.service(IMPATIENT, database=database)
            self.assertIn(f"database '{database}' {fault}\n", service.read("log"))

    def test_damaged_databases(self):
        """They are put aside, and pages hear of it until somebody takes note or restores a configuration."""
        service, look = self.service(IMPATIENT), "System.SettingsLost;System.DeviceName"
        database, aside = service.folder / "settings.db", service.folder / "settings.db.damaged-1"
        for spoil, end in ((lambda whole: b"", "set System.SettingsLostNoted=1"),
                           (lambda whole: bytes(len(whole)), "set System.ConfigRestore=apply"),
                           (lambda whole: whole[:len(whole) // 2], "set System.SettingsLostNoted=1"),
                           (lambda whole: RANDOM.randbytes(5000), "set System.SettingsLostNoted=1")):
            service.write("upload.bin", service.ask("System.ConfigShow"))
            self.expect(service, f"set System.DeviceName=mine =>\n {look} => no|mine")
            service.end()
            database.write_bytes(spoiled := spoil(database.read_bytes()))
            for _ in range(2):
                service.start()
                self.expect(service, f"{look} => damaged|Vistel")
                self.assertIn("|The stored settings were damaged.", service.ask("System.Log"))
                service.end()
            self.assertEqual(aside.read_bytes(), spoiled)
            service.start()
            self.expect(service, f"{end} =>\n {look} => no|Vistel")
        self.assertEqual(len(list(service.folder.glob("settings.db.damaged-*"))), 3)
        # A reset forgets everything that was ever stored.
        self.expect(service, f"set System.FactoryReset=1 =>\n {look} => no|Vistel")
        self.assertEqual(list(service.folder.glob("settings.db.*")), [])

    def test_older_and_newer_firmware(self):
        """Each finds the settings that it had, whatever the other one has stored meanwhile."""
        service = self.service(IMPATIENT)
        for version, lost, name in ((1, "no", "Vistel"), (2, "no", "name 1"), (1, "newer", "Vistel"), (2, "no", "name 2"),
                                    (1, "no", "name 1"), (2, "no", "name 2")):
            service.write("version", str(version))
            service.restart()
            self.expect(service, f"""
                System.SettingsLost;System.DeviceName => {lost}|{name}
                set System.SettingsLostNoted=1 =>
                set System.DeviceName=name {version} =>
                """)
        for version in range(8, 3, -1):
            service.write("version", str(version))
            service.restart()
        self.assertEqual(len(list(service.folder.glob("settings.db.version-*"))), 3)

    def test_writing_cut_short(self):
        """A limit on the size of files cuts a write in the middle of a batch, as a full disk does."""
        service, text = self.service(model=self.BOTH), "x" * 20000
        service.limit_files(40000)
        self.expect(service, f"""
            set a=x =>
            set a={text}|b={text} => //This could not be saved: the storage reports an error.
            a;b => x|2
            set b=y =>
            set Foo=x => There is no such setting.
            """)
        for record in ("done: a", "failed: a b", "refused: Foo"):
            self.assertIn(f"set of client 'tester' {record}\n", service.read("log"))
        service.restart()
        self.assertEqual(service.ask("a;b"), "x|y")

    def test_a_reset_is_all_or_nothing(self):
        """A reset also forgets values of other models and of the service itself."""
        product = json.loads(PRODUCT.read_text())
        product["keys"] += json.loads(f"[{text_key('More', 'd')}]".replace("'", '"'))
        service, secret = self.service(model=json.dumps(product)), "s" * 60
        self.device(service)
        look = "System.DeviceName;HomePlug.Stations{MacAddress=00:00:5E:00:53:08}.Name"
        self.expect(service, f"""
            set System.DeviceName={secret}|More=more => /
            set HomePlug.NameStation=feather|HomePlug.NameStation.MacAddress=00:00:5E:00:53:08 => /
            """)
        more = service.arguments["model"]
        service.restart(model=PRODUCT)
        eventually(lambda: not service.ask(look).startswith("["))
        usual = service.limit_files(1)
        self.expect(service, f"""
            set System.FactoryReset=1 => This could not be saved: the storage reports an error.
            {look} => {secret}|feather
            """)
        service.limit_files(usual)
        self.expect(service, f"set System.FactoryReset=1 =>\n {look} => Vistel|Keller, hinter der Waschmaschine")
        service.restart(model=more)
        self.assertEqual(service.ask("More"), "d")
        self.assertNotIn("ssss", service.read("settings.db"))

    def test_full_and_read_only_disk(self):
        service, mount = self.service(model=self.BOTH), ctypes.CDLL(None).mount
        disk = service.write("disk/settings.db", "").parent
        if mount(b"none", bytes(disk), b"tmpfs", 0, b"size=64k,mode=0700") != 0:
            self.skipTest("no right to mount a file system")
        self.addCleanup(ctypes.CDLL(None).umount2, bytes(disk), MNT_DETACH)
        service.restart(database=disk / "settings.db")
        self.expect(service, "set a=before =>")
        fill = lambda: subprocess.run(["sh", "-c", "yes >disk/filler"], cwd=service.folder, stderr=subprocess.DEVNULL)
        fill()
        self.expect(service, f"""
            set a={'x' * 9000}|b=after => //This could not be saved: the storage is full.
            a;b => before|2
            """)
        (disk / "filler").unlink()
        self.expect(service, "set b=room =>")
        service.end()
        remount = lambda more: self.assertEqual(mount(b"none", bytes(disk), b"tmpfs", MS_REMOUNT | more, None), 0)
        # What was wrong at the start is tried again with each set.
        for spoil, repair, words in (
                (lambda: remount(MS_RDONLY), lambda: remount(0), "is read-only"),
                (lambda: fill(), lambda: (disk / "filler").unlink(), "is full"),
                (lambda: (fill(), (disk / "settings.db").unlink()), lambda: (disk / "filler").unlink(), "is full")):
            spoil()
            service.start()
            now = service.ask("a;b")
            self.expect(service, f"set a=lost => /This could not be saved: the storage {words}.\n a;b => {now}")
            repair()
            self.expect(service, "set a=again|b=room => /")
            service.restart()
            self.expect(service, "a;b => again|room")
            service.end()

    def test_answers_after_syncing(self):
        """
        With a disk that takes its time, nobody waits but those who set. A kill doesn't lose the page cache, so
        only the system calls show what a power cut would lose.
        """
        service = self.service(model=self.BOTH, before=[
            "env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-D", "-f", "-e", "fsync,fdatasync", "-o", "syncs",
            "-e", "inject=fsync,fdatasync:delay_exit=700000"])
        syncs = lambda: service.read("syncs").count("(")
        for batch, least, most in (("a=x|b=y", 1, 2), ("a=z", 1, 2), ("a=z|b=y", 0, 0), ("b=w", 1, 2)):
            before, setter = syncs(), Client(service)
            setter.send(service.message("set " + batch))
            self.assertNotEqual(service.ask("a"), "")
            self.assertTrue(not least or select.select([setter.socket], [], [], 0)[0] == [])
            self.assertEqual(setter.ask().strip("/"), "")
            self.assertTrue(least <= syncs() - before <= most, batch)
        # Those that come meanwhile go to the disk together, and the service ends when they are there.
        service.process.send_signal(signal.SIGSTOP)
        before, setters = syncs(), [Client(service).send(service.message(f"set a={i}")) for i in range(20)]
        service.process.send_signal(signal.SIGCONT)
        for _ in range(2 * len(setters)):  # one of them gets its turn in each
            service.ask("a")
        service.process.send_signal(signal.SIGTERM)
        self.assertEqual([setter.ask() for setter in setters], [""] * 20)
        self.assertLessEqual(syncs() - before, 4)
        self.assertEqual(service.process.wait(60), 0)
        service.start()
        self.assertEqual(service.ask("a"), "19")

    def test_killed_at_any_moment(self):
        """Afterwards each client's values are those of one whole batch, no older than its last answered one."""
        service = self.service(model=model(*(text_key(name, "0") for name in "abcdef")))
        value, answered = 0, {"ab": 0, "cd": 0, "ef": 0}

        def work():
            nonlocal value
            value += 1
            text = str(value).ljust(1500 if value % 20 else 50000, ".")  # more than one write; soon a long log
            try:
                clients = {keys: Client(service).send(service.message(f"set {keys[0]}={text}|{keys[1]}={text}"))
                           for keys in answered}
            except OSError:
                return False
            answered.update({keys: value for keys, client in clients.items() if client.ask() == "/"})
            return set(answered.values()) == {value}

        self.assertTrue(work())
        for _ in service.kill_at_any_moment(work):
            stored = [int(cell.rstrip(".")) for cell in service.ask("a;b;c;d;e;f").split("|")]
            self.assertEqual(stored[::2], stored[1::2], "half a batch")
            for last, found in zip(answered.values(), stored[::2]):
                self.assertTrue(last <= found <= value, (last, found, value))
