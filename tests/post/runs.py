"""Runs of the program, each a test: runs.py NAME, the name of a row of runs.txt or of a function below."""

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
            files = [read(folder + name) for name in sorted(os.listdir(folder))]
            assert files == ["neighbour", "old" if code else "new-one"]


def folders_that_are_known_change():
    """What the run itself does to the names beside later destinations, with the folder spelled in several ways."""
    with Installation() as installation:
        for folder in ("app", "app/d", "new", "new/d"):
            os.makedirs(installation.at(folder), exist_ok=True)
            for name in range(40):
                write(installation.at(f"{folder}/{name}"), f"{folder}/{name}")
        os.symlink("app", installation.at("link"))
        os.symlink("nowhere", installation.at("app/6.temporary"))
        write(installation.at("app/7.temporary9"), "leftover")
        write(installation.at("new/d/9.temporary"), "leftover")
        destinations = [f"app/{name}" for name in range(12)]
        destinations += "link/12 app/12 app/../app/11 app/10.temporary app/10".split()
        destinations += [f"app/d/{name}" for name in range(9)] + "app/d app/d/9 link/d/10 app/d/10".split()
        sources = [f"new/{number}" for number in range(len(destinations))]
        sources[-4] = "new/d"
        pairs = zip(sources, destinations)
        updates = "".join(f"source={source},destination={destination}\n" for source, destination in pairs)
        installation.start({"options": "-f list", "list": updates})
        assert installation.wait() == 0
        removed = "app/7.temporary9 app/12.temporary app/../app/11.temporary app/10.temporary app/d/9.temporary"
        removed += " app/d/10.temporary"
        assert re.findall("removed leftover '(.*)'", installation.log()) == removed.split()
        assert read(installation.at("app/d/9")) == sources[-3]


def find_row(name):
    """Its line and its values."""
    table = read(HERE + "/runs.txt")
    start = table.index(f"\n{name} |") + 1
    row = re.split(r"\n(?! )", table[start:])[0]
    cells = re.sub(r"\n +", " ", row).split(" | ")[1:]
    return table.count("\n", 0, start) + 1, {key: value for key, _, value in (cell.partition(" ") for cell in cells)}


name = sys.argv[1].removeprefix("Others.")
if name in globals():
    globals()[name]()
else:
    line, row = find_row(name)
    with Installation() as installation:
        installation.start(row)
        try:
            installation.check(row)
        except AssertionError as difference:
            sys.exit(f"{HERE}/runs.txt:{line}: {name}: {difference}")
