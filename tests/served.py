# SPDX-License-Identifier: MIT
"""
Starts `./run` on a free port, with a device that has lost its settings and in a foreign locale. The rule to
know: its end is tested each time; it must leave no process, port or folder.

usage: served.py PRESET COMMAND...   (runs the command with VISTEL_ADDRESS and the process ids VISTEL_MANAGER
and VISTEL_DEVICE; the preset is "served-pages" or "served-jobs")
"""
import contextlib
import os
import random
import shutil
import signal
import socket
import subprocess
import sys
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
HOST = "127.0.0.1"
START_SECONDS, END_SECONDS = 240, 10


def free_port():
    """Not one of those that the system gives to clients: a server may start a minute later."""
    for port in random.sample(range(20_000, 32_000), 100):
        with contextlib.suppress(OSError), socket.socket() as probe:
            probe.bind((HOST, port))
            return port
    raise RuntimeError("no port is free")


def processes(field, value):
    """Processes with that value in a field of /proc/*/stat after the name, without zombies."""
    found = []
    for stat in Path("/proc").glob("[0-9]*/stat"):
        with contextlib.suppress(OSError):
            fields = stat.read_text().rpartition(")")[2].split()
            if int(fields[field]) == value and fields[0] != "Z":
                found.append(int(stat.parent.name))
    return found


def children(pid):
    return processes(1, pid)


def members(session):
    return processes(3, session)


@contextlib.contextmanager
def served(preset):
    """Address and process of a `./run`."""
    build = SOURCE / "build" / preset
    for state in ("lib/sysmgr", "run/sysmgr"):
        shutil.rmtree(build / "root/var" / state, ignore_errors=True)
    (build / "root/var/lib/sysmgr").mkdir(parents=True)
    (build / "root/var/lib/sysmgr/settings.db").write_bytes(bytes(4096))
    keys = build / "root/usr/share/vistel/firmware-keys"
    keys.mkdir(parents=True, exist_ok=True)
    for key in ("maker", "maker.pub"):
        (build / key).unlink(missing_ok=True)
    subprocess.run([SOURCE / "tools/make-firmware", "--new-key", build / "maker"], check=True, stdout=subprocess.DEVNULL)
    shutil.copy(build / "maker.pub", keys)
    port = free_port()
    address, output = f"http://{HOST}:{port}/", ""
    run = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", SOURCE / "run"], cwd="/", text=True,
                           stdout=subprocess.PIPE, env={**os.environ, "VISTEL_RUN_PRESET": preset,
                                                        "VISTEL_SIMULATOR": "--hostile-names",
                                                        "PORT": str(port), "LANGUAGE": "fr", "LC_ALL": "C"})
    signal.alarm(START_SECONDS)
    while address not in output:
        line = run.stdout.readline()
        assert line, "./run ended: " + output
        output += line
    signal.alarm(0)
    try:
        yield address, run
    finally:
        programs = children(run.pid)
        run.terminate()
        assert run.wait(END_SECONDS) == 128 + signal.SIGTERM
        run.stdout.close()
    assert programs and not [pid for pid in programs if Path(f"/proc/{pid}").exists()], "processes are left"
    assert not list(build.glob("state.*")), "a folder is left"
    with socket.socket() as probe:
        assert probe.connect_ex((HOST, port)) != 0, "something still listens"


if __name__ == "__main__":
    with served(sys.argv[1]) as (address, run):
        started = {Path(f"/proc/{pid}/comm").read_text().strip(): str(pid) for pid in children(run.pid)}
        sys.exit(subprocess.call(sys.argv[2:], env={
            **os.environ, "VISTEL_RUN_PRESET": sys.argv[1], "VISTEL_ADDRESS": address, "VISTEL_MANAGER": started["sysmgrd"],
            "VISTEL_DEVICE": started["vistel-simulato"]}))
