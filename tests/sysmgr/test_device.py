# SPDX-License-Identifier: MIT
"""
Faulty models, the values and rules of a model, and queries, batches and actions with the product's model
and a simulated device whose clocks are stopped.
"""
import json
import re
import sqlite3
import struct
import subprocess
import tempfile
import urllib.parse
from contextlib import closing

from service import BYTE_ORDER, IMPATIENT, PRODUCT, SYSMGRD, ServiceTest, encode, eventually, key, messages, model, rows

MODE = key("M", "enumeration read-write, 'values': ['dhcp', 'static'], 'default': 'dhcp'")
ADDRESS = key("A", "ipv4 read-write, 'optional': true, 'default': ''")


class Model(ServiceTest):
    def fault_of(self, text):
        with tempfile.NamedTemporaryFile("w") as file:
            file.write(text)
            file.flush()
            result = subprocess.run([SYSMGRD, "--check-model", "--model", file.name], capture_output=True, text=True)
        self.assertEqual(result.returncode, 1, text)
        return result.stderr.rstrip("\n").partition(f" sysmgrd: model '{file.name}'")[2]

    def check(self, text, fault):
        self.assertEqual(self.fault_of(text), fault, text)

    def test_faulty_files(self):
        self.check('{\n"device": "d",\n oops}',
                   ", line 3: syntax error while parsing object key - invalid literal; last read: "
                   "'\"d\",<U+000A> o'; expected string literal")
        for text, fault in rows("""
                [] => : must be an object
                {"device": "d"} => : 'version' is missing
                {"device": "d", "device": "e"} => : an object has two members 'device'
                {"device": "d", "version": 1, "keys": [], "extra": 0} => : 'extra' is not known here
                {"device": "d", "version": 1, "keys": []} => : there are no keys
                {"device": "d", "version": 1, "keys": [5]} => , key number 1: must be an object
                {"device": "d", "version": 1, "keys": [{}]} => , key number 1: 'key' is missing
                {"device": "d", "version": 1, "keys": [{"key": "a b"}]}
                  => , key 'a b': a key is names of letters, digits, _ and -, with dots between them
                """):
            self.check(text, fault)
        text = model(MODE, ADDRESS)
        for size in range(1, len(text), 23):
            self.assertRegex(self.fault_of(text[:size]), "^, line 1: syntax error")

    def test_faulty_keys(self):
        """Each row is the type and the access of key "a", then its further members."""
        for text, fault in rows(r"""
                float read
                  => 'type' is 'float'; it must be one of text, integer, boolean, enumeration, mac, ipv4, time-zone, password, table
                boolean rw => 'access' is 'rw'; it must be one of read, read-write, write-only, action, parameter, ticket
                boolean read-write => 'default' is missing
                boolean read-write, 'default': 'on' => 'default': Choose 0 or 1.
                boolean read-write, 'default': 1 => 'default' must be a text
                boolean read-write, 'defualt': '1' => 'defualt' is not known here
                integer read-write, 5-4, 'default': '4' => 'minimum' is above 'maximum'
                integer read-write, 0-18446744073709551615 => 'maximum' must be a whole number
                integer read-write, 1-4, 'default': '5' => 'default': Enter a whole number from 1 to 4.
                text read-write, 1-65537, 'default': 'x' => 'maximum' is above 65536
                text read-write, 1-9, 'pattern': '(', 'pattern-help': 'h.'
                  => 'pattern' is no regular expression: Unmatched ( or \(
                text read-write, 1-9, 'pattern': 'a)|(b', 'pattern-help': 'h.'
                  => 'pattern' is no regular expression: Unmatched ( or \(
                text read-write, 1-9, 'pattern': 'a)|(b)', 'pattern-help': 'h.'
                  => 'pattern' is no regular expression: Unmatched )
                text read-write, 1-9, 'pattern': '[)]|\\)(b)', 'pattern-help': 'h.' => 'default' is missing
                text read-write, 1-9, 'pattern': 'a', 'pattern-help': '<b>'
                  => 'pattern-help' must not hold any of < > & " '
                text read-write, 1-9, 'pattern': 'a', 'pattern-help': 'must be a'
                  => 'pattern-help' must be a whole sentence
                enumeration read-write, 'values': ['a\nb'] => 'values' must not hold control characters
                enumeration read-write, 'values': ['x', 'x'], 'default': 'x' => 'x' is twice in 'values'
                password read-write => a password can't be read; its access is write-only
                table read, 'columns': [] => a table needs a 'source'
                table read, 'source': 's', 'default': 'x', 'columns': [] => 'default' is not known here
                table read, 'source': 's', 'columns': [{'name': 'x.y', 'type': 'text'}] => 'x.y' is no name of a column
                text read-write, 'source': 's' => what comes from a source can only be read
                boolean action => 'action' is missing
                boolean action, 'action': 'x', 'default': '' => what is not stored has no 'default'
                text write-only, 0-9, 'shared': true => only a setting that can be read is 'shared'
                """):
            self.check(model(key("a", text)), ", key 'a': " + fault)

    def test_keys_and_rules_that_do_not_fit(self):
        fault = "is a parameter, but what is before its last dot is no action"
        self.check(model(key("M.a", "boolean parameter"), MODE), f": key 'M.a' {fault}")
        self.check(model(key("a", "boolean parameter")), f": key 'a' {fault}")
        self.check(model(MODE, MODE), ": key 'M' is there twice")
        self.check(model(key("Model.Keys", "boolean read, 'default': '0'")), ": key 'Model.Keys' is the service's own")
        columns = "'columns': [{'name': 'c', 'type': 'text'}]"
        for of, fault in rows("""
                M => key 'h' is the history of what is no table
                t.c => key 'h' is the history of what is no table
                h => key 'h' is the history of a history, or of a table not open to everybody
                t{d=1} => key 'h': there is no column 'd'
                """):
            history = key("h", f"table read, 'source': {{'history': '{of}', 'row': 'c', 'values': ['c']}}, {columns}")
            self.check(model(MODE, key("t", f"table read, 'source': 's', {columns}"), history), ": " + fault)
        for rule, fault in rows("""
                'rule': 'maybe', 'keys': ['M'] => 'rule' is 'maybe'; it must be one of required, same-network
                'rule': 'required', 'keys': ['N'] => there is no key 'N'
                'rule': 'same-network', 'keys': ['M'] => 'keys' must be address, network mask and gateway
                'rule': 'required', 'when': {'key': 'M', 'is': 'auto'}, 'keys': ['A']
                  => 'is' can never be true: M: Choose dhcp or static.
                'rule': 'required', 'when': {'key': 'M', 'is': 'dhcp'}, 'keys': ['A']
                  => the default values break it: no.
                """):
            self.check(model(MODE, ADDRESS, rules=f"{{'message': 'no.', {rule}}}"), f", rule number 1: {fault}")

    def test_sources_of_the_service_itself(self):
        for text, fault in rows("""
                text read, 'source': 'log' => source 'log' is a table
                table read, 'source': 'firmware', 'columns': [{'name': 'c', 'type': 'text'}]
                  => source 'firmware' is no table
                table read, 'source': 'log', 'columns': [{'name': 'c', 'type': 'text'}]
                  => source 'log' has no column 'c'
                text read, 'source': 'restart' => 'restart' is an action
                boolean action, 'action': 'log' => 'log' is no action
                """):
            self.assertIn(f"model, key 'a': {fault}\n", self.service(model=model(key("a", text))).read("log"))

    def test_values(self):
        text = "text action, 1-3"
        cases = (
            # Characters count, not bytes.
            (text, ("abc", '<&"', "\u00e4\u20ac\U0001f600"), "Enter 1 to 3 characters.", ("", "abcd")),
            (text, ("\ufffd\uffbf",), "Enter text in UTF-8.",
             (b"a\xc3", b"\xc0\x80", b"\xed\xa0\x80", b"\xf4\x90\x80\x80", "a\ufffe", "\uffff")),
            # The first character after them, and another one with a 0x9f.
            (text, ("\xa0\xdf",), "Leave out the control characters.", ("a\0b", "a\nb", "a\x7f", "a\x80", "\x9f")),
            ("text action, 0-9, 'pattern': '[a-z]+|', 'pattern-help': 'h.'", ("abc", ""), "h.",
             ("abc1",)),
            ("integer action, -5-100", ("-5", "0", "100"), "Enter a whole number from -5 to 100.",
             ("101", "-6", "", "5 ", "+5", "0x5", "-0", "005", "-05", "00", "-", "--5", "9" * 100)),
            ("integer action, 5-5", ("5",), "Enter the number 5.", ("4",)),
            ("boolean action", ("0", "1"), "Choose 0 or 1.", ("true",)),
            ("mac action", ("00:0b:3B:7f:01:02", " 00-0b-3B-7f-01-02"), "Enter a MAC address such as 00:00:5E:00:53:01.",
             ("00:0b:3B:7f:01:0", "00:0g:3B:7f:01:02")),
            ("ipv4 action", ("192.168.1.1", " 192,168,1.1\t"), "Enter the IPv4 address of a device, such as 192.168.1.10.",
             ("192.168.1.256", "192.168.1", "192.168.1.1.1", "192.168.01.1", "192.168.1.-1", "127.0.0.1", "0.0.0.0",
              "224.0.0.1", "")),
            ("ipv4 action, 'optional': true", ("",), "", ()),
            ("ipv4 action, 'netmask': true", ("255.255.255.0", "255.255.255.255"),
             "Enter a network mask such as 255.255.255.0.", ("255.0.255.0", "0.0.0.0")))
        keys = [key(f"k{at}", text + ", 'action': 'restart'") for at, (text, *_) in enumerate(cases)]
        service = self.service(model=model(key("Check", "text read, 'source': 'setting-check'"), *keys))
        for at, (text, right, problem, wrong) in enumerate(cases):
            for value in (*right, *wrong):
                answer = service.ask(f"Check{{Key=k{at},Value={urllib.parse.quote(value)}}}")
                self.assertEqual(answer, problem if value in wrong else "", (text, value))
            self.assertIn(problem, messages(service.arguments["model"]))

    def test_networks(self):
        service = self.service()
        for address, mask, gateway, fits in rows("""
                192.168.1.5 => 255.255.255.0 => 192.168.1.1 => yes
                192.168.1.5 => 255.255.255.0 => 192.168.2.1 =>
                192.168.1.5 => 255.255.0.0 => 192.168.2.1 => yes
                192.168.1.5 => 255.255.255.0 => 192.168.1.5 =>
                192.168.1.0 => 255.255.255.0 => 192.168.1.1 =>
                192.168.1.5 => 255.255.255.0 => 192.168.1.255 =>
                192.168.1.5 => 255.255.255.252 => 192.168.1.6 => yes
                192.168.1.4 => 255.255.255.252 => 192.168.1.5 =>
                192.168.1.6 => 255.255.255.252 => 192.168.1.7 =>
                192.168.1.4 => 255.255.255.254 => 192.168.1.5 => yes
                """):
            answer = service.ask(f"set Network.Mode=static|Network.Address={address}|Network.Netmask={mask}|"
                                 f"Network.Gateway={gateway}")
            self.assertEqual(answer, "///" if fits else
                             "////Address and gateway must be different devices of one network.", (address, mask))


