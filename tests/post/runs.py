"""Runs of the program, each a test: runs.py NAME, the name of a row of runs.txt or of a function below. REWRITE=1 in the
environment writes the logs below logs/ anew."""

import os
import re
import signal
import subprocess
import sys

from installation import HERE, Installation, read, write


def updater_goes():
    with subprocess.Popen(["sleep", "600"]) as updater, Installation() as installation:
        row = {"options": f"-f list -p {updater.pid}", "log": "has exited."}
        installation.start(row)
        installation.await_log(f"Still waiting for pid '{updater.pid}' to continue.\n<main> PostMain: Still")
        updater.kill()
        updater.wait()
        installation.check(row)


def signal_ends_between_two_lines():
    row = {"before": "rm list; mkfifo list", "options": "-f list", "exit": "4", "log": "signal 'SIGTERM'."}
    with Installation() as installation:
        installation.start(row)
        installation.await_log("Updating files")
        with open(installation.at("list"), "rb+", buffering=0) as updates:  # for reading, too: nobody else may be left
            updates.write(b"source=new/one,destination=app/one\n")
            installation.await_log("Renaming 'new/one' as 'app/one'.")
            os.kill(installation.run.pid, signal.SIGTERM)
            updates.write(b"source=new/two,destination=app/two\nnever read")
            installation.check(row)


def long_destinations_lose_nothing():
    """Round the length at which the names of leftovers are cut. The neighbour has the name that a cut could leave."""
    for length, code in ((length, code) for length in (1011, 1021, 1022, 1023) for code in (0, 5)):
        with Installation() as installation:
            folder = installation.at("long") + 9 * ("/" + 90 * "d") + "/"
            path = folder.ljust(length, "f")
            os.makedirs(folder)
            write(path, "old")
            write(path[:-1], "neighbour")
            row = {"options": "-s bin/server -f list", "plan": f"--update exit {code}"}
            installation.start(row | {"list": "source=new/one,destination=" + path})
            assert installation.wait() == code
            assert read(path) == ("old" if code else "new-one")
            assert read(path[:-1]) == "neighbour"
            assert len(os.listdir(folder)) == 2


def find_row(wanted):
    """Its line and its values."""
    line = 1
    for row in re.sub(r"\n +", " \0", read(HERE + "/runs.txt")).split("\n"):
        name, *cells = re.split(r"[ \0]+\| ", row)
        if name == wanted:
            return line, {key: value for key, _, value in (cell.replace("\0", "").partition(" ") for cell in cells)}
        line += 1 + row.count("\0")


name = sys.argv[1].removeprefix("Others.")
if name in globals():
    globals()[name]()
else:
    line, row = find_row(name)
    with Installation() as installation:
        installation.start(row)
        try:
            installation.check(row, f"{HERE}/logs/{name}.log")
        except AssertionError as difference:
            sys.exit(f"{HERE}/runs.txt:{line}: {name}: {difference}")
