"""Runs of the program, each a test: runs.py NAME, the name of a row of runs.txt or of a function below."""

import errno
import itertools
import os
import re
import sys

from installation import HERE, TABLE, Installation


def long_destinations_lose_nothing():
    """Round the length at which the names of leftovers are cut. The neighbour has the name that a cut could leave. The
    backup name may be taken by a directory, and not every length leaves another one. The directory is known before the long line.
    """
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
            updates = f"source=new/two,destination={directory}two\nsource=new/one,destination={path}"
            plan = f"--update exit {script}"
            installation.start({"options": "-s bin/server -f list", "list": updates, "plan": plan})
            code = errno.EISDIR if taken and length in (1012, 1022, 1023) else script
            assert installation.wait() == code, (length, script, taken)
            left = [installation.read(directory + name) for name in sorted(os.listdir(directory))]
            expected = ["neighbour", "old", "old"] if code else ["neighbour", "new-one", "new-two"]
            assert [text for text in left if text] == expected, (length, script, taken, left)


def directories_that_were_read_change():
    """What the run does to the names beside later destinations, in directories with several spellings, is the same for
    a run that reads directories, one that cannot open them, and one that cannot read them to the end. A read directory
    spares its lines the look-ups, and a file system is flushed once."""
    for fault, most_calls in (("stat 0 0", 150), ("syncfs 0 0", 1), ("opendir 1 13", 99), ("readdir 5 5", 999)):
        with Installation("FAULTS") as installation:
            move_beside_names(installation, fault)
            assert installation.counts()[1] <= most_calls, (fault, installation.counts())


def move_beside_names(installation, fault):
    root = installation.root
    for directory in ("app", "app/d", "new", "new/d"):
        os.makedirs(root / directory, exist_ok=True)
        for name in range(40):
            installation.write(f"{directory}/{name}", f"{directory}/{name}")
    os.symlink("app", root / "link")
    os.symlink("nowhere", root / "app/6.temporary")
    for name in ("app/7.temporary9", "app/a.b", "app/a.b.Temporary", "new/d/9.temporary"):
        installation.write(name, name)
    destinations = [f"app/{name}" for name in range(12)]
    destinations += "app/a.b link/12 app/12 app/../app/11 app/10.temporary app/10".split()
    destinations += [f"app/d/{name}" for name in range(9)] + "app/d app/d/9 link/d/10 app/d/10".split()
    sources = [f"new/{number}" for number in range(len(destinations))]
    sources[-4] = "new/d"
    pairs = zip(sources, destinations)
    updates = "".join(f"source={root}/{source},destination={root}/{destination}\n" for source, destination in pairs)
    installation.start({"options": "-f list", "list": updates, "fault": fault})
    assert installation.wait() == 0, fault
    removed = "app/7.temporary9 app/12.temporary app/../app/11.temporary app/10.temporary app/d/9.temporary"
    found = re.findall(f"removed leftover '{root}/(.*)'", installation.log())
    assert found == [*removed.split(), "app/d/10.temporary"], (fault, found)
    assert installation.read("app/d/9") == sources[-3]


if sys.argv[1] in globals():
    globals()[sys.argv[1]]()
else:
    start = TABLE.index(f"\n{sys.argv[1]} |") + 1
    cells = re.sub(r"\n +", " ", re.split(r"\n(?! )", TABLE[start:])[0]).split(" | ")[1:]
    row = {key: value for key, _, value in (cell.partition(" ") for cell in cells)}
    with Installation("FAULTS" if "fault" in row else "QVPOST") as installation:
        installation.start(row)
        try:
            installation.check(row)
        except AssertionError as difference:
            line = TABLE.count("\n", 0, start) + 1
            sys.exit(f"{HERE}/runs.txt:{line}: {sys.argv[1]}: {difference}")
