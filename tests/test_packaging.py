# SPDX-License-Identifier: MIT
"""
Compares the package definitions that can't be built here with the build: paths, settings, versions, and the form that
packaging/README.md describes.
"""
import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

from program import SOURCE

BUILD = Path(os.environ.get("VISTEL_TEST_RELEASE_DIR", SOURCE / "build/release"))  # at its real paths
OPENWRT, BUILDROOT = SOURCE / "packaging/openwrt", SOURCE / "packaging/buildroot/vistel"
MAKEFILE, MK, CONFIG = OPENWRT / "Makefile", BUILDROOT / "vistel.mk", BUILDROOT / "Config.in"
SCRIPTS = [OPENWRT / "files/sysmgrd.init", BUILDROOT / "S60sysmgrd"]
SYSTEM = {"/etc/init.d", "/etc/rc.common", "/bin/sh", "/dev/urandom", "/usr"}  # of the device itself


def settings(text):
    return set(re.findall(r"\b(?:VISTEL|GIF)_[A-Z_]+(?==)", " ".join(re.findall(r"-D(\S+)", text))))


class Definitions(unittest.TestCase):
    def test_paths(self):
        cache = re.findall("^VISTEL_.*:.*=(/.*)$", (BUILD / "CMakeCache.txt").read_text(), re.M)
        with tempfile.TemporaryDirectory() as root:
            for component in ("product", "service"):
                subprocess.run(["cmake", "--install", BUILD, "--component", component], check=True, capture_output=True,
                               env={**os.environ, "DESTDIR": root})
            known = {"/" + str(file.relative_to(root)) for file in Path(root).rglob("*")}
        known |= SYSTEM | {str(folder) for path in cache for folder in (Path(path), *Path(path).parents)}
        for file in (MAKEFILE, MK, *SCRIPTS):
            text = file.read_text().replace("$DAEMON", "sysmgrd")
            chosen = set(re.findall(r"-DVISTEL_[A-Z_]+=(/\S+)", MAKEFILE.read_text())) if OPENWRT in file.parents else set()
            ours = known | chosen | {str(Path(path).parent) for path in chosen}
            # What one of the definition's own lines puts there.
            ours |= {"/etc/init.d/" + name for name in re.findall(r"init\.d/(\w+)", text)}
            ours |= set(re.findall(r"^PIDFILE=(.*)$", text, re.M))
            paths = re.findall(r"(?<![\w.$)}@/:%])/(?:etc|usr|var|dev|bin|lib|tmp)\b[\w./$-]*", re.sub("^#(?!!).*", "", text, flags=re.M))
            paths += ["/" + path for path in re.findall(r"\$\((?:TARGET_DIR|1)\)/([\w./-]+)", text)]
            paths += re.findall(r"/(?:product|service)(/[\w./-]+)", text)
            self.assertTrue(paths)
            for path in paths:
                self.assertIn(path.rstrip("/"), ours, file)

    def test_settings_and_versions(self):
        documented = set(re.findall("`([A-Z_]+)`", (SOURCE / "docs/settings.md").read_text()))
        version = re.search(r"project\(vistel VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text())[1]
        for file, pattern in ((MAKEFILE, r"^PKG_VERSION:=(.*)$"), (MK, r"^VISTEL_VERSION = (.*)$")):
            text = file.read_text()
            self.assertTrue(settings(text))
            self.assertLessEqual(settings(text), documented, file)
            self.assertEqual(re.search(pattern, text, re.M)[1], version)
            for name in re.search(r"LICENSE_FILES ?:?= ?(.*)", text)[1].split():
                self.assertTrue((SOURCE / name).is_file(), name)
        self.assertIn(f"vistel-{version}.tar.gz", (BUILDROOT / "vistel.hash").read_text())

    def test_form(self):
        for file in SCRIPTS:
            subprocess.run(["sh", "-n", file], check=True)
            self.assertTrue(os.access(file, os.X_OK), file)
        for file in (MAKEFILE, MK, CONFIG, *SCRIPTS):
            self.assertNotRegex(file.read_text(), r"[ \t]\n", file)
            self.assertRegex(file.read_text(), "NOT\\s(#\\s)?(BUILT|RUN)", file)
        makefile = MAKEFILE.read_text()
        for name in ("NAME", "VERSION", "RELEASE", "LICENSE", "LICENSE_FILES", "MAINTAINER"):
            self.assertRegex(makefile, f"(?m)^PKG_{name}:=.+$")
        defined = set(re.findall(r"^define Package/([\w-]+)$", makefile, re.M))
        self.assertEqual(defined, set(re.findall(r"call BuildPackage,([\w-]+)\)", makefile)))
        for body in re.findall(r"^define Package/[\w-]+(?:/Default)?\n(.*?)^endef", makefile, re.M | re.S):
            for line in body.splitlines():
                self.assertRegex(line, r"^(  [A-Z]+:=|\$\(call )")
        for body in re.findall(r"^define (?:Build|Package/[\w-]+)/[iI]nstall\n(.*?)^endef", makefile, re.M | re.S):
            self.assertTrue(all(line.startswith("\t") for line in body.splitlines()), body)
        mk = MK.read_text()
        self.assertEqual(mk.split("\n")[:5], ["#" * 80, "#", "# vistel", "#", "#" * 80])
        for name, space in re.findall(r"^(\w+)(\s*)[:+?]?=", mk, re.M):
            self.assertTrue(name.startswith("VISTEL_") and space == " ", name)
        self.assertNotRegex(mk, r"(?m)\\\n(?!\t)")
        for line in CONFIG.read_text().splitlines():
            self.assertRegex(line, "^(#.*|config .*|comment .*|if .*|endif|\t\\S.*|\t  \\S.*|)$")
            self.assertLessEqual(len(line.expandtabs(8)), 72 if line.startswith("\t  ") else 90)
