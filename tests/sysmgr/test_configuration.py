# SPDX-License-Identifier: MIT
"""
Exports and restores configurations: nothing is lost, and only whole and correct ones are restored. Also
tests the files that are handed over: their owner and their number.
"""
import base64
import json
import os
import signal
import subprocess

from service import IMPATIENT, PRODUCT, SYSMGRD, ServiceTest, encode, rows

MISTAKES = "There are mistakes in the configuration."
DAMAGED = "The password is wrong, or the file is damaged."
NEEDED = "The file is encrypted: its password is needed."


def document(settings, identity="format='1' device='Vistel' model='1'"):
    return f"<configuration {identity}>{settings}</configuration>"


def setting(key, value=""):
    return f"<setting key='{key}'>{value}</setting>"


class Configuration(ServiceTest):
    def setUp(self):
        self.device = self.service(IMPATIENT)

    def restore(self, file, how="check"):
        """Uploads a file and sets the action; the file stays only if it needs another password."""
        path = self.device.write("upload.bin", file)
        answer = self.device.ask("set System.ConfigRestore=" + how)
        self.assertEqual(path.exists(), answer.strip("/") in (DAMAGED, NEEDED))
        return answer

    def all(self):
        return self.device.ask("System.ConfigShow")

    def test_exports(self):
        self.expect(self.device, "set System.DeviceName=<Attic> & \"more\"|HomePlug.NetworkPassword=very secret => /\n"
                                 "set System.ConfigPassword=even more so =>")
        shared = ["System.Led=1", "System.PowerSave=1", "System.TimeZone=Europe/Berlin", "HomePlug.NetworkName=HomePlug"]
        readable = ["System.DeviceName=&lt;Attic&gt; &amp; &quot;more&quot;", *shared[:3], "Network.Mode=dhcp",
                    "Network.Address=", "Network.Netmask=", "Network.Gateway=", shared[3]]
        xml = lambda settings: '<?xml version="1.0" encoding="UTF-8"?>\n<configuration format="1" device="Vistel" ' \
            'model="1">\n' + "".join('  <setting key="{}">{}</setting>\n'.format(*text.split("=", 1))
                                     for text in settings) + "</configuration>\n"
        self.assertEqual(self.device.ask("System.ConfigShow"), xml(readable))
        path = self.device.ask("System.AutoConfigShow")
        # Named after the device and the day where it is; another one that waits keeps its name.
        named = f"{self.device.folder}/files/Vistel-shared-2023-11-14"
        self.assertEqual(path, named + ".xml")
        self.assertRegex(self.device.ask("System.AutoConfigShow"), f"^{named}-.{{6}}\\.xml$")
        self.assertEqual(self.device.read(path), xml(shared))
        os.unlink(path)
        self.assertEqual(self.device.ask("System.AutoConfigShow"), path)
        self.assertEqual(os.path.basename(self.device.ask("System.ConfigShowCrypt")), "Vistel-2023-11-14.cfg")

    def test_every_value_comes_back(self):
        text = json.loads(PRODUCT.read_text())
        text["device"] = "A & \"B\" <\u00fc>"
        text["keys"] += [{"key": name, "type": "text", "access": "read-write", "minimum": 0, "maximum": 65536,
                          "default": ""} for name in "abcd"]
        self.device = self.service(IMPATIENT, model=json.dumps(text))
        every = "".join(map(chr, range(32, 127))).replace("|", "")
        values = ("  two blanks around  ", "]]> &amp; %41" + every + "x" * 10000 + every,
                  "\xa0\u07ff\u0800\ud7ff\ufffd\U00010000\U0010ffff", "")
        self.assertEqual(self.device.ask("set " + "|".join(map("=".join, zip("abcd", values)))), "///")
        exported = self.all()
        self.assertEqual(self.device.ask("set System.FactoryReset=1"), "")
        self.assertEqual(self.restore(exported, "apply"), "")
        self.assertEqual(self.device.ask("a;b;c;d"), "|".join(values))

    def test_what_is_wrong_is_told(self):
        """Texts, their answers and the mistakes; none of them changes the device."""
        before, no_version = self.all(), "The configuration does not say which version of the model it is of."
        rule = "A static address needs address, network mask and gateway."
        whole = document(setting("System.Led", "0"))
        for text, answer, *mistakes in (
                ("", "The file is not a configuration."),
                ("\0\0\0", "The file is not a configuration."),
                ("<settings/>", "The file is not a configuration."),
                (document("", "format='x' device='d' model='1'"), "The file is not a configuration."),
                ("<configuration format='2' new='1'><new>",
                 "The configuration is of a newer format than this device knows."),
                (document("", "format='1' device='d' model='0'"), no_version),
                (document("", "format='1' device='d'"), no_version),
                (document(""), "The configuration holds no settings."),
                (document("<setting key='a'/>" * 4097), "The configuration holds too many settings."),
                (document("\nx" * 1001), "There are too many mistakes in the configuration."),
                (" " * (256 * 1024 + 1), "The uploaded file is too large."),
                ("\n<configuration format='1", MISTAKES, "2||The file is not well-formed XML."),
                (document("\n" + setting("a", "\udcff")), MISTAKES, "2||The file is not well-formed XML."),
                (whole + "<more/>", MISTAKES, "1||The file is not well-formed XML."),
                (document(setting("a", "&b;")), MISTAKES, "1||The file is not well-formed XML."),
                ("<!DOCTYPE configuration [<!ENTITY a 'aa'><!ENTITY b '&a;&a;'>]>" + document(setting("a", "&b;")),
                 MISTAKES, "1||The file holds a document type, which no configuration has."),
                ("\n<!DOCTYPE c SYSTEM 'file:///etc/passwd'>" + whole, MISTAKES,
                 "2||The file holds a document type, which no configuration has."),
                (document("<a>" * 10000), MISTAKES, "1||There are too many elements inside each other."),
                (document("<x/>" + setting("Network.Mode", "static")), MISTAKES, "1||This element is unknown.", f"|Network.Mode|{rule}"),
                (document("\n<setting>x</setting>\n<setting key='&lt;b&gt;'/>\n<setting type='b'>0"
                          "</setting>\n<setting/>\n<b>\n</b>\ntext"), MISTAKES,
                 "2||This element does not name a setting.", "3||This element does not name a setting.",
                 "4||This attribute is unknown.", "4||This element does not name a setting.", "5||This element does not name a setting.",
                 "6||This element is unknown.", "8||There is text outside of settings."),
                (document(setting("System.Led", "on") + setting("System.Uptime", "5") + setting("System.ConfigPassword", "12345678")
                          + setting("System.ConfigRestore", "apply") + setting("System.TimeZone", "\n")
                          + setting("Foo.Bar", "1")), MISTAKES,
                 "|System.Led|Choose 0 or 1.",
                 "|System.Uptime|This setting is not part of a configuration.",
                 "|System.ConfigPassword|This setting is not part of a configuration.",
                 "|System.ConfigRestore|This setting is not part of a configuration.",
                 "|System.TimeZone|Enter a time zone such as Europe/Berlin.", "|Foo.Bar|There is no such setting.")):
            for how in ("check", "apply"):
                self.assertEqual(self.restore(text, how), answer, text[:500])
                told = "/".join(f"{at}|{mistake}" for at, mistake in enumerate(mistakes, 1))
                self.assertEqual(self.device.ask("System.ConfigMistakes"), told, text[:500])
                self.assertEqual(self.device.ask("System.ConfigPending"), "0")
        self.assertEqual(self.restore(document("".join(setting(f"k{i}") for i in range(2000)))), MISTAKES)
        self.expect(self.device, """
            System.ConfigMistakes{Number=50} => 50||k49|There is no such setting.
            System.ConfigMistakes{Number=51} =>
            """)
        self.device.clock(steady=1601)
        self.assertEqual(self.device.ask("System.ConfigMistakes"), "")
        for line in ("set System.ConfigRestore=drop =>", "set System.Restart=1 =>"):
            self.assertEqual(self.restore(document("<x/>")), MISTAKES)
            self.expect(self.device, line + "\n System.ConfigMistakes =>")
        for size in range(len(whole)):
            self.assertNotEqual(self.restore(whole[:size]), "", size)
        self.assertEqual(self.all(), before)
        # What does not fit stays out, if somebody has seen the list before.
        name = setting("System.DeviceName", "x")
        for text, answer, changed, *left in (
                (document(setting("System.Foo") + name, "format='1' device='Vistel' model='2'"),
                 "The configuration is of a newer version than this device knows.", ["System.DeviceName|Vistel|x|0"],
                 "||The configuration is of a newer version than this device knows.", "|System.Foo|There is no such setting."),
                (document(setting("System.Led", "0") + name, "format='1' device='Other' model='1'"),
                 "The configuration is one of another kind of device.", ["System.Led|1|0|0"],
                 "||The configuration is one of another kind of device.",
                 "|System.DeviceName|This belongs to the other device alone."),
                (document(name + setting("Network.Address", "10.0.0.5") + setting("Network.Mode", "static")), MISTAKES,
                 ["System.DeviceName|Vistel|x|0"], f"|Network.Address|{rule}", f"|Network.Mode|{rule}"),
                (document(setting("System.Led", "on") + setting("System.Led", "0") + setting("System.Led", "1") + "\n<b/>"),
                 MISTAKES, ["System.Led|1|0|0"], "2||This element is unknown.", "|System.Led|Choose 0 or 1.",
                 "|System.Led|This setting is there twice.")):
            self.assertEqual(self.restore(text, "apply"), answer, text)
            self.assertEqual(self.all(), before)
            self.assertEqual(self.restore(text), "", text)
            told = "/".join(f"{at}|{mistake}" for at, mistake in enumerate(left, 1))
            self.expect(self.device, f"System.ConfigChanges => {'/'.join(changed)}\n System.ConfigMistakes => {told}")
            self.expect(self.device, "set System.ConfigRestore=drop =>\n System.ConfigMistakes =>")
        self.assertEqual(self.all(), before)
        self.assertEqual(self.restore(document("<!-- --><?fine?>\n" + setting("System.DeviceName", "b<![CDATA[&]]>"))), "")
        self.assertEqual(self.device.ask("System.ConfigChanges"), "System.DeviceName|Vistel|b&|0")

    def test_encrypted_there_and_back(self):
        sealed = lambda: encode(self.device.read(self.device.ask("System.ConfigShowCrypt")))
        salt = lambda: sealed()[23:39]
        factory = self.all()
        self.expect(self.device, "set System.DeviceName=Attic|HomePlug.NetworkPassword=very secret => /\n"
                                 "set System.ConfigPassword=even more so =>")
        changed, file, first = self.all(), sealed(), salt()
        self.assertEqual(file[:23], b"vistel-configuration 1\n")
        self.assertNotIn(b"Attic", file)
        # Each file has its own nonce. The key is derived once, and forgotten when the device restarts or the
        # password changes: another salt shows that it was derived again.
        self.assertNotEqual(sealed(), file)
        self.assertEqual(salt(), first)
        self.expect(self.device, "System.ConfigPasswordSet => 1\n set System.Restart=1 =>")
        second = salt()
        self.assertNotEqual(second, first)
        self.expect(self.device, "set System.ConfigPassword= =>\n set System.ConfigPassword=even more so =>")
        self.assertNotIn(salt(), (first, second))
        self.assertEqual(self.restore(factory, "apply"), "")
        self.assertEqual(self.all(), factory)
        self.expect(self.device, "set System.ConfigPassword= =>\n set HomePlug.NetworkPassword=HomePlugAV =>\n"
                                 "System.ConfigPasswordSet => 0")

        now, with_password = 1000, "check|System.ConfigRestore.Password=even more so"
        self.assertEqual(self.restore(file), NEEDED)
        self.assertEqual(self.restore(file, with_password.replace("so", "sp")), DAMAGED + "/")
        for size in (*range(0, 63, 3), *range(63, len(file), 97)):  # of the line, salt and nonce, and the rest
            self.device.clock(steady=(now := now + 2))
            flipped = file[:size] + bytes([file[size] ^ 1 << size % 8]) + file[size + 1:]
            self.assertEqual(self.restore(flipped, with_password),
                             "The file is not a configuration./" if size < 21 else
                             "The encrypted file is of a format that this device does not know./" if size < 23 else
                             DAMAGED + "/", size)
            self.device.clock(steady=(now := now + 2))
            self.assertNotEqual(self.restore(file[:size], with_password), "/", size)
        self.device.clock(steady=(now := now + 2))
        self.assertEqual(self.restore(file + b"x", with_password), DAMAGED + "/")
        self.device.write("upload.bin", file)
        self.device.clock(steady=now + 1)
        check = "set System.ConfigRestore=" + with_password
        self.assertEqual(self.device.ask(check), "Wait a moment and try again./")
        self.device.clock(steady=now + 2)
        self.assertEqual(self.device.ask(check), "/")
        self.assertEqual(self.device.ask("System.ConfigChanges"),
                         "System.DeviceName|Vistel|Attic|0/HomePlug.NetworkPassword|||1")
        self.assertEqual(self.all(), factory)
        self.expect(self.device, "set System.ConfigRestore=apply =>\n System.ConfigPending => 0")
        self.assertEqual(self.all(), changed)
        # The secret, which no client reads, came back too.
        again = document(setting("HomePlug.NetworkPassword", "very secret"))
        self.assertEqual(self.restore(again), "")
        self.expect(self.device, "System.ConfigChanges =>\n set System.ConfigRestore=drop =>")
        # The file of docs/configuration.md can still be opened.
        old = base64.b64decode(
            "dmlzdGVsLWNvbmZpZ3VyYXRpb24gMQo/oNBlputSVnGpbwQrnRzYOWWkAds9WRPDC0dHr1MNwStC9HfWzbUovI7yJ0oh"
            "HyjJ8Lp8GKlLqATmWIvBEDxqo6uLyXT6dGdlg8AdyVSqYxBjt70CPn/8wFZfIDFifdy2+WZAIT8DTf36LBpv4AWlLRYh"
            "7/ndvlx5506wt9+g6jEZLif3q2oas5TrLY8TDF4vD33Nwi86E1aFAvA0PBq8cYohAfBL4xUCifCDSe1Y7mTDszCY5YRq"
            "YFY/mDGKVJOKpjkiKI2iql1yAhaN")
        self.assertEqual(self.restore(old, "check|System.ConfigRestore.Password=correct horse"), "/")
        self.assertEqual(self.device.ask("System.ConfigChanges"), "System.Led|1|0|0")

    def test_pending_until_it_is_dropped_replaced_or_old(self):
        self.expect(self.device, "set System.ConfigRestore=apply => No file has been uploaded.")
        for name in "ab":
            self.assertEqual(self.restore(document(setting("System.DeviceName", name))), "")
            self.assertEqual(self.device.ask("System.ConfigChanges"), f"System.DeviceName|Vistel|{name}|0")
        self.expect(self.device, "set System.ConfigRestore=drop =>\n System.ConfigPending => 0")
        self.assertEqual(self.restore(document(setting("System.DeviceName", "c"))), "")
        self.device.clock(steady=1600)
        self.assertEqual(self.device.ask("System.ConfigPending"), "1")
        self.device.clock(steady=1601)
        self.expect(self.device, """
            System.ConfigPending => 0
            System.ConfigChanges =>
            set System.ConfigRestore=apply => No file has been uploaded.
            """)
        # The rules are checked when the configuration is stored.
        self.assertEqual(self.restore(document(setting("Network.Address"))), "")
        self.expect(self.device, """
            set Network.Mode=static|Network.Address=192.168.1.5|Network.Netmask=255.255.255.0|Network.Gateway=192.168.1.1
              => ///
            set System.ConfigRestore=apply => A static address needs address, network mask and gateway.
            Network.Mode => static
            """)

    def test_the_password_of_the_device(self):
        """Whoever may set a password for files could read every secret, and whoever changes the device's keeps its
        owner out: both ask for the old one."""
        run = lambda *words: subprocess.run([SYSMGRD.with_name("sysmgrctl"), "--password", self.device.folder / "passwords",
                                             "password", *words], capture_output=True, text=True)
        wrong, later = "This is not the password of the device.", "Wait two seconds before you try another password."
        change = lambda new, old, again=None: f"set System.Password={new}|System.Password.Old={old}|" \
            f"System.Password.Again={new if again is None else again}"
        self.expect(self.device, change("a new password", "x") + " => The device has no password yet. The first one is "
                                 "made at the device itself.//\n System.PasswordSet => 0")
        self.assertEqual(run("--old").returncode, 2)
        made = [run("--new").stdout for _ in range(2)]
        self.assertNotEqual(*made)
        for text in made:
            self.assertRegex(text, r"\A[a-hjkmnp-z2-9]{5}(-[a-hjkmnp-z2-9]{5}){2}\n\Z")
        first, file = made[1].strip(), self.device.read("passwords")
        self.assertRegex(file, r"\Aadmin:\$6\$[./0-9A-Za-z]{16}\$[./0-9A-Za-z]{86}\n\Z")
        protect = "set System.ConfigPassword=even more so"
        now = 1000
        for line, answer in rows(f"""
                System.PasswordSet => 1
                {change("a new password", made[0].strip())} => {wrong}//
                {change("a new password", first)} => {later}//
                {change("x" * 9, first)} => Enter 10 to 64 characters.//
                {change("a new password", first, "another password")} => The two new passwords are not the same.//
                {change("PassWord123", first)} => This password is among the first that anybody tries.//
                {protect} => {wrong}
                {protect}|System.ConfigPassword.DevicePassword=x => {wrong}/
                System.ConfigPasswordSet => 0
                {protect}|System.ConfigPassword.DevicePassword={first} => /
                System.ConfigPasswordSet => 1
                set System.ConfigPassword= =>
                System.ConfigPasswordSet => 0
                """):
            self.device.clock(steady=(now := now + (0 if answer == later + "//" else 2)))
            self.assertEqual(self.device.ask(line), answer, line)
        usual = self.device.limit_files(50)
        self.device.clock(steady=now + 2)
        self.assertEqual(self.device.ask(change("a new password", first)),
                         "This could not be saved: the storage is full.//")
        self.device.limit_files(usual)
        self.assertEqual((self.device.read("passwords"), self.device.read("passwords.new")), (file, None))
        self.expect(self.device, f"""
            {change("a new password", first)} => //
            {change("a newer password", "a new password")} => //
            System.Log{{Text=The password of the device was changed.}}.Text
              => The password of the device was changed./The password of the device was changed.
            """)
        self.assertNotIn("password", self.all())
        self.expect(self.device, """
            System.FactorySecrets => 1
            set HomePlug.NetworkPassword=very secret =>
            System.FactorySecrets => 0
            """)


