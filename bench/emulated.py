# SPDX-License-Identifier: MIT
"""
The part of run-bench for the product's processor: instructions and system calls of the home page under qemu-mipsel.
The one rule: only counts are taken, because the emulator's times say nothing about a device.
"""
import os
import shutil
import subprocess

from common import *

COMPILER = "mipsel-linux-gnu-g++"
EMULATOR = "qemu-mipsel-static"
TOOLCHAIN = SOURCE / "cmake" / "mipsel-linux-gnu.cmake"


def build(paths, extra):
    folder = BUILD / "mipsel"
    generator = ["-G", "Ninja"] if shutil.which("ninja") else []
    command("cmake", "-S", SOURCE, "-B", folder, *generator, "-DCMAKE_BUILD_TYPE=Release",
            "-DCMAKE_TOOLCHAIN_FILE=%s" % TOOLCHAIN, "-DGIF_SOURCE_DIR=%s" % (SOURCE / "build" / "giflib"),
            "-DVISTEL_LINK=static", "-DVISTEL_BUILD_SITE=OFF", "-DVISTEL_BUILD_TESTS=OFF",
            "-DVISTEL_BUILD_SYSMGR=OFF", *paths, *extra)
    command("cmake", "--build", folder, "--target", "vistel.cgi", "-j", os.cpu_count() or 1)
    return folder / "main" / "vistel.cgi"


def count(program, environment):
    """Instructions, system calls and the response of one run."""
    # Without chains, and with one instruction in each block of code, the emulator writes a line for each.
    with subprocess.Popen([EMULATOR, "-singlestep", "-d", "exec,nochain", program], env=environment,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
        executed = sum(line.startswith(b"Trace ") for line in process.stderr)
        response = process.stdout.read()
    if process.returncode != 0:
        fail("%s ended with status %d" % (program, process.returncode))
    calls = subprocess.run([EMULATOR, "-strace", program], env=environment, stdin=subprocess.DEVNULL,
                           stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=True).stderr
    return executed, sum(line[:1].isdigit() for line in calls.splitlines()), response


def report(native, environment, paths, extra):
    """`native` is the program of this machine with the same paths; the service must answer."""
    for tool in (COMPILER, EMULATOR):
        if shutil.which(tool) is None:
            note("%s is missing: no figures for the product's processor" % tool)
            return
    note("building for mipsel")
    program = build(paths, extra)
    note("the home page under the emulator")
    executed, calls, response = count(program, environment)
    # Live values differ from run to run, but hardly in size.
    if abs(len(response) - len(respond(native, environment))) > len(response) // 20 or b"</html>" not in response:
        fail("the home page is another one on mipsel")
    print("### The home page on the product's processor: 32-bit MIPS, all static, under qemu\n")
    print("The emulator's version decides which system calls exist; without openat2, each folder on a template's path "
          "is looked at.\n")
    table(["program", "bytes", "instructions, user mode", "system calls"],
          [["mipsel, glibc", number(len(response)), number(executed), number(calls)],
           ["this machine, glibc", number(len(respond(native, environment))),
            number(instructions(native, environment)), number(resources(native, environment)["system_calls"])]])
