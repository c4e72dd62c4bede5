# SPDX-License-Identifier: MIT
"""
The sentences of the system manager and its client library that pages can show, in the catalogues and in
the template for translators.
"""
import json
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

from program import BUILD, SOURCE, run

ENVIRONMENT = {"PATH": "/usr/bin:/bin", "ASAN_OPTIONS": "detect_leaks=0"}  # a library of others leaks
VISTEL = BUILD / "author/vistel"
SYSMGRD = BUILD / "sysmgr/sysmgrd"
MODEL = SOURCE / "sysmgr/model.json"


def messages_of(model):
    return subprocess.run([SYSMGRD, "--messages", "--model", model], check=True,
                          capture_output=True, text=True).stdout.splitlines()


class Catalogues(unittest.TestCase):
    def test_messages_come_with_their_actions(self):
        for action, message in (("config-restore", "No file has been uploaded."),
                                ("config-restore", "The configuration holds no settings."),
                                ("firmware-update", "No file has been uploaded."),
                                ("firmware-update", "The firmware image is cut off."),
                                ("firmware-update", "A firmware image is being installed."),
                                ("restart", "A firmware image is being installed."),
                                ("factory-reset", "A firmware image is being installed.")):
            with tempfile.TemporaryDirectory() as folder:
                for named in (action, "another"):
                    key = {"key": "Do", "type": "boolean", "access": "action", "action": named}
                    model = Path(folder, "model.json")
                    model.write_text(json.dumps({"device": "d", "version": 1, "keys": [key]}))
                    self.assertEqual(message in messages_of(model), named == action, (action, message))

    def test_texts_and_translations(self):
        messages = messages_of(MODEL)
        self.assertEqual(messages, sorted(set(messages)))
        for message in messages:
            self.assertRegex(message, "^[A-Z][^<>&\"'%]*[.:]$")
        library = re.sub(r'"\s*"', "", (SOURCE / "platform/SysMgrProxy.cpp").read_text())
        # vistel check compares the catalogues with these texts.
        template = run([VISTEL, "strings", "--root", SOURCE / "site", "--model", MODEL, "--sentences", SYSMGRD],
                       ENVIRONMENT).output
        texts = set(re.findall(r'^msgid "(.+)"$', re.sub(r'"\n"', "", template.replace('msgid ""\n"', 'msgid "')), re.M))
        self.assertGreater(len(texts), 300)
        self.assertLessEqual(set(messages) | set(re.findall(r'"(The system manager [^"]*\.)"', library)), texts)
        for file in (SOURCE / "site/locale").glob("*.po"):
            language, catalogue = file.stem, file.read_text()
            known = set(re.findall(r'^msgid "(.+)"\nmsgstr ".+"$', catalogue, re.M))
            self.assertEqual(len(known), catalogue.count("\nmsgid ") - 1, language)
            self.assertEqual(set(messages) - known, set(), language)
            if language == "fr":  # a no-break space, so that no line begins with the sign
                self.assertEqual(re.findall(r'^msgstr ".*[^\xa0][:;?!](?=[ "]).*', catalogue, re.M), [])
