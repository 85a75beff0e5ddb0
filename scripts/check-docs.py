#!/usr/bin/python3
"""Holds documents and program together.

    scripts/check-docs.py QVPOST     everything below, with this qvpost
    scripts/check-docs.py --pages    the first two alone

mandoc looks at the manual pages, where there is mandoc. The codes of qvpost(8) are compared with those in post/. The
runs of docs/log.md are made, and their logs compared with its blocks.
"""

import dataclasses
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile

LOG_PAGE = "docs/log.md"


def text_of(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


# --- the manual pages -------------------------------------------------------------------------------------------------


def check_manual_pages():
    if shutil.which("mandoc") is None:
        return
    pages = sorted(os.listdir("man"))
    # What is wrong with a page is on the standard output; the standard error has advice that depends on the system.
    if subprocess.run(["mandoc", "-T", "lint", *pages], cwd="man", stderr=subprocess.DEVNULL).returncode != 0:
        sys.exit("man: mandoc finds fault with a page")


def check_codes():
    sources = "\n".join(text_of(path) for path in sorted(glob.glob("post/*.cpp")))
    written = set(re.findall(r'"([A-Z]{2})"', sources)) | set(re.findall(r"\[.([A-Z]{2}).\]", sources))
    explained = set(re.findall(r"^\.It Sy ([A-Z]{2}) ", text_of("man/qvpost.8"), re.M))
    if not written or written != explained:
        sys.exit(f"man/qvpost.8: codes that post/ doesn't have, or the other way round: {sorted(written ^ explained)}")


# --- the runs of docs/log.md ------------------------------------------------------------------------------------------


class Paths:
    """Where the files of a run lie."""

    def __init__(self, folder):
        self.folder = folder
        self.child = f"{folder}/child"  # the server and the client
        self.script = f"{folder}/scripts/setup/qvserver"
        self.tool = f"{folder}/tool"  # the file that is replaced
        self.backup = f"{folder}/tool.temporary"
        self.new_tool = f"{folder}/new"
        self.list = f"{folder}/list"


@dataclasses.dataclass
class Run:
    """What makes a run different from one that succeeds without an updater."""

    fails: str = "none"  # which child ends with 3: a pattern of the shell that its arguments match
    lines: str | None = "source={new_tool},destination={tool}\n"  # of the list, with the names of Paths; None: no list
    options: tuple = ("-s", "{child}", "-c", "{child}", "-f", "{list}")
    more_options: tuple = ()
    files: tuple = ()  # that are there besides
    folders: tuple = ()  # that are in the way
    ends_in_wait: str = ""  # "updater" or "qvpost": there is an updater, and this one is ended when qvpost waits for it


ONE_LINE = Run.lines

# Each is named as its block in the document.
RUNS = {
    "success": Run(more_options=("-v", "1", "-r", "-i"), ends_in_wait="updater"),
    "leftover": Run(files=("{backup}",)),
    "taken": Run(folders=("{backup}",)),
    "kept": Run(folders=("{tool}",)),
    "BL": Run(fails="--update*"),
    "option": Run(options=("-c", "a,b")),
    "pid": Run(options=("-p", "soon")),
    "unknown": Run(options=("-x",)),
    "argument": Run(options=("-f",)),
    "AC": Run(fails="--shutdown"),
    "AL": Run(fails="--startup"),
    "AD": Run(lines="source=/a=b\n"),
    "AE": Run(lines="Source=/a\n"),
    "AF": Run(lines="source=/a\n"),
    "AG": Run(lines=ONE_LINE + "source={new_tool},destination={folder}/none\n"),
    "AH": Run(lines="source={folder}/none,destination={tool}\n"),
    "list": Run(lines=None),
    "AO": Run(fails="*progress*"),
    "outcome": Run(fails="--shutdown|*error*"),
    "signal": Run(ends_in_wait="qvpost"),
}


def write_executable(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", opener=lambda name, flags: os.open(name, flags, 0o755)) as file:
        file.write(text)


def prepare(run, paths):
    """Makes the files that the run works on."""
    named = vars(paths)
    program = f'#!/bin/sh\ncase "$*" in {run.fails}) exit 3;; esac\n[ "$2" != progress ] || cat <&$4\n'
    write_executable(paths.child, program)
    write_executable(paths.script, program)
    write_executable(paths.new_tool, "")
    if run.lines is not None:
        write_executable(paths.list, run.lines.format(**named))
    folders = [path.format(**named) for path in run.folders]
    for path in folders:
        os.mkdir(path)
    for path in [paths.tool, *(path.format(**named) for path in run.files)]:
        if path not in folders:
            write_executable(path, "")


def log_of(qvpost, run):
    """Makes the run and returns what qvpost and its children wrote on the standard error."""
    with tempfile.TemporaryDirectory() as folder:
        paths = Paths(folder)
        prepare(run, paths)
        options = [option.format(**vars(paths)) for option in run.options + run.more_options]
        updater = None
        if run.ends_in_wait:
            updater = subprocess.Popen(["sleep", "60"])
            options = ["-p", str(updater.pid), *options]
        post = subprocess.Popen(
            [qvpost, *options],
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            text=True,
            env={**os.environ, "QV_SYSTEM": folder},
        )
        log = ""
        for line in post.stderr:
            log += line
            if "Still waiting" not in line:
                continue
            if run.ends_in_wait == "qvpost":
                post.terminate()
            elif updater.poll() is None:
                updater.kill()
                updater.wait()  # a zombie would be waited for
        post.wait()
        if updater is not None:
            updater.kill()
            updater.wait()
        return log


def with_threads_named(log):
    """The log with the beginnings of its lines as the document shows them."""
    beginning = r"^(\d+) (\d+) \d\d:\d\d:\d\d \d{3}\.\d{3} "
    return re.sub(beginning, lambda ids: "<main> " if ids[1] == ids[2] else "<client> ", log, flags=re.M)


def streams(text):
    """The lines of the main thread, of the client's thread, and those without a thread: the document promises no order
    between the three. A line that is repeated at once counts once."""
    # The line of the log that quotes a line of the list has its newline in it.
    lines = re.sub(r"\n'\.$", " '.", text, flags=re.M).splitlines()
    found = {"<main>": [], "<client>": [], "no thread": []}
    for line in lines:
        beginning = line.split(" ", 1)[0]
        own = found[beginning if beginning in found else "no thread"]
        if own[-1:] != [line]:
            own.append(line)
    return found


def pattern_of(lines):
    """What fits the lines of the document, where a word in angle brackets stands for anything."""
    return "".join("\n" + re.sub(r"<(?!main>|client>)[^>]*>", ".*", re.escape(line)) for line in lines) + "\n"


def check_run(name, block, log):
    explanation = r"^    .*\n"
    logged = streams(with_threads_named(log))
    for thread, lines in streams(re.sub(explanation, "", block, flags=re.M)).items():
        # The block of the success is the whole log, each other one a piece of it.
        compare = re.fullmatch if name == "success" else re.search
        if not compare(pattern_of(lines), "".join("\n" + line for line in logged[thread]) + "\n"):
            sys.exit(f"{LOG_PAGE}: the run '{name}' writes other lines ({thread}):\n{log}")


def check_log(qvpost):
    blocks = dict(re.findall(r"```log (\w+)\n(.*?)```", text_of(LOG_PAGE), re.S))
    if set(blocks) != set(RUNS):
        sys.exit(f"{LOG_PAGE}: blocks without a run, or runs without a block: {sorted(set(blocks) ^ set(RUNS))}")
    for name, run in RUNS.items():
        check_run(name, blocks[name], log_of(qvpost, run))
    print(f"{LOG_PAGE}: {len(RUNS)} runs write what it says")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    qvpost = os.path.realpath(sys.argv[1])
    os.chdir(os.path.join(os.path.dirname(os.path.realpath(__file__)), ".."))
    check_manual_pages()
    check_codes()
    if sys.argv[1] != "--pages":
        check_log(qvpost)


if __name__ == "__main__":
    main()
