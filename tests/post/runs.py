"""Runs of the program, each a test: runs.py NAME, the name of a row of runs.txt or of a function below."""

import errno
import itertools
import os
import re
import subprocess
import sys

from installation import HERE, TABLE, Installation


def updater_is_awaited():
    with subprocess.Popen(["sleep", "0.7"]) as updater, Installation() as installation:
        installation.start({"options": f"-f list -p {updater.pid}"})
        updater.wait()
        assert installation.wait() == 0
        assert installation.log().count("Still waiting") <= 4, "It doesn't sleep for 200 milliseconds."


def long_destinations_lose_nothing():
    """Paths around the length at which names of leftovers are cut. The neighbour has the name that a cut could leave. A
    directory may have the backup name, and some lengths leave no other. An earlier line reads the directory."""
    for length, script, taken in itertools.product((1011, 1012, 1021, 1022, 1023), (0, 5), (False, True)):
        with Installation() as installation:
            directory = f"{installation.root}/long" + 9 * ("/" + 90 * "d") + "/"
            path = directory.ljust(length, "f")
            os.makedirs(directory)
            files = {path: "old", path[:-1]: "neighbour", directory + "two": "old"}
            if taken:
                os.mkdir(path + ".temporary")
            elif length < 1022:
                files[(path + ".temporary1")[:1022]] = "leftover"
            for name, text in files.items():
                installation.write(name, text)
            updates = f"source=new/two,destination={directory}two\\nsource=new/one,destination={path}"
            options = {"options": "-s bin/server -f list", "plan": f"--update exit {script}"}
            installation.start(options | {"list": updates})
            code = errno.EISDIR if taken and length in (1012, 1022, 1023) else script
            assert installation.wait() == code, (length, script, taken)
            left = [installation.read(directory + name) for name in sorted(os.listdir(directory))]
            expected = ["neighbour", "old", "old"] if code else ["neighbour", "new-one", "new-two"]
            assert [text for text in left if text] == expected, (length, script, taken, left)


def directories_that_were_read_change():
    """A run treats the names beside later destinations, in directories with several spellings, alike whether it reads
    directories, cannot open them, or cannot read them to the end."""
    for fault in ("none 0 0", "opendir 1 13", "readdir 5 5"):
        check_directories(fault)


def check_directories(fault):
    with Installation("FAULTS") as installation:
        for directory in ("app", "app/d", "new", "new/d"):
            os.makedirs(installation.root / directory, exist_ok=True)
            for name in range(40):
                installation.write(f"{directory}/{name}", f"{directory}/{name}")
        os.symlink("app", installation.root / "link")
        os.symlink("nowhere", installation.root / "app/6.temporary")
        installation.write("app/7.temporary9", "leftover")
        installation.write("app/a.b", "app/a.b")
        installation.write("app/a.b.Temporary", "not a leftover")
        installation.write("new/d/9.temporary", "leftover")
        destinations = [f"app/{name}" for name in range(12)]
        destinations += "app/a.b link/12 app/12 app/../app/11 app/10.temporary app/10".split()
        destinations += [f"app/d/{name}" for name in range(9)] + "app/d app/d/9 link/d/10 app/d/10".split()
        sources = [f"new/{number}" for number in range(len(destinations))]
        sources[-4] = "new/d"
        pairs = zip(sources, destinations)
        root = installation.root
        updates = "".join(f"source={root}/{source},destination={root}/{destination}\n" for source, destination in pairs)
        installation.start({"options": "-f list", "list": updates, "fault": fault})
        assert installation.wait() == 0, fault
        removed = "app/7.temporary9 app/12.temporary app/../app/11.temporary app/10.temporary app/d/9.temporary"
        removed += " app/d/10.temporary"
        found = re.findall(f"removed leftover '{root}/(.*)'", installation.log())
        assert found == removed.split(), (fault, found)
        assert installation.read("app/d/9") == sources[-3]


def a_directory_is_read_once():
    """Lines in a directory that was read need no look-ups, and a file system is flushed once."""
    with Installation("FAULTS") as installation:
        names = [f"app/{number}" for number in range(60)]
        for name in names:
            installation.write(name, "old")
            installation.write("new/" + name[4:], "new")
        root = installation.root
        updates = "".join(f"source={root}/new/{name[4:]},destination={root}/{name}\n" for name in names)
        for call, limit in (("stat", 10), ("syncfs", 1)):
            installation.start({"options": "-f list", "list": updates, "fault": f"{call} 0 0"})
            assert installation.wait() == 0
            calls = installation.counts()[1]
            assert calls <= limit, f"{call}: expected at most {limit} calls, got {calls}"
            for name in names:
                installation.write("new/" + name[4:], "new")


def find_row(name):
    """Its line and its values."""
    start = TABLE.index(f"\n{name} |") + 1
    row = re.split(r"\n(?! )", TABLE[start:])[0]
    cells = re.sub(r"\n +", " ", row).split(" | ")[1:]
    return TABLE.count("\n", 0, start) + 1, {key: value for key, _, value in (cell.partition(" ") for cell in cells)}


name = sys.argv[1]
if name in globals():
    globals()[name]()
else:
    line, row = find_row(name)
    with Installation("FAULTS" if "fault" in row else "QVPOST") as installation:
        installation.start(row)
        try:
            installation.check(row)
        except AssertionError as difference:
            sys.exit(f"{HERE}/runs.txt:{line}: {name}: {difference}")