class Files(ServiceTest):
    def test_number_age_and_mode(self):
        service, full = self.service(IMPATIENT), "[1: key 'System.AutoConfigShow': Too many files have not been fetched yet.]"
        there = lambda path: service.read(path) is not None
        service.end(signal.SIGKILL)
        stale = service.write("files/stale", "x")
        service.start()
        self.assertFalse(stale.exists())
        put = lambda: service.ask("System.AutoConfigShow")
        first = put()
        self.assertEqual(os.stat(first).st_mode & 0o7777, 0o600)
        service.clock(steady=1600)
        second = put()
        self.assertTrue(there(first))
        gone = (service.folder / "files").rename(service.folder / "gone")
        self.assertEqual(put(), "[1: key 'System.AutoConfigShow': The file cannot be made.]")
        gone.rename(service.folder / "files")
        service.clock(steady=1601)
        files = [put() for _ in range(63)]
        self.assertEqual(files[0], first)  # whose name was free again
        service.clock(steady=1609)
        self.assertEqual(put(), full)
        # A fetched file takes no room.
        os.unlink(files[-1])
        self.assertTrue(there(put()) and there(second))
        self.assertEqual(put(), full)
        service.clock(steady=1610)
        self.assertTrue(there(put()))
        self.assertFalse(there(second))
        service.end()
        self.assertEqual(os.listdir(service.folder / "files"), [])

    def test_a_name_that_is_free_again(self):
        """The file that has it stays for its own time, not for that of the one before it."""
        service = self.service(IMPATIENT)
        put = lambda: service.ask("System.AutoConfigShow")
        first = put()
        os.unlink(first)
        service.clock(steady=1500)
        self.assertEqual(put(), first)
        service.clock(steady=1601)
        self.assertNotEqual(put(), first)
        self.assertTrue(os.path.exists(first))

    def test_the_folder_is_one_s_own(self):
        service = self.service()
        service.end()
        folder, kept = service.folder / "files", service.write("other/kept", "x")
        folder.rmdir()
        folder.symlink_to("other")

        def refused(why):
            service.start()
            self.assertEqual(service.process.poll(), 1)
            self.assertIn(why, service.read("log").split("\n")[-2])

        refused("can't be used")
        self.assertTrue(kept.exists())
        folder.unlink()
        folder.mkdir()
        for mode in (0o710, 0o701, 0o770, 0o755):
            folder.chmod(mode)
            refused("is too open")
        folder.chmod(0o700)
        if os.geteuid() == 0:
            os.chown(folder, 1, 1)
            refused("somebody else")

    def test_only_regular_files_of_one_s_own_are_taken(self):
        service = self.service()
        upload, target = service.folder / "upload.bin", service.write("target", document(setting("System.Led", "0")))
        for make, answer in (
                (lambda: None, "No file has been uploaded."),
                (lambda: upload.symlink_to(target), "The uploaded file cannot be read."),
                (lambda: os.mkfifo(upload), "The uploaded file cannot be read."),
                (lambda: os.link(target, upload), "The uploaded file has a second name on the device."),
                (lambda: os.geteuid() == 0 and os.chown(service.write("upload.bin", "x"), 1, 1),
                 "The uploaded file belongs to another user of the device." if os.geteuid() == 0
                 else "No file has been uploaded."),
                (upload.mkdir, "The uploaded file cannot be read.")):
            for action in ("System.ConfigRestore", "System.FirmwareUpdate"):
                make()
                self.assertEqual(service.ask(f"set {action}=check"), answer)
                if upload.is_dir():
                    upload.rmdir()
        self.assertTrue(target.exists())
