#!/usr/bin/env python3
"""commands.py NAME: plays a part of commands.txt in an installation of its own, with its new files in new. The directory
is shown as @, a control byte as ^ and a letter, an exit status other than 0 in brackets behind the output.
commands.py --write: writes into commands.txt what the programs of the preset dev print now."""

import difflib
import os
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.append(HERE + "/../post")
from installation import PLACE

TABLE, BUILD = HERE + "/commands.txt", HERE + "/../../build-dev/"
PROGRAMS = {"LIST": "list/qvpost-list", "LIST_FAULTS": "tests/faults/qvpost_list_faults", "QVPOST": "post/qvpost"}
PREPARED = "mkdir -m 755 app new; mv new app; cd app; for f in one two; do echo old >$f; echo newer >new/$f; done"
# What a run does with a file, up to its backup; and a command as root, see shim.cpp.
FUNCTIONS = "move() { mv $1 $1.temporary$2; mv new/$1 $1; }; root() { AS_ROOT= $LIST_FAULTS $*; }; "


def play(commands):
    environment = (
        {name: BUILD + path for name, path in PROGRAMS.items()} | os.environ | {"QV_SYSTEM": ".", "LC_ALL": "C"}
    )
    with tempfile.TemporaryDirectory(dir=PLACE) as directory:
        subprocess.run(PREPARED, shell=True, cwd=directory, check=True)
        directory = os.path.realpath(directory) + "/app"
        run = subprocess.run(["bash", "-c", FUNCTIONS + commands], cwd=directory, env=environment, stdout=-1, stderr=-2)
    text = run.stdout.replace(os.fsencode(directory), b"@").decode("latin-1")
    text = re.sub(r"[\0-\x09\x0b-\x1f\x7f-\xff]", lambda byte: f"^{chr(ord(byte[0]) % 64 + 64)}", text)
    return text + (f"[{run.returncode}]\n" if run.returncode else "")


head, *parts = re.split(r"^## (\w+) \$ (.*)\n", open(TABLE).read(), flags=re.M)
parts = list(zip(parts[::3], parts[1::3], parts[2::3]))
if sys.argv[1] == "--write":
    table = head + "".join(f"## {name} $ {commands}\n{play(commands)}" for name, commands, _ in parts)
    open(TABLE, "w").write(table)
else:
    ((commands, expected),) = (part[1:] for part in parts if part[0] == sys.argv[1])
    difference = difflib.unified_diff(expected.splitlines(True), play(commands).splitlines(True), "expected", "got")
    sys.exit("".join(difference) or 0)
