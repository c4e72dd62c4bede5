# SPDX-License-Identifier: MIT
"""
Correct and faulty firmware images, and their installation.
"""
import ctypes
import hashlib
import json
import os
import re
import shutil
import signal
import subprocess
import tempfile
from pathlib import Path

from service import IMPATIENT, PRODUCT, SOURCE, ServiceTest, encode, eventually, rows

NO_IMAGE = "This file is no firmware image."
CUT = "The firmware image is cut off."
LOOK = "System.FirmwareState;System.FirmwareProgress;System.Firmware;System.FirmwareImage{Model=Vistel}.Version"


SODIUM = ctypes.CDLL("libsodium.so.23")
PUBLIC, SECRET = ctypes.create_string_buffer(32), ctypes.create_string_buffer(64)
SODIUM.crypto_sign_seed_keypair(PUBLIC, SECRET, bytes(range(32)))


def sign(checksum):
    line, signature = f"VISTEL-FIRMWARE {checksum}\n".encode(), ctypes.create_string_buffer(64)
    SODIUM.crypto_sign_detached(signature, None, line, ctypes.c_ulonglong(len(line)), SECRET)
    return signature.raw.hex()


class FirmwareTest(ServiceTest):
    """Devices that trust the key of these tests."""

    def service(self, *arguments, **options):
        folder = tempfile.mkdtemp(prefix="vistel-keys-")
        self.addCleanup(shutil.rmtree, folder)
        Path(folder, "maker.pub").write_text(PUBLIC.raw.hex() + "\n")
        return super().service(*arguments, **{"firmware-keys": folder}, **options)


def image(payload=b"hello!", version="2.4.0", lines=None):
    """An image with these lines, the right checksum for "*" and its signature for "@", made without the code that
    reads images."""
    lines = lines or f"VISTEL-FIRMWARE 1\nModel: Vistel\nVersion: {version}\nLength: {len(payload)}\nSHA-256: *\n" \
        "Signature: @\n"
    hashed = "".join(line for line in lines.splitlines(keepends=True) if not re.match("SHA-256: [*]|Signature", line))
    digits = hashlib.sha256(encode(hashed + "\n") + payload).hexdigest()
    return encode(lines.replace("*", digits).replace("@", sign(digits)) + "\n") + payload


