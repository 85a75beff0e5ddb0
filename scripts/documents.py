#!/usr/bin/python3
"""The programs that the documents show.

    scripts/documents.py DOCUMENT OPENING      prints the first one behind this text
"""

import os
import re
import sys

SOURCE = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))


def text_of(path):
    with open(os.path.join(SOURCE, path), encoding="utf-8") as file:
        return file.read()


def block(path, opening):
    """The first block of code behind a text; of a manual page as a reader sees it."""
    text = text_of(path).split(opening, 1)[1]
    if path.startswith("man/"):
        return re.search(r"\.Bd -literal[^\n]*\n(.*?)\n\.Ed", text, re.S)[1].replace("\\e", "\\") + "\n"
    return re.search(r"```\w+\n(.*?)```", text, re.S)[1]


if __name__ == "__main__":
    sys.stdout.write(block(*sys.argv[1:]))
