# SPDX-License-Identifier: MIT
"""
What the site tells programs about the device. The pages are tested in a browser.
"""
import json
import unittest
import urllib.request
from xml.etree import ElementTree

from served import served

HOSTILE_NAMES = {'"><img src=x onerror=alert(1)>', '<script>alert("powerline")</script>'}


class Site(unittest.TestCase):
    def test_values_for_programs(self):
        with served() as (address, _):
            with urllib.request.urlopen(address + "?_file=getjson&_lang=de") as response:
                self.assertEqual(response.headers["Content-Type"], "text/javascript")
                values = json.load(response)
            with urllib.request.urlopen(address + "?_file=sysinfo") as response:
                self.assertEqual(response.headers["Content-Type"], "text/xml")
                system = ElementTree.parse(response)
        columns, *stations = values["stations"]
        names = {dict(zip(columns, station))["name"] for station in stations}
        self.assertGreater(names, HOSTILE_NAMES)
        self.assertLess(names, {name.text for name in system.findall("powerline/station/name")})
        self.assertTrue(values["system"]["product"])
        self.assertEqual(system.findtext("product"), values["system"]["product"])
        self.assertIn(system.find("network").get("link"), ("up", "down"))


if __name__ == "__main__":
    unittest.main()