class Images(FirmwareTest):
    def setUp(self):
        self.device = self.service(IMPATIENT)

    def check(self, content):
        """The answer to a check; after a success, the waiting version in angle brackets."""
        self.device.write("upload.bin", content)
        answer = self.device.ask("set System.FirmwareUpdate=check")
        return answer or f"<{self.device.ask('System.FirmwareImage{Model=Vistel}.Version')}>"

    def test_headers(self):
        """Lines with ";" after each, "~" for a carriage return; F, M, V, L and S for right ones, 0 for a wrong sum."""
        right = {"F": "VISTEL-FIRMWARE 1", "M": "Model: Vistel", "V": "Version: 2.4.0", "L": "Length: 6",
                 "S": "SHA-256: *", "G": "Signature: @", "0": "SHA-256: " + "0" * 64}
        for text, answer, *line in rows(f"""
                F;M;V;L;S;G; => <2.4.0>
                F;G;S;L;V;M; => <2.4.0>
                F;M;V;L;S; => The firmware image is not signed.
                F;M;V;L;S;Signature: {'0' * 128}; => The firmware image is not signed by the maker of this device.
                F;M;V;L;S;G;G; => The header of the firmware image holds a line twice. => Signature
                F;M;V;L;S;Signature: 00; => The header of the firmware image holds a faulty line. => Signature: 00
                ; => {NO_IMAGE}
                GIF89a;M;V;L;S; => {NO_IMAGE}
                VISTEL-FIRMWARE x; => {NO_IMAGE}
                VISTEL-FIRMWARE 1234567890; => {NO_IMAGE}
                VISTEL-FIRMWARE 2;Something: new;
                  => The header of the firmware image is of a version that this device does not know. => VISTEL-FIRMWARE 2
                VISTEL-FIRMWARE 1~;M;V;L;S; => The header of the firmware image holds an unknown line.
                F;M~;V~;L~;0~;~; => The header of the firmware image holds an unknown line.
                F;Model:Vistel; => The header of the firmware image holds an unknown line. => Model:Vistel
                F;Colour: red; => The header of the firmware image holds an unknown line. => Colour: red
                F;V;L;S; => The header of the firmware image lacks a line. => Model
                F;M;L;S; => The header of the firmware image lacks a line. => Version
                F;M;V;S; => The header of the firmware image lacks a line. => Length
                F;M;V;L; => The header of the firmware image lacks a line. => SHA-256
                F;M;M;V;L;S; => The header of the firmware image holds a line twice. => Model
                F;M;V;V;L;S; => The header of the firmware image holds a line twice. => Version
                F;M;V;L;L;S; => The header of the firmware image holds a line twice. => Length
                F;M;V;L;0;S; => The header of the firmware image holds a line twice. => SHA-256
                F;Model: ; => The header of the firmware image holds a faulty line. => Model:
                F;Model: <b>; => The header of the firmware image holds a faulty line. => Model: <b>
                F;Model: {'a' * 64}; => The header of the firmware image holds a faulty line. => Model: {'a' * 56}
                F;Version: 1 2; => The header of the firmware image holds a faulty line. => Version: 1 2
                F;Length: 0; => The header of the firmware image holds a faulty line. => Length: 0
                F;Length: 06; => The header of the firmware image holds a faulty line. => Length: 06
                F;Length: -6; => The header of the firmware image holds a faulty line. => Length: -6
                F;Length: 99999999999999999999; => The header of the firmware image holds a faulty line.
                  => Length: 99999999999999999999
                F;SHA-256: {'A' * 64}; => The header of the firmware image holds a faulty line. => SHA-256: {'A' * 54}
                F;SHA-256: 00; => The header of the firmware image holds a faulty line. => SHA-256: 00
                F;{'x' * 2000}; => The header of the firmware image is too long.
                F;Model: Other 2;V;L;S; => The firmware image is for another device. => Model: Other 2
                F;M;V;Length: 6291455;S; => The firmware image is too large.
                F;M;V;Length: 7;S; => {CUT}
                F;M;V;Length: 5;S; => The firmware image is longer than its header says.
                F;M;V;L;0; => The firmware image is damaged: its SHA-256 checksum is another one.
                """):
            lines = re.sub("[^;~]+", lambda word: right.get(word[0], word[0]), text)
            self.assertEqual(self.check(image(lines=lines.replace(";", "\n").replace("~", "\r"))), answer, text)
            self.assertEqual(self.device.ask("System.FirmwareFault").strip(), "".join(line))
        for line in ("set System.FirmwareUpdate=check => No file has been uploaded.",
                     "set System.FirmwareUpdate=drop =>", "set System.Restart=1 =>"):
            self.check(b"VISTEL-FIRMWARE 2\n\n")
            self.expect(self.device, f"System.FirmwareFault => VISTEL-FIRMWARE 2 \n {line} \n System.FirmwareFault =>")

    def test_cut_flipped_and_trailed(self):
        whole = image(b"\n\n\0\xffpayload")
        self.assertEqual(self.check(whole), "<2.4.0>")
        for at in range(len(whole)):
            self.assertEqual(self.check(whole[:at]), NO_IMAGE if at < 16 else CUT)
            self.assertNotEqual(self.check(whole[:at] + bytes([whole[at] ^ 1 << at % 8]) + whole[at + 1:])[0], "<", at)
        self.assertEqual(self.check(whole + b"\0"), "The firmware image is longer than its header says.")

    def test_made_by_the_tool(self):
        """Our own tool makes what docs/firmware.md describes."""
        payload = b"\n\nSHA-256: 1\n\0\xff"
        make = lambda *words: subprocess.run(
            [SOURCE / "tools/make-firmware", *words], cwd=self.device.folder, capture_output=True, text=True)
        words = lambda version: ("--model", "Vistel", "--version", version, "--key", "maker", "payload", "image")
        self.device.write("payload", payload)
        self.assertEqual(make("--new-key", "maker").returncode, 0)
        self.assertNotEqual(make("--new-key", "maker").returncode, 0)  # never over an old one
        self.assertEqual((self.device.folder / "maker").stat().st_mode & 0o777, 0o600)
        made = make(*words("2.4.0-01"))
        whole = (self.device.folder / "image").read_bytes()
        self.assertEqual(re.sub(b"Signature: .*", b"", whole), re.sub(b"Signature: .*", b"", image(payload, "2.4.0-01")))
        self.assertIn(f"SHA-256: {made.stdout}", self.device.read("image"))
        self.assertNotEqual(make(*words("2 4")).returncode, 0)
        # The device trusts another key, then none, then also this one.
        self.assertEqual(self.check(whole), "The firmware image is not signed by the maker of this device.")
        keys = self.device.folder / "keys"
        keys.mkdir()
        (keys / "broken.pub").write_text("x")
        self.device.restart(**{"firmware-keys": keys})
        self.assertEqual(self.check(whole), "This device has no key that tells whose firmware it may install, and "
                                            "installs none.")
        (keys / "other.pub").write_text(PUBLIC.raw.hex())
        (self.device.folder / "maker.pub").rename(keys / "maker.pub")
        self.device.restart()
        self.assertEqual([self.check(whole), self.check(image())], ["<2.4.0-01>", "<2.4.0>"])


