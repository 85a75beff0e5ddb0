#!/usr/bin/python3
"""replace_files.py LIST: works through an update list like qvpost, as a Python script."""

import os
import sys
import time

PID = os.getpid()


def log(text):
    sys.stderr.write(f"{PID} {PID} {time.strftime('%H:%M:%S')} {text}\n")


backups = []
with open(sys.argv[1]) as update_list:
    for line in update_list:
        line = line.rstrip("\n")
        log(f"Parsing update line '{line}'.")
        fields = dict(field.split("=", 1) for field in line.split(","))
        source, destination = fields["source"], fields["destination"]
        backup = destination + ".temporary"
        for leftover in [backup] + [f"{backup}{number}" for number in range(1, 10)]:
            if os.path.exists(leftover):
                os.unlink(leftover)
        if os.path.exists(destination) and os.path.exists(backup):
            os.unlink(backup)
        log(f"Renaming '{destination}' as '{backup}'.")
        os.rename(destination, backup)
        log(f"Renaming '{source}' as '{destination}'.")
        os.rename(source, destination)
        backups.append(backup)
os.unlink(sys.argv[1])
for backup in backups:
    log(f"Removing '{backup}'.")
    os.unlink(backup)
