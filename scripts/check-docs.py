"""The Documents test (ctest -R Documents): compares the codes of qvpost(8) with those in post/, makes the runs of
docs/log.md, and compares their logs with its blocks."""

import difflib
import glob
import os
import re
import subprocess
import sys

from documents import SOURCE, text_of
from installation import Installation

LOG_PAGE = "docs/log.md"

# Each run is named as its block in the document, and described as a row of tests/post/runs.txt.
RUNS = {
    "success": {"options": "-p {updater} {usual} -v 1 -r -i"},
    "leftover": {"before": "touch app/one.temporary"},
    "taken": {"before": "mkdir app/one.temporary"},
    "kept": {"before": "rm app/one; mkdir app/one"},
    "BL": {"plan": "--update exit 3"},
    "option": {"options": "-c a,b"},
    "pid": {"options": "-p soon"},
    "unknown": {"options": "-x"},
    "argument": {"options": "-f"},
    "AC": {"plan": "--shutdown exit 3"},
    "AL": {"plan": "--startup exit 3"},
    "AD": {"list": "source=/a=b\n"},
    "AE": {"list": "Source=/a\n"},
    "AF": {"list": "source=/a\n"},
    "AG": {"list": "{one}{two}", "before": "rm app/two"},
    "AH": {"before": "rm new/one"},
    "list": {"before": "rm list"},
    "AO": {"plan": "progress exit 3"},
    "outcome": {"plan": "--shutdown exit 3; shutdown exit 3"},
    "signal": {
        "options": "-p {updater} {usual}",
        "before": "(until grep -q Still log; do sleep 0.01; done; kill $$) &",
    },
}
# What stands for the names of a run in the document, and for what differs from run to run.
NAMES = {
    r"app/\w+\.temporary": "<backup>",
    r"app/\w+": "<destination>",
    r"new/\w+": "<source>",
    "bin/server": "<server>",
    "bin/client": "<client program>",
    r"\./scripts/setup/qvserver": "<script>",
    "'list'": "'<list>'",
}
ANYTHING = "<(pid|thread|number|text|version|program)>"


def check_codes():
    sources = "\n".join(text_of(path) for path in sorted(glob.glob("post/*.cpp")))
    written = set(re.findall(r'"([A-Z]{2})"', sources)) | set(re.findall(r"\[.([A-Z]{2}).\]", sources))
    explained = set(re.findall(r"^\.It Sy ([A-Z]{2}) ", text_of("man/qvpost.8"), re.M))
    if not written or written != explained:
        sys.exit(f"man/qvpost.8: codes that only it or only post/ has: {sorted(written ^ explained)}")


def log_of(run):
    """Makes the run and returns its log with the names that the document uses. The updater of -p ends when it is
    waited for; the run that a signal ends waits for this program, which stays."""
    options, updater, pid = run.get("options", "{usual}"), None, os.getpid()
    with Installation() as installation:
        if "{updater}" in options and "before" not in run:
            wait = ["timeout", "60", "sh", "-c", "until grep -qs Still log; do sleep 0.01; done"]
            updater = subprocess.Popen(wait, cwd=installation.root)
            pid = updater.pid
        installation.start({"list": "{one}"} | run | {"options": options.replace("{updater}", str(pid))})
        if updater:
            updater.wait()
        installation.wait()
        log = installation.log()
    for pattern, name in NAMES.items():
        log = re.sub(pattern, name, log)
    return log


def streams(text):
    """The lines of the main thread, of the client's thread, and those without a thread: the document promises no order
    between the three. A line that is repeated at once counts once."""
    # The line of the log that quotes a line of the list has its newline in it.
    found = {"<main>": [], "<client>": [], "no thread": []}
    for line in re.sub(r"\n'\.$", " '.", text, flags=re.M).splitlines():
        own = found.get(line.split(" ", 1)[0], found["no thread"])
        if own[-1:] != [line]:
            own.append(line)
    return found


def check_run(name, block, log):
    logged = streams(log)
    for thread, expected in streams(re.sub(r"^    .*\n", "", block, flags=re.M)).items():
        patterns = {line: re.sub(ANYTHING, ".*", re.escape(line)) for line in expected}
        actual = [next((line for line in patterns if re.fullmatch(patterns[line], own)), own) for own in logged[thread]]
        # The block of the success is the whole log, each other one a piece of it.
        if name != "success":
            equal = difflib.SequenceMatcher(None, expected, actual, autojunk=False).get_matching_blocks()
            first, last = equal[0], equal[max(0, len(equal) - 2)]
            actual = actual[max(0, first.b - first.a) : last.b - last.a + len(expected)]
        if actual != expected:
            difference = difflib.unified_diff(expected, actual, LOG_PAGE, f"the log, {thread}", lineterm="")
            sys.exit(f"{LOG_PAGE}: the run '{name}' writes other lines:\n" + "\n".join(difference))


os.chdir(SOURCE)
check_codes()
blocks = dict(re.findall(r"```log (\w+)\n(.*?)```", text_of(LOG_PAGE), re.S))
if set(blocks) != set(RUNS):
    sys.exit(f"{LOG_PAGE}: blocks without a run, or runs without a block: {sorted(set(blocks) ^ set(RUNS))}")
for name, run in RUNS.items():
    check_run(name, blocks[name], log_of(run))
