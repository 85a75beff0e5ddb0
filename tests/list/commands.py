"""commands.py NAME: plays a part of commands.txt in an installation of its own, with its new files in new. The directory
is shown as @, a control byte as ^ and a letter, an exit status other than 0 behind its command."""

import difflib
import os
import re
import subprocess
import sys
import tempfile

from installation import PLACE

TABLE = os.path.dirname(os.path.abspath(__file__)) + "/commands.txt"
PREPARED = "mkdir -m 755 app new; mv new app; cd app; for f in one two; do echo old >$f; echo newer >new/$f; done"
# What a run does with a file, up to its backup.
FUNCTIONS = "move() { mv $1 $1.temporary$2; mv new/$1 $1; }; "


def shown(output, folder):
    text = output.replace(os.fsencode(folder), b"@").decode("latin-1")
    return re.sub(r"[\0-\x09\x0b-\x1f\x7f-\xff]", lambda byte: f"^{chr(ord(byte[0]) % 64 + 64)}", text)


def played(part):
    lines = []
    with tempfile.TemporaryDirectory(dir=PLACE) as folder:
        folder = os.path.realpath(folder)
        subprocess.run(PREPARED, shell=True, cwd=folder, check=True)
        environment = {**os.environ, "LIST": os.environ["QVPOST_LIST"], "QV_SYSTEM": ".", "LC_ALL": "C"}
        folder += "/app"
        for command in re.findall(r"^\$ (.*)$", part, re.M):
            run = subprocess.run(["bash", "-c", FUNCTIONS + command], cwd=folder, env=environment, stdout=-1, stderr=-2)
            lines += [f"$ {command}", *shown(run.stdout, folder).splitlines()]
            lines += [f"= {run.returncode}"] if run.returncode else []
    return "".join(line + "\n" for line in lines)


head, *parts = re.split(r"^## (\w+)\n", open(TABLE).read(), flags=re.M)
parts = dict(zip(parts[::2], parts[1::2]))
if sys.argv[1] == "--write":
    table = head + "".join(f"## {name}\n{played(part)}" for name, part in parts.items())
    open(TABLE, "w").write(table)
else:
    expected = parts[sys.argv[1]].splitlines(True)
    sys.exit(
        "".join(difflib.unified_diff(expected, played("".join(expected)).splitlines(True), "expected", "got")) or 0
    )
