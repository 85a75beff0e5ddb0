"""commands.py NAME: plays a part of commands.txt in a new folder, with an installation, app, and its new files, app/new.
The folder is shown as @, a control byte as ^ and a letter, an exit status other than 0 behind its command."""

import difflib
import os
import re
import subprocess
import sys
import tempfile

TABLE = os.path.dirname(os.path.abspath(__file__)) + "/commands.txt"
PREPARED = "mkdir app app/new; for f in one two; do echo old >app/$f; echo newer >app/new/$f; done"


def shown(output, folder):
    text = output.replace(os.fsencode(folder), b"@").decode("latin-1")
    return re.sub(r"[\0-\x09\x0b-\x1f\x7f-\xff]", lambda byte: f"^{chr(ord(byte[0]) % 64 + 64)}", text)


def played(part):
    lines = []
    with tempfile.TemporaryDirectory() as folder:
        folder = os.path.realpath(folder)
        subprocess.run(PREPARED, shell=True, cwd=folder, check=True)
        environment = {**os.environ, "LIST": os.environ["QVPOST_LIST"], "QV_SYSTEM": ".", "LC_ALL": "C"}
        for command in re.findall(r"^\$ (.*)$", part, re.M):
            run = subprocess.run(["bash", "-c", command], cwd=folder, env=environment, stdout=-1, stderr=-2)
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
