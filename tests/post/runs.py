"""The rows of runs.txt as tests: runs.py NAME. REWRITE=1 in the environment writes the logs below logs/ anew."""

import re
import sys

from installation import HERE, Installation, read


def rows():
    """Each name with the number of its line and its values."""
    number = 1
    for row in re.sub(r"\n +", " \0", read(HERE + "/runs.txt")).split("\n"):
        name, *cells = re.split(r"[ \0]+\| ", row)
        yield name, number, {key: value for key, _, value in (cell.replace("\0", "").partition(" ") for cell in cells)}
        number += 1 + row.count("\0")


for name, number, row in rows():
    if name == sys.argv[1]:
        try:
            with Installation() as installation:
                installation.start(row)
                installation.check(row, f"{HERE}/logs/{name}.log")
        except AssertionError as difference:
            sys.exit(f"{HERE}/runs.txt:{number}: {name}: {difference}")
        sys.exit()
sys.exit(f"{HERE}/runs.txt has no row {sys.argv[1]}")
