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
    """Round the length at which the names of leftovers are cut. The neighbour has the name that a cut could leave. The
    backup name may be taken by a folder, and not every length leaves another one. The folder is known before the long line.
    """
    for length, script, taken in itertools.product((1011, 1012, 1021, 1022, 1023), (0, 5), (False, True)):
        with Installation() as installation:
            folder = f"{installation.root}/long" + 9 * ("/" + 90 * "d") + "/"
            path = folder.ljust(length, "f")
            os.makedirs(folder)
            files = {path: "old", path[:-1]: "neighbour", folder + "two": "old"}
            if taken:
                os.mkdir(path + ".temporary")
            elif length < 1022:
                files[(path + ".temporary1")[:1022]] = "leftover"
            for name, text in files.items():
                installation.write(name, text)
            updates = f"source=new/two,destination={folder}two\\nsource=new/one,destination={path}"
            options = {"options": "-s bin/server -f list", "plan": f"--update exit {script}"}
            installation.start(options | {"list": updates})
            code = errno.EISDIR if taken and length in (1012, 1022, 1023) else script
            assert installation.wait() == code, (length, script, taken)
            left = [installation.read(folder + name) for name in sorted(os.listdir(folder))]
            expected = ["neighbour", "old", "old"] if code else ["neighbour", "new-one", "new-two"]
            assert [text for text in left if text] == expected, (length, script, taken, left)


def folders_that_are_known_change():
    """What the run itself does to the names beside later destinations, with the folder spelled in several ways."""
    with Installation() as installation:
        for folder in ("app", "app/d", "new", "new/d"):
            os.makedirs(installation.root / folder, exist_ok=True)
            for name in range(40):
                installation.write(f"{folder}/{name}", f"{folder}/{name}")
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
        updates = "".join(f"source={source},destination={destination}\n" for source, destination in pairs)
        installation.start({"options": "-f list", "list": updates})
        assert installation.wait() == 0
        removed = "app/7.temporary9 app/12.temporary app/../app/11.temporary app/10.temporary app/d/9.temporary"
        removed += " app/d/10.temporary"
        assert re.findall("removed leftover '(.*)'", installation.log()) == removed.split()
        assert installation.read("app/d/9") == sources[-3]


# Questions about names, and names that are read in their place, for lists of some forms. The fewer of both the better:
# more than thirteen questions a line, or a few names for each that they spare, are slower than a run that only asks.
COSTS = [
    (13, 0, dict(folders=1, lines=1)),
    (2201, 4, dict(folders=200, lines=1)),
    (1290, 599, dict(folders=100, lines=2)),
    (1121, 0, dict(folders=10, lines=10, size=6000)),
    (348, 1322, dict(folders=1, lines=60, others=200)),
    (862, 981, dict(folders=1, lines=300, others=600, size=20000)),
    (4418, 10178, dict(folders=2, lines=200, others=2000)),
    (663, 3, dict(folders=1, lines=60, name="é")),
]


def count_calls(call, folders, lines, others=0, name="", size=0):
    """Of a run with so many lines in each folder, which has so many other files and is said to be of that size."""
    with Installation("FAULTS") as installation:
        places = [f"{folder}/{name}{line}" for folder in range(folders) for line in range(lines)]
        for folder in range(folders):
            os.mkdir(installation.root / f"app/{folder}")
            os.mkdir(installation.root / f"new/{folder}")
            for number in range(others):
                installation.write(f"app/{folder}/other{number}", "")
        for place in places:
            installation.write("app/" + place, "old")
            installation.write("new/" + place, "new")
        updates = "".join(f"source=new/{place},destination=app/{place}\n" for place in places)
        os.environ["FOLDER_SIZE"] = str(size)
        row = {"options": "-f list", "list": updates, "by": "prlimit --nofile=20"}  # none is left open
        installation.start(row | {"fault": f"{call} 0 0"})
        assert installation.wait() == 0
        return installation.counts()[1]


def questions_are_few():
    for questions, names, form in COSTS:
        cost = count_calls("stat", **form), count_calls("readdir", **form)
        assert cost == (questions, names), f"{form}: expected {questions} and {names}, got {cost}"
    assert count_calls("syncfs", 3, 20) == 1, "A file system is flushed more than once."


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
