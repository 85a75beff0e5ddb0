"""How many questions about names a run asks: few where it reads folders instead, and never more than thirteen a line."""

import os
import struct
import sys

sys.path.append(os.path.dirname(os.path.abspath(__file__)) + "/../post")
from installation import Installation, write  # noqa: E402


def questions(folders, lines, call):
    with Installation("FAULTS") as installation:
        write(installation.at("counts"), 12 * "\0")
        listed = ""
        for folder in map(str, range(folders)):
            os.mkdir(installation.at(f"app/{folder}"))
            for name in map(str, range(lines)):
                write(installation.at(f"app/{folder}/{name}"), "old")
                write(installation.at(f"new/{folder}-{name}"), "new")
                listed += f"source=new/{folder}-{name},destination=app/{folder}/{name}\n"
        installation.start({"options": "-f list", "list": listed, "fault": f"{call} 0 0"})
        assert installation.wait() == 0
        return struct.unpack("3i", open(installation.at("counts"), "rb").read())[1]


for folders, lines, most in ((1, 400, 10), (10, 10, 160), (20, 2, 300), (40, 1, 520)):
    asked = questions(folders, lines, "stat") + questions(folders, lines, "lstat")
    assert asked <= most, f"{lines} lines in each of {folders} folders: {asked} questions, at most {most} expected"
