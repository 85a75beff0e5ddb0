#!/usr/bin/python3
"""The server of the product that check-systemd.sh updates: a service that notifies systemd.

A line to its port starts an updater, as a product does whose users ask it to update itself. What ROOT/etc/daemon says
makes it a bad example: "leaks" leaves its socket open in the programs that it starts, "no-reap" never waits for them.
"""

import os
import socket
import subprocess
import sys

root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
with open(f"{root}/lib/version", encoding="ascii") as file:
    version = file.read().strip()
with open(f"{root}/etc/daemon", encoding="ascii") as file:
    habits = file.read().split()

server = socket.socket()
server.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)  # connections that are over; a socket that listens counts
server.bind(("127.0.0.1", 4000))
server.listen()
server.set_inheritable("leaks" in habits)

# Whoever holds the pipe's other end decides when the start is over.
if os.path.exists(f"{root}/hold-start"):
    with open(f"{root}/held-start", "w", encoding="ascii"):
        pass
    with open(f"{root}/hold-start", "rb") as hold:
        hold.read()
if version == "broken":
    sys.exit(5)
with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notify:
    notify.connect(os.environ["NOTIFY_SOCKET"])
    notify.send(b"READY=1\nSTATUS=" + version.encode())

while True:
    connection, _ = server.accept()
    with connection, connection.makefile("rb") as lines:
        command = lines.readline().decode().split()
    updater = subprocess.Popen(command, stdin=subprocess.DEVNULL, close_fds="leaks" not in habits)
    if "no-reap" not in habits:
        updater.wait()