class Device(ServiceTest):
    def test_queries(self):
        service = self.service(IMPATIENT)
        self.device(service)
        self.expect(service, """
            System.ProductName => Vistel Powerline Adapter
            System.DeviceName;System.Led => Vistel|1
            HomePlug.Stations{Role=local}.Name => Vistel
            HomePlug.Stations{Role=local} => local|00:00:5E:00:53:01|Vistel|||2.3.1-02|0||||||
            HomePlug.Stations{MacAddress=00:00:5e:00:53:03}.Name => <script>alert("powerline")</script>
            HomePlug.Stations{Role=remote,MacAddress=00:00:5E:00:53:01}.Name =>
            HomePlug.Stations{Name=x%2CRole%3Dlocal%7D%3BSystem.DeviceName}.MacAddress =>
            HomePlug.Stations{Role=local}.Role:format=scalar => local
            HomePlug.Stations{Role=remote}.Role:format=scalar => remote,remote,remote,remote,remote,remote,remote
            HomePlug.Stations{Role=remote}:format=count;HomePlug.Stations{Role=x}:format=count => 7|0
            HomePlug.Stations{Name=%22%3E%3Cimg%20src%3Dx%20onerror%3Dalert%281%29%3E}.MacAddress => 00:00:5E:00:53:07
            HomePlug.Stations{Name=B%C3%BCro%20Gr%C3%B6%C3%9Fe%2C%201%2E%20Stock%3B%20%7BRole%3Dlocal%7D}.MacAddress
              => 00:00:5E:00:53:05
            System.Check{Key=System.Led,Value=on} => Choose 0 or 1.
            System.Check{Key=System.DeviceName} => Enter 1 to 63 characters.
            System.Check{Key=System.ConfigRestore.Password,Value=short} => Enter 8 to 64 characters.
            Network.Link;Network.CurrentAddress;Network.CurrentNetmask;Network.CurrentGateway
              => up|192.168.1.57|255.255.255.0|192.168.1.1
            System.Led;HomePlug.Stations{Role=remote}.Role;System.PowerSave
              => 1|remote|1/|remote|/|remote|/|remote|/|remote|/|remote|/|remote|
            Foo => [1: key 'Foo': There is no such key.]
            System.Led;Foo;System.Led => [1: key 'Foo': There is no such key.]
            System..Led=x => [1: key 'System..Led': The key is malformed.]
            HomePlug.NetworkPassword => [1: key 'HomePlug.NetworkPassword': The key cannot be read.]
            HomePlug.AddStation => [1: key 'HomePlug.AddStation': The key cannot be read.]
            HomePlug.NameStation.MacAddress => [1: key 'HomePlug.NameStation.MacAddress': The key cannot be read.]
            HomePlug.Stations{Foo=1} => [1: key 'HomePlug.Stations', 'Foo': There is no such column.]
            HomePlug.Stations{Role=local}.Foo => [1: key 'HomePlug.Stations', 'Foo': There is no such column.]
            System.Led{Role=local} => [1: key 'System.Led': The key is not a table.]
            System.Led:size=2 => [1: key 'System.Led', 'size': There is no such option.]
            System.Led:format=count => [1: key 'System.Led', 'format': The option does not take this value.]
            System.Led:format=xml => [1: key 'System.Led', 'format': The option does not take this value.]
            HomePlug.SNR:format=scalar => [1: key 'HomePlug.SNR': The device has no such value.]
            HomePlug.SNR{MacAddress=00:00:5E:00:53:01} => [1: key 'HomePlug.SNR': The device has no such value.]
            HomePlug.SNR{Role=local} => [1: key 'HomePlug.SNR', 'Role': There is no such selector.]
            System.Check{Value=1} => [1: key 'System.Check', 'Key': A selector is missing.]
            System.Check{Key=System.Led,Value=secret,More=secret}
              => [1: key 'System.Check', 'More': There is no such selector.]
            System.Check{Value=secret => [1: key 'System.Check': The key is malformed.]
            Model.Keys{Access=write-only};Model.Keys{Key=Model.Keys}.Limits;Model.Keys{Key=Network.Netmask}.Limits
              => HomePlug.NetworkPassword|password|write-only|8 to 64 characters. Use letters, digits and signs \
without accents only.|Secret of the powerline network; all its stations must have the same.|\
Key, Type, Access, Limits, Help|a network mask, or empty
            System.ConfigShow:secrets=include => [1: key 'System.ConfigShow', 'secrets': There is no such option.]
            HomePlug.Stations{Role=remote,Role=local}.Role;System.Check{Key=System.Led,Value=2,Value=1};System.Led => ||1
            HomePlug.Stations{Role=remote}.Role:format=table:format=scalar
              => remote,remote,remote,remote,remote,remote,remote
            System.ConfigShowCrypt => [1: key 'System.ConfigShowCrypt': No password is set.]
            """)
        self.assertEqual(service.ask("System.Led;" * 4096 + "System.Led"), "[1: There are more than 4096 keys.]")
        self.assertEqual(service.ask(";".join(["HomePlug.ToneMaps"] * 4096)),
                         "[1: key 'HomePlug.ToneMaps': The live values would be larger than 1048576 bytes.]")

    def test_batches(self):
        """A batch, its answer, and the device's name, mode and address afterwards."""
        service = self.service()
        for batch, answer, values in rows("""
                System.DeviceName=a => => a|dhcp|
                System.DeviceName= => Enter 1 to 63 characters. => a|dhcp|
                System.DeviceName=b|System.Led=on => /Choose 0 or 1. => a|dhcp|
                System.DeviceName=b|Network.Mode=static
                  => //A static address needs address, network mask and gateway. => a|dhcp|
                Network.Address=192.168.1.5|System.DeviceName=b => / => b|dhcp|192.168.1.5
                Network.Mode=static|Network.Netmask=255.255.255.0|Network.Gateway=10.0.0.1
                  => ///Address and gateway must be different devices of one network. => b|dhcp|192.168.1.5
                Network.Mode=static|Network.Netmask=255.255.255.0|Network.Gateway=192.168.1.1
                  => // => b|static|192.168.1.5
                Network.Address= => /A static address needs address, network mask and gateway. => b|static|192.168.1.5
                Network.Mode=dhcp|Network.Address= => / => b|dhcp|
                Foo=1 => There is no such setting. => b|dhcp|
                System.Uptime=1 => This value can only be read. => b|dhcp|
                HomePlug.Stations{Role=local}.Name=1 => This value can only be read. => b|dhcp|
                System.Led{A=1}=0 => A setting is set by its name alone. => b|dhcp|
                a b=1 => There is no such setting. => b|dhcp|
                System.DeviceName=x|System.DeviceName=y => /This setting is there twice. => b|dhcp|
                HomePlug.NetworkPassword=short => Enter 8 to 64 characters. => b|dhcp|
                HomePlug.NetworkPassword=long enough => => b|dhcp|
                """):
            self.assertEqual(service.ask("set " + batch), answer, batch)
            self.assertEqual(service.ask("System.DeviceName;Network.Mode;Network.Address"), values, batch)

    def test_actions(self):
        """
        A batch has one action with its own parameters, which runs only if all of them are correct. Rows of a
        batch, its answer, and the names of the cellar's and the garage's station afterwards, if they change.
        """
        service, names = self.service(), "Keller, hinter der Waschmaschine|"
        self.device(service)
        short = {"NAME": "HomePlug.NameStation", "STATION": "HomePlug.NameStation.MacAddress=00:00:5E:00:53",
                 "ADD": "HomePlug.AddStation", "ALONE": "An action must be sent alone, with its own values only.",
                 "TOGETHER": "This value must be sent together with its action.", "LONG": "x" * 63,
                 "HOSTILE": "</td>${x}<~ \"&' \u00fc {Role=local}; %41"}
        for batch, answer, *now in rows(re.sub("[A-Z]{3,}", lambda word: short.get(word[0], word[0]), r"""
                NAME=x|NAME.MacAddress=x => /Enter a MAC address such as 00:00:5E:00:53:01.
                NAME=x => A value that this action needs is missing.
                NAME=x|STATION:08|System.Led=0 => ALONE//
                NAME=x|STATION:08|Foo=1 => ALONE//There is no such setting.
                NAME=x|STATION:08|System.Restart=1 => ALONE//ALONE
                NAME=x|NAME=x|STATION:08 => /This setting is there twice./
                System.Led=0|System.Restart=1 => /ALONE
                System.Restart=1|STATION:08 => ALONE/TOGETHER
                System.Led=0|STATION:08 => /TOGETHER
                System.ConfigRestore=drop|System.ConfigRestore.Password=a => /Enter 8 to 64 characters.
                System.ConfigRestore.Password=long enough|System.ConfigRestore=drop => /
                System.ConfigRestore=now => Choose check, apply or drop.
                NAME=HOSTILE|NAME.MacAddress=00:00:5e:00:53:08 => / => HOSTILE|
                NAME=xLONG|STATION:08 => Enter at most 63 characters./
                NAME=a\tb|STATION:08 => Leave out the control characters./
                NAME=x|STATION:01 => The name of this adapter is one of the settings./
                NAME=x|STATION:09 => There is no adapter with this address./
                STATION:FF|NAME=x => /There is no adapter with this address.
                ADD=ABCD-EFGH => Enter four groups of four letters such as ABCD-EFGH-IJKL-MNOP.
                ADD=ABCD-EFGH-IJKL-MN<> => Enter four groups of four letters such as ABCD-EFGH-IJKL-MNOP.
                ADD=ABCD-EFGH-IJKL-MNOQ => No adapter answers to this device password.
                ADD= abcd EFGHi-jklMNOP => => HOSTILE|Garage
                ADD=ABCD-EFGH-IJKL-MNOP => This adapter is in the network already.
                NAME=LONG|STATION:09 => / => HOSTILE|LONG
                NAME=|STATION:08 => / => Keller, hinter der Waschmaschine|LONG
                !simulator name 00:00:5E:00:53:08=x => There is no such setting.
                """.replace("\\t", "\t"))):
            names = now[0] if now else names
            self.assertEqual(service.ask("set " + batch), answer, batch)
            self.assertEqual(service.ask("HomePlug.Stations{MacAddress=00:00:5E:00:53:08}.Name;"
                                         "HomePlug.Stations{MacAddress=00:00:5E:00:53:09}.Name"), names, batch)
        self.assertEqual(service.ask("HomePlug.ToneMaps").count("/"), 7)
        # Nonsense in the stored names would not reach a page.
        service.end()
        with closing(sqlite3.connect(service.folder / "settings.db", isolation_level=None)) as database:
            database.execute("UPDATE setting SET value = ? WHERE CAST(key AS TEXT) LIKE '!simulator name %09'",
                             (b"\xc3\xbc \xef\xbf\xbf\n\xc3",))
        service.start()
        eventually(lambda: service.ask("HomePlug.Stations{MacAddress=00:00:5E:00:53:09}.Name") == "\u00fc ?????")

    def test_restarts_resets_and_their_log(self):
        """Forgets stored names and settings; the log never holds their values."""
        service = self.service(IMPATIENT)
        self.device(service)
        look = ("System.DeviceName;System.Uptime;HomePlug.Stations{Role=local}.Uptime;HomePlug.Stations{MacAddress="
                "00:00:5E:00:53:08}.Name;HomePlug.Stations{MacAddress=00:00:5E:00:53:0A}.Name")
        other = "HomePlug.Stations{MacAddress=00:00:5E:00:53:02}.Uptime"
        self.expect(service, """
            set System.DeviceName=canary|HomePlug.NetworkPassword=canary word => /
            HomePlug.Stations{Role=remote}.Name =>
            set HomePlug.NameStation=feather|HomePlug.NameStation.MacAddress=00:00:5E:00:53:08
              => There is no adapter with this address./
            set HomePlug.AddStation=ABCD-EFGH-IJKL-MNOP =>
            HomePlug.Stations{Role=remote}.Name => Garage
            set HomePlug.NetworkPassword=HomePlugAV =>
            HomePlug.Stations{Name=Garage}.Name =>
            set System.DeviceName=canary =>
            set System.DeviceName=canary|System.Led=0 => /
            set HomePlug.NameStation=feather|HomePlug.NameStation.MacAddress=00:00:5E:00:53:08 => /
            set HomePlug.AddStation=QRST-UVWX-YZAB-CDEF =>
            """)
        service.clock(steady=1060)
        self.assertEqual(service.ask(look), 'canary|60|60|feather|Garten <&> "H\u00fctte"')
        uptime = service.ask(other)
        # A configuration, which may go to other devices, holds nothing about stations.
        exported = service.ask("System.ConfigShow")
        self.assertNotRegex(exported, "canary word|feather|00:00:5E")
        service.write("upload.bin", exported)
        self.expect(service, """
            set System.ConfigRestore=check =>
            set System.Restart=2 => Choose 1.
            System.ConfigPending => 1
            """)
        file = service.ask("System.AutoConfigShow")
        self.assertIn("<configuration", service.read(file))
        self.expect(service, "set System.Restart=1 =>\n System.ConfigPending => 0")
        self.assertIsNone(service.read(file))
        self.assertEqual(service.ask(look), 'canary|0|0|feather|Garten <&> "H\u00fctte"')
        self.assertEqual(service.ask(other), uptime)
        service.clock(1700000001, 1060)
        upload = service.write("upload.bin", "secret")
        self.assertEqual(service.ask("set System.FactoryReset=1"), "")
        self.assertFalse(upload.exists())
        self.assertEqual(service.ask(look), "Vistel|0|0|Keller, hinter der Waschmaschine|")
        self.assertNotIn("canary word", service.read("settings.db"))
        started = "The device started with this firmware:|2.3.1-02"
        self.assertEqual(["|".join(row.split("|")[5:7]) for row in service.ask("System.Log").split("/")], [
            started,
            "All settings have their factory values again.|",
            started,
            "This adapter was added:|00:00:5E:00:53:0A",
            "This adapter was named:|00:00:5E:00:53:08",
            "This setting was changed:|System.Led",
            "This setting was changed:|HomePlug.NetworkPassword",
            "This adapter was added:|00:00:5E:00:53:09",
            "This setting was changed:|HomePlug.NetworkPassword",
            "This setting was changed:|System.DeviceName",
            started])
        # The times of the same events move with the zone.
        look = "System.Log{Number=1};System.Clock"
        self.assertEqual(service.ask(look), "2023-11-14 22:13:21|The device started with this firmware: 2.3.1-02.|1|"
                         f"2023-11-14 23:13:21|+01:00|{started}|2023|11|14|23:13|Europe/Berlin|2023-11-14|23:13:21|+01:00")
        self.expect(service, """
            set System.TimeZone=Europe/Atlantis => Enter a time zone such as Europe/Berlin.
            set System.TimeZone=Asia/Calcutta =>
            System.Log{Number=2}.Local => 2023-11-15 03:43:21
            System.TimeZones{Area=Asia,Name=Asia/Calcutta}.Name =>
            System.TimeZones{Name=America/Argentina/Buenos_Aires} => America/Argentina/Buenos_Aires|America|Buenos Aires, Argentina|19:13
            System.TimeZones{Area=}.Name => UTC
            """)


    def test_keys_of_some_clients_only(self):
        text = json.loads(PRODUCT.read_text())
        text["keys"].append({"key": "Owner.Led", "type": "boolean", "access": "read-write", "default": "0",
                             "clients": ["Owner"]})
        service = self.service(model=json.dumps(text))
        service.write("upload.bin", "<configuration format='1' device='Vistel' model='1'>"
                                    "<setting key='Owner.Led'>1</setting></configuration>")
        self.expect(service, """
            Owner.Led => [1: key 'Owner.Led': This is not open to this client.]
            set Owner.Led=1 => This is not open to this client.
            Model.Keys{Key=Owner.Led} =>
            """)
        self.expect(service, "set System.ConfigRestore=check =>\n System.ConfigChanges => Owner.Led|0|1|0",
                    client="Owner")
        self.expect(service, "System.ConfigPending => 1\n System.ConfigChanges =>")
        self.expect(service, "set Owner.Led=1 =>\n System.Changes{Number=2}.Key => Owner.Led", client="Owner")
        self.expect(service, "System.Changes =>\n set System.Undo=2 => This is not open to this client.")

    def test_the_powerline(self):
        """The same second of the same seed looks the same, and such as a network does."""
        one, same, other = (self.service(IMPATIENT) for _ in range(3))
        for service, seed in ((one, "7"), (same, "7"), (other, "8")):
            self.device(service, "--seed", seed)
        columns = ("MacAddress", "TxRate", "MeanSnr", "Uptime", "TxFrames", "RxFrames", "TxErrors")
        look = ";".join("HomePlug.Stations{Role=remote}." + column for column in columns)
        stations = lambda service: [row.split("|") for row in service.ask(look).split("/")]
        before = stations(one)
        self.assertEqual(before, stations(same))
        self.assertNotEqual([row[2] for row in before], [row[2] for row in stations(other)])
        for minute in range(1, 6):
            # The time of day is set back repeatedly, without an effect on counts.
            one.clock(1700000000 - 300 * minute, 1000 + 60 * minute)
            self.assertEqual(one.ask("System.Uptime;HomePlug.Stations{Role=local}.Uptime"), f"{60 * minute}|{60 * minute}")
            after = stations(one)
            self.assertEqual(len({row[0] for row in after}), 7)
            rates = sorted(int(row[1]) for row in after)
            self.assertTrue(1 <= rates[0] and rates[1] < 50 <= rates[2] and rates[-1] <= 200, rates)
            self.assertNotEqual([row[2] for row in before], [row[2] for row in after])
            for old, new in zip(before, after):
                self.assertEqual(int(old[3]) + 60, int(new[3]))
                self.assertTrue(all(int(old[at]) <= int(new[at]) for at in (4, 5, 6)), (old, new))
            before = after
        self.assertRegex(one.ask("HomePlug.ToneMaps"), r"\A([0-9A-F:]{17}(\|[0-9a]{1155}){2}(/|\Z)){7}\Z")
        self.assertRegex(one.ask("HomePlug.OutputPower"), r"\A([0-4]?\d?\d(,|\Z)){1155}\Z")
        key = "HomePlug.SNR{MacAddress=00:00:5e:00:53:03}:format=scalar"
        file = one.ask(key)
        self.assertRegex(file, f"^{one.folder}/files/snr-")
        decibels = struct.unpack(BYTE_ORDER + "1155d", encode(one.read(file)))
        self.assertTrue(0 <= min(decibels) and 10 < max(decibels) <= 60)
        # A failed query leaves no file.
        self.assertEqual(one.ask(";".join([key] * 9)),
                         "[1: key 'HomePlug.SNR': The query asks for more files than one may, which is 8.]")
        self.assertEqual(one.ask("System.AutoConfigShow;Foo"), "[1: key 'Foo': There is no such key.]")
        self.assertEqual([str(path) for path in (one.folder / "files").iterdir()], [file])
