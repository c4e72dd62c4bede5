#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A Wi-Fi plug as a provider: a pushed value, a table that is asked for, an action, and its settings."""
import socket, sys, time

link = socket.socket(socket.AF_UNIX)
link.connect(sys.argv[1] if len(sys.argv) > 1 else "/var/run/sysmgr/providers")
stream, history, start = link.makefile("rb"), [], time.monotonic()

def text(value): return value if isinstance(value, bytes) else str(value).encode()
def netstring(data): return b"%d:%s," % (len(data), data)
def send(*fields): link.sendall(netstring(b"".join(netstring(text(field)) for field in fields)))
def table(columns, rows):
    return b"\x01%d:%d:" % (columns, len(rows)) + b"".join(netstring(text(cell)) for row in rows for cell in row)
def fields(data):
    while data:
        size, _, data = data.partition(b":")
        yield data[:int(size)]
        data = data[int(size) + 1:]
def pairs(data):
    cells = list(fields(data.split(b":", 2)[2]))
    return dict(zip(cells[::2], cells[1::2]))
def receive():
    size = b"".join(iter(lambda: stream.read(1).strip(b":"), b""))
    return fields(stream.read(int(size or sys.exit("plug: the system manager is gone")) + 1)[:-1])

send("hello", 1, "plug")
send("offer", "value", "plug-watts", "pushed", "", "")
send("offer", "table", "plug-history", "asked", table(1, [["Second"], ["Watts"]]), "")
send("offer", "action", "plug-reset", "", "", "")
send("subscribe", "Plug")
while True:
    kind, *rest = receive()
    if kind == b"ping": send("pong")
    if kind == b"ask": send("answer", rest[0], "value", table(2, history[::-1]))
    if kind == b"act": history.clear(); send("done", rest[0], "")
    if kind == b"settings" and b"Plug.On" in (changed := pairs(rest[1])):
        history.append((int(time.monotonic() - start), 42 * int(changed[b"Plug.On"])))
        send("push", "plug-watts", history[-1][1])
    if kind == b"settings": send("applied", rest[0])
