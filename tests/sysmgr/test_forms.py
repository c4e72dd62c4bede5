# SPDX-License-Identifier: MIT
"""What pages' forms gain from tickets, changes that are taken back, and addresses on trial."""
import signal

from service import IMPATIENT, Client, ServiceTest, eventually, key, model, text_key

DONE = "This was done already, and is not done again."
OLD = "This page was out of date, so nothing was done. Look at what is in force now and send it again."
MOVED = "Some of these settings were changed elsewhere after the page was opened."
ELSEWHERE = "This was changed elsewhere after the page was opened. Send it again to keep what you have entered."
UNSAVED = "This could not be saved: the storage reports an error."
NOTHING = "There is nothing to confirm: the settings are in force for good, or the former ones have returned."
STATIC = "Network.Mode=static|Network.Address=192.168.1.9|Network.Netmask=255.255.255.0|Network.Gateway=192.168.1.1"


class Forms(ServiceTest):
    def test_a_form_is_done_once(self):
        service = self.service()
        self.device(service)
        ticket = service.ask("System.Ticket")
        # What was refused leaves the ticket as it was; a repetition, even one that overtakes, does nothing.
        self.assertEqual(service.ask(f"set System.Led=on|System.Ticket={ticket}"), "Choose 0 or 1./")
        batch = service.message(f"set System.Led=0|System.Ticket={ticket}")
        self.assertEqual([service.client.ask(batch + batch), service.client.ask()], ["/", f"/{DONE}"])
        # Who goes back to the page can send something else from it.
        self.assertEqual(service.ask(f"set System.Led=1|System.Ticket={ticket}"), "/")
        for ticket, batch, answer in (("", "Restart", ""), ("", "FactoryReset", "")):
            ticket = service.ask("System.Ticket")
            for expected in (answer, DONE):
                self.assertEqual(service.ask(f"set System.Ticket={ticket}|System.{batch}=1"), f"{expected}/")
        # A device password that nobody has is refused, and can be sent again; its parameters are no secret of tickets.
        ticket = service.ask("System.Ticket")
        station = "HomePlug.NameStation.MacAddress=00-00-5e-00-53-08"
        for name, answer in (("a\tb", "/Leave out the control characters./"), ("Cellar", "//"), ("Cellar", f"{DONE}//")):
            self.assertEqual(service.ask(f"set System.Ticket={ticket}|HomePlug.NameStation={name}|{station}"), answer)
        self.assertEqual(service.ask("System.Actions").split("/")[0], f"HomePlug.NameStation||0|{ticket}")
        self.assertEqual(service.ask("System.Actions{Key=System.FactoryReset}.Value"), "1")
        # Nobody else's tickets, and none of before the service's own start.
        last = service.ask("System.Ticket").split("-")
        for wrong in ("", "1", f"{last[0]}-{int(last[1]) + 1}-1-1", f"{last[0]}-0-1-1", "-".join(last[:3]), f"{'-'.join(last)}-1"):
            self.assertEqual(service.ask(f"set System.Ticket={wrong}|System.Restart=1"), f"{OLD}/", wrong)
        service.restart()
        service.ask(";".join(["System.Ticket"] * int(last[1])))
        self.assertEqual(service.ask(f"set System.Ticket={'-'.join(last)}|System.Restart=1"), f"{OLD}/")

    def test_two_tabs(self):
        """An old page stores what was entered there, and nothing else; what both have changed is asked for."""
        service = self.service()
        old, new = service.ask("System.Ticket"), service.ask("System.Ticket")
        self.expect(service, f"""
            set System.DeviceName=Attic|System.Led=1|System.Ticket={new} => //
            set System.DeviceName=Vistel|System.Led=0|HomePlug.NetworkPassword=|System.Ticket={old} => ///
            System.DeviceName;System.Led => Attic|0
            System.Changes{{Form={old}}} => 3|0|{old}|System.Led|1|0|0|1
            """)
        # On a third one, opened before both, another name was entered.
        third = f"{old.split('-')[0]}-1-1-1"
        service.ask(f"set System.PowerSave=0|System.Ticket={service.ask('System.Ticket')}")
        late = service.ask(f"System.Ticket{{Again={third}}}").rsplit("-", 1)[0] + "-1"
        fields = "set System.DeviceName=Cellar|System.Led=1|System.PowerSave=1"
        self.assertEqual(service.ask(f"{fields}|System.Ticket={late}"), f"{ELSEWHERE}///{MOVED}")
        again = service.ask(f"System.Ticket{{Again={late}}}")
        self.expect(service, f"""
            System.DeviceName;System.Led;System.PowerSave => Attic|0|0
            {fields}|System.Ticket={again} => ///
            System.DeviceName;System.Led;System.PowerSave => Cellar|0|0
            """)
        # Two at the same moment, of which neither finds the other's value on the disk yet.
        pages = [service.ask("System.Ticket") for _ in range(2)]
        both = b"".join(service.message(f"set System.DeviceName={page[-3:]}{at}|System.Ticket={page}")
                        for at, page in enumerate(pages))
        self.assertEqual([service.client.ask(both), service.client.ask()], ["/", f"{ELSEWHERE}/{MOVED}"])

    def test_a_change_is_taken_back(self):
        service = self.service(IMPATIENT)
        service.clock(steady=2000)
        for batch in ("HomePlug.NetworkPassword=long enough|System.DeviceName=Attic", "System.Led=0", "System.DeviceName=Roof"):
            self.assertIn(service.ask("set " + batch), ("", "/"))
        service.clock(steady=2599)
        secrets = "HomePlug.NetworkPassword|||1"
        self.expect(service, f"""
            System.Changes => 4|599||System.DeviceName|Attic|Roof|0|1/3|599||System.Led|1|0|0|1\
/2|599||{secrets}|0/2|599||System.DeviceName|Vistel|Attic|0|0
            set System.Undo=2 => These settings were changed again since then, so nothing was undone.
            set System.Undo=4 =>
            set System.Undo=2 =>
            System.DeviceName;System.FactorySecrets => Vistel|1
            set System.Undo=6 =>
            System.DeviceName;System.FactorySecrets => Attic|0
            set System.Undo=99 => This can no longer be undone.
            """)
        service.clock(steady=2600)
        self.assertEqual(service.ask("set System.Undo=3"), "This can no longer be undone.")
        self.assertEqual(service.ask("System.Changes{Number=3}.Undo"), "0")
        service.ask("set System.FactoryReset=1")
        self.assertEqual(service.ask("System.Changes"), "")

    def test_what_is_forgotten(self):
        """Uses of tickets, values of long ago, and actions. What the service doesn't know counts as changed."""
        service = self.service()
        old, *tickets = service.ask(";".join(["System.Ticket"] * 1026)).split("|")
        batches = ["System.Led=0", *(f"System.Led=0|System.Ticket={ticket}" for ticket in tickets),
                   *(f"System.DeviceName={i}" for i in range(64)), *["System.Restart=1"] * 17]
        self.assertEqual({service.ask("set " + batch) for batch in batches}, {"", "/"})
        refused = f"set System.Undo=99|System.Ticket={service.ask('System.Ticket')} => This can no longer be undone./"
        self.expect(service, f"""
            System.Actions:format=count;System.Changes:format=count => 16|64
            set System.Led=0|System.Ticket={tickets[0]} => /{OLD}
            set System.Led=1|System.Ticket={old} => /{OLD}
            set System.Led=1|System.Ticket={service.ask("System.Ticket").rsplit("-", 2)[0]}-1-1 => {ELSEWHERE}/{MOVED}
            {refused}
            {refused}
            """)
        # Two changes of 60 KB to the same have room.
        large = self.service(model=model(text_key("a"), key("Changes", "table read, 'source': 'changes', 'columns': "
                                                            "[{'name': 'Number', 'type': 'text'}]")))
        self.assertEqual([large.ask("set a=" + letter * 60000) for letter in "wxyz"], [""] * 4)
        self.assertEqual(large.ask("Changes"), "5/4")


