"""kills.py SCENARIO: qvpost is killed at each of its calls, and then mend is killed at each of its own; mend once more, and
every file is whole and of one version."""

import itertools
import os
import shutil
import struct
import subprocess
import sys
import tempfile

QVPOST, QVPOST_LIST = os.environ["FAULTS"], os.environ["LIST_FAULTS"]
KILL = 0
# Those that change files, and then the others, between which the files stay as they are.
RUN_CALLS, RUN_QUESTIONS = ["rename", "unlink"], ["stat", "fgets", "syncfs"]
MEND_CALLS = ["renameat", "unlinkat", "syncfs", "unlink", "fsync"]
NAMES = ["one", "two", "three"]


def leftovers():
    write("app/one.temporary", "leftover")
    write("app/two.temporary3", "leftover")
    write("app/two.temporary10", "leftover")
    os.mkdir("app/three.temporary")


def script_fails():
    os.makedirs("scripts/setup")
    os.symlink("/bin/false", "scripts/setup/qvplayer")


def links():
    os.link("app/one", "app/one.temporary")  # a leftover that is the old file itself
    os.remove("app/three")
    os.link("app/two", "app/three")
    os.remove("app/new/three")
    os.symlink("nowhere", "app/new/three")


# What is done before the list is made, and between that and the run.
SCENARIOS = {
    "Succeeds": (lambda: None, lambda: None),
    "FindsLeftovers": (leftovers, lambda: None),
    "RollsBack": (script_fails, lambda: None),
    "MissesSource": (lambda: None, lambda: os.remove("app/new/two")),
    "MeetsLinks": (links, lambda: None),
}


def write(path, text):
    with open(path, "w") as file:
        file.write(text)


def content(path):
    if os.path.islink(path):
        return "-> " + os.readlink(path)
    return open(path).read() if os.path.isfile(path) else None


def run(program, *arguments, fault="none 0"):
    """The exit code, what it printed and said, and whether the call of the fault was made."""
    write("counts", 12 * "\0")
    environment = {"FAULT": f"{fault} {KILL}", "QV_SYSTEM": "."}
    ended = subprocess.run([program, *arguments], env=environment, capture_output=True, text=True)
    return ended.returncode, ended.stdout, ended.stderr, struct.unpack("3i", open("counts", "rb").read())[2] > 0


def play(scenario, run_fault, mend_fault):
    """Whether the call of each fault was made."""
    shutil.rmtree("app", ignore_errors=True)
    shutil.rmtree("scripts", ignore_errors=True)
    os.makedirs("app/new")
    for name in NAMES:
        write("app/" + name, "old-" + name)
        write("app/new/" + name, "new-" + name + "-longer")
    before_list, before_run = SCENARIOS[scenario]
    before_list()
    old = {name: content("app/" + name) for name in NAMES}
    code, _, said, _ = run(QVPOST_LIST, "make", "app/new", "app")
    assert code == 0, said
    before_run()
    new = {name: content("app/new/" + name) for name in NAMES}
    *_, run_met = run(QVPOST, "-f", "app/update.list", fault=run_fault)
    *_, mend_met = run(QVPOST_LIST, "mend", "app/update.list.record", fault=mend_fault)
    code, told, said, _ = run(QVPOST_LIST, "mend", "app/update.list.record")
    is_new = content("app/one") == new["one"]
    end = "new version\n" if is_new else "old version\n"
    assert code == 0 and (told.endswith(end) or told == "no record, nothing to mend\n"), told + said
    for name in NAMES:
        assert content("app/" + name) == (new if is_new else old)[name], name
        assert content("app/new/" + name) == (None if is_new else new[name]), "new/" + name
    left = {name for name in os.listdir("app") if "temporary" in name and content("app/" + name) != "leftover"}
    assert left <= {"three.temporary"} and not os.path.isfile("app/three.temporary"), left
    assert not os.path.exists("app/update.list.record"), "The record is left."
    return run_met, mend_met


def main(scenario):
    tried = 0

    def is_met(which, run_fault, mend_fault="none 0"):
        nonlocal tried
        tried += 1
        try:
            return play(scenario, run_fault, mend_fault)[which]
        except AssertionError as difference:
            sys.exit(f"run killed at {run_fault}, mend at {mend_fault}: {difference}")

    def calls_of(function, is_killed):
        """The faults that kill at each call of a function, and one at a call that isn't made any more."""
        for call in itertools.count(1):
            yield f"{function} {call}"
            if not is_killed(f"{function} {call}"):
                break

    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None) as folder:
        os.chdir(folder)
        for function in RUN_CALLS + RUN_QUESTIONS:
            for run_fault in calls_of(function, lambda fault: is_met(0, fault)):
                for mend_function in MEND_CALLS if function in RUN_CALLS else []:
                    for _ in calls_of(mend_function, lambda fault: is_met(1, run_fault, fault)):
                        pass
        os.chdir("/")
    print(f"{tried} pairs of kills tried.")


main(*sys.argv[1:])
