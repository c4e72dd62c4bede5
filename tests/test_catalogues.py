# SPDX-License-Identifier: MIT
"""
Every text of the templates and every sentence that the system manager or its client library can put
on a page has its translations, and the catalogues hold nothing else.
"""
import json
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

from program import BUILD, SOURCE

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
            self.assertRegex(message, "^[A-Z][^<>&\"'%]*\\.$")
        library = re.sub(r'"\s*"', "", (SOURCE / "platform/SysMgrProxy.cpp").read_text())
        texts = set(re.findall(r'"(The system manager [^"]*\.)"', library))
        for file in (SOURCE / "site/wgl").rglob("*.wgl"):
            texts |= set(re.findall(r"<~\s*trans\s+`([^`$]*)`", file.read_text()))
        self.assertGreater(len(texts), 100)
        for language in ("en", "de", "fr"):
            catalogue = (SOURCE / f"site/locale/{language}.po").read_text()
            known = set(re.findall(r'^msgid "(.+)"\nmsgstr ".+"$', catalogue, re.M))
            self.assertEqual(len(known), catalogue.count("\nmsgid ") - 1, language)
            self.assertEqual(known - texts - set(messages), set(), language)
            self.assertEqual(set(messages) - known, set(), language)
            if language != "en":  # where a text is its own translation
                self.assertEqual(texts - known, set(), language)
            if language == "fr":  # a no-break space, so that no line begins with the sign
                self.assertEqual(re.findall(r'^msgstr ".*[^\xa0][:;?!](?=[ "]).*', catalogue, re.M), [])