class Trial(ServiceTest):
    def on_trial(self, service):
        return service.ask("Network.TrialSeconds;Network.Mode;Network.Address")

    def test_an_address_that_nobody_confirms_goes(self):
        service = self.service(IMPATIENT)
        self.device(service)
        self.expect(service, f"""
            Network.TrialSeconds;Network.TrialSettings => |||
            set Network.Trial=keep => {NOTHING}
            set {STATIC.replace("=192.168.1.9", "= 192,168.1.9 ")} => ///
            Network.TrialSettings => Network.Mode|dhcp|static/Network.Address||192.168.1.9/\
Network.Netmask||255.255.255.0/Network.Gateway||192.168.1.1
            System.Log{{Subject=120}}.Sentence
              => A change of the address is on trial. Without a confirmation the former one returns after this many seconds:
            """)
        eventually(lambda: service.ask("Network.CurrentAddress") == "192.168.1.9")
        service.clock(steady=1119)
        # Another change begins the time anew; the settings that return are still the ones from before both.
        self.assertEqual(self.on_trial(service), "1|static|192.168.1.9")
        self.assertEqual(service.ask("set Network.Address=192.168.1.10"), "")
        self.assertEqual(self.on_trial(service), "120|static|192.168.1.10")
        # So does a start of the service, whichever way it has ended.
        service.end(signal.SIGKILL)
        service.clock(steady=5000)
        service.start()
        self.assertEqual(self.on_trial(service), "120|static|192.168.1.10")
        # What can't be stored is tried again.
        usual = service.limit_files(4000)  # the log has room
        service.clock(steady=5120)
        eventually(lambda: service.read("log").count("settings are not stored") > 1)
        self.assertEqual(self.on_trial(service), "0|static|192.168.1.10")
        service.limit_files(usual)
        eventually(lambda: self.on_trial(service) == "|dhcp|")
        eventually(lambda: service.ask("Network.CurrentAddress") == "192.168.1.57")
        self.expect(service, f"""
            System.Log{{Text=The change of the address was not confirmed. The former one is in force again.}}.Time
              => 2023-11-14 22:13:20
            set Network.Trial=return => {NOTHING}
            """)

    def test_kept_returned_and_taken_back(self):
        service = self.service(IMPATIENT)
        steps = ((STATIC, "120|static|192.168.1.9"), ("Network.Trial=keep", "|static|192.168.1.9"),
                 ("Network.Mode=dhcp", "120|dhcp|192.168.1.9"), ("Network.Trial=return", "|static|192.168.1.9"),
                 ("Network.Address=192.168.1.7", "120|static|192.168.1.7"), ("System.Undo=5", "|static|192.168.1.9"),
                 # Taking back what was confirmed is a change like any other.
                 ("Network.Address=192.168.1.8", "120|static|192.168.1.8"), ("Network.Trial=keep", "|static|192.168.1.8"),
                 ("System.Undo=7", "120|static|192.168.1.9"), ("System.FactoryReset=1", "|dhcp|"))
        for batch, state in steps:
            self.assertEqual(service.ask("set " + batch).strip("/"), "", batch)
            self.assertEqual(self.on_trial(service), state, batch)
        service.ask("set " + STATIC)
        usual = service.limit_files(1)
        for value in ("keep", "return"):
            self.assertEqual(service.ask("set Network.Trial=" + value), UNSAVED)
        service.limit_files(usual)
        self.assertEqual(self.on_trial(service), "120|static|192.168.1.9")
        log = service.ask("System.Log")
        self.assertEqual([log.count(f"The change of the address was {what}.") for what in ("confirmed", "taken back")],
                         [4, 2])  # in two columns

    def test_two_answers_at_once(self):
        """The one that comes while the other is on its way to the disk finds that decided."""
        service = self.service(before=["env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-D", "-f", "-e", "fsync,fdatasync",
                                       "-o", "syncs", "-e", "inject=fsync,fdatasync:delay_exit=300000"])
        for batch, values, state in ((STATIC, ("keep", "return"), "|static|192.168.1.9"), ("Network.Mode=dhcp", ("return", "keep"), "|static|192.168.1.9"),
                                     ("Network.Mode=dhcp", ("keep", "keep"), "|dhcp|192.168.1.9")):
            self.assertEqual(service.ask("set " + batch).strip("/"), "")
            clients = [Client(service).send(service.message("set Network.Trial=" + value)) for value in values]
            self.assertEqual([client.ask() for client in clients], ["", NOTHING], values)
            self.assertEqual(self.on_trial(service), state)