class Installation(FirmwareTest):
    def test_older(self):
        """An older version needs a plain yes, and a model without that parameter never takes one."""
        older = "This firmware is older than the installed one. It is installed only if you confirm that."
        device = self.service(IMPATIENT)
        for version, is_older in (("2.3.1-01", 1), ("2.3.1-02", 0), ("2.3.1-2", 0), ("2.3.1-10", 0), ("2.3", 1), ("10", 0),
                                  ("1.99", 1), ("2.3.1-02a", 0), ("2.3.0-99", 1), ("a", 0), ("02.04", 0)):
            device.write("upload.bin", image(version=version))
            self.expect(device, f"set System.FirmwareUpdate=check =>\n System.FirmwareOlder => {is_older}")
        device.write("upload.bin", image(version="1"))
        self.expect(device, f"""
            set System.FirmwareUpdate=check =>
            set System.FirmwareUpdate=install => {older}
            set System.FirmwareUpdate=install|System.FirmwareUpdate.Older=0 => {older}/
            System.FirmwareState;System.FirmwareOlder => checked|1
            """)
        text = json.loads(PRODUCT.read_text())
        text["keys"] = [key for key in text["keys"] if key["key"] != "System.FirmwareUpdate.Older"]
        for model, answer in ((json.dumps(text), "There is no such setting."), (PRODUCT, "")):
            device.restart(model=model)
            answers = device.ask("set System.FirmwareUpdate=install|System.FirmwareUpdate.Older=1")
            self.assertEqual(answers.split("/")[1], answer)
        self.assertEqual(answers, "/")

    def test_from_upload_to_running(self):
        """The finished program takes five seconds to install: a kill in between leaves the old image."""
        device = self.service()
        device.write("upload.bin", "nonsense")
        self.expect(device, f"""
            set System.FirmwareUpdate=install => {NO_IMAGE}
            set System.FirmwareUpdate=install => No file has been uploaded.
            set System.FirmwareUpdate=check => No file has been uploaded.
            System.FirmwareState;System.FirmwareProgress;System.Firmware => idle|0|2.3.1-02
            """)
        device.write("upload.bin", content := image(b"x" * 6000000, "9"))
        digits = content[:400].split(b"SHA-256: ")[1][:64].decode()
        self.expect(device, f"""
            set System.DeviceName=kept =>
            set System.FirmwareUpdate=check =>
            System.FirmwareImage => Vistel|9|6000274|{digits}
            set System.FirmwareUpdate=install =>
            set System.FirmwareUpdate=check => A firmware image is being installed.
            set System.FirmwareUpdate=install => A firmware image is being installed.
            set System.FirmwareUpdate=drop => A firmware image is being installed.
            set System.Restart=1 => A firmware image is being installed.
            set System.FactoryReset=1 => A firmware image is being installed.
            System.FirmwareState;System.DeviceName => installing|kept
            """)
        self.assertIsNone(device.read("upload.bin"))
        eventually(lambda: device.ask("System.FirmwareProgress") != "0")
        device.end(signal.SIGKILL)
        device.program = IMPATIENT
        device.start()
        self.expect(device, f"""
            {LOOK} => checked|0|2.3.1-02|9
            set System.FirmwareUpdate=install =>
            """)
        progress = [0]
        while device.ask("System.FirmwareState") == "installing":
            progress.append(int(device.ask("System.FirmwareProgress")))
        self.assertEqual(progress, sorted(progress))
        device.write("upload.bin", "nonsense")
        self.expect(device, f"""
            {LOOK} => installed|100|2.3.1-02|
            set System.FirmwareUpdate=check => {NO_IMAGE}
            {LOOK} => installed|100|2.3.1-02|
            set System.Restart=1 =>
            {LOOK} => idle|0|9|
            """)
        device.restart()
        device.write("upload.bin", image(version="10"))
        self.expect(device, "set System.FirmwareUpdate=install|System.FirmwareUpdate.Restart=1 => /")
        eventually(lambda: device.ask(LOOK) == "idle|0|10|")
        device.write("upload.bin", image(version="11"))
        self.expect(device, f"""
            set System.FirmwareUpdate=check =>
            set System.FirmwareUpdate=drop =>
            {LOOK} => idle|0|10|
            System.DeviceName => kept
            set System.FactoryReset=1 =>
            System.Firmware;System.DeviceName => 10|Vistel
            """)
        self.assertIsNone(device.read("firmware-waiting.img"))

    def test_what_is_wrong_at_the_start_is_not_used(self):
        device = self.service()
        device.end()
        damaged = image()[:-1] + b"?"
        device.write("firmware-installed.img", damaged)
        device.write("firmware-installed.img.new", image())
        device.write("firmware-waiting.img", damaged)
        device.start()
        self.assertEqual(device.ask(LOOK), "idle|0|2.3.1-02|")
        self.assertIsNone(device.read("firmware-waiting.img"))
        self.assertIsNone(device.read("firmware-installed.img.new"))
        os.mkfifo(device.folder / "firmware-waiting.img")
        device.restart()
        self.assertEqual(device.ask(LOOK), "idle|0|2.3.1-02|")
        device.write("upload.bin", image(b"x" * 100000))
        device.limit_files(50000)
        self.expect(device, f"""
            set System.FirmwareUpdate=check => This could not be saved: the storage is full.
            {LOOK} => idle|0|2.3.1-02|
            """)
        self.assertIsNone(device.read("firmware-waiting.img.new"))

    def test_killed_at_any_moment(self):
        """The running image is the last installed one or the one before, never another."""
        device = self.service(IMPATIENT)
        before, version = "2.3.1-02", 2

        def work():
            nonlocal version
            version += 1
            device.write("upload.bin", image(b"x" * 500000, str(version)))
            device.ask("set System.FirmwareUpdate=install")
            while device.ask("System.Firmware") != "[closed]":
                pass

        for _ in device.kill_at_any_moment(work):
            now = device.ask("System.Firmware")
            self.assertIn(now, (before, str(version)))
            before = now
