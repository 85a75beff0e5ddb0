"""kills.py SCENARIO: qvpost is killed at each of its calls, then recover at each of its own; it recovers once more, and
every file is whole and of one version."""

import itertools
import os
import struct
import subprocess
import sys
import tempfile

from installation import PLACE

QVPOST, QVPOST_LIST = os.environ["FAULTS"], os.environ["LIST_FAULTS"]
# Those that change files, and then the others, between which the files stay as they are.
RUN_CALLS, RUN_READS = ["rename", "unlink"], ["stat", "fgets", "syncfs"]
RECOVER_CALLS = ["renameat", "unlinkat", "syncfs", "fsync"]
NAMES = ["one", "two", "three"]
PREPARED = """rm -rf app scripts; mkdir -p app/new scripts/setup
for name in one two three; do printf old-$name >app/$name; printf new-$name-longer >app/new/$name; done;"""
# What is done before the list is made, and between that and the run.
SCENARIOS = {
    "Succeeds": ("", ":"),
    "FindsLeftovers": ("printf left | tee app/one.temporary app/two.temporary{3,10}; mkdir app/three.temporary", ":"),
    "RollsBack": ("ln -s /bin/false scripts/setup/qvplayer", ":"),
    "MissesSource": ("", "rm app/new/two"),
    "MeetsLinks": ("cd app; ln one one.temporary; ln -f two three; ln -sf nowhere new/three", ":"),
}


def shell(commands):
    subprocess.run(["bash", "-c", commands], check=True, stdout=subprocess.DEVNULL)


def content(name):
    path = "app/" + name
    if os.path.islink(path):
        return "-> " + os.readlink(path)
    return open(path).read() if os.path.isfile(path) else None


def run(program, *arguments, fault="none 0"):
    """The exit code, what it printed and said, and whether the call of the fault was made."""
    environment = {"FAULT": f"{fault} 0", "QV_SYSTEM": "."}
    ended = subprocess.run([program, *arguments], env=environment, capture_output=True, text=True)
    return ended.returncode, ended.stdout, ended.stderr, struct.unpack("4i", open("counts", "rb").read())[2] > 0


def play(scenario, run_fault, recover_fault):
    """Whether the call of each fault was made."""
    before_list, before_run = SCENARIOS[scenario]
    shell(PREPARED + before_list)
    old = {name: content(name) for name in NAMES}
    code, _, said, _ = run(QVPOST_LIST, "make", "app/new", "app")
    assert code == 0, said
    shell(before_run)
    new = {name: content("new/" + name) for name in NAMES}
    *_, run_met = run(QVPOST, "-f", "app/update.list", fault=run_fault)
    *_, recover_met = run(QVPOST_LIST, "recover", "app/update.list.record", fault=recover_fault)
    code, told, said, _ = run(QVPOST_LIST, "recover", "app/update.list.record")
    is_new = content("one") == new["one"]
    end = "new version\n" if is_new else "old version\n"
    at = f"run killed at {run_fault}, recover at {recover_fault}: "
    assert code == 0 and (told.endswith(end) or told == "nothing to recover\n"), at + told + said
    for name in NAMES:
        assert content(name) == (new if is_new else old)[name], at + name
        assert content("new/" + name) == (None if is_new else new[name]), at + "new/" + name
    left = {name for name in os.listdir("app") if "temporary" in name and content(name) not in ("left", None)}
    may_stay = told == "old version\n" and None not in new.values()  # the run had not begun, or was rolled back
    assert not left and (may_stay or not os.path.exists("app/update.list.record")), at + str(left or "a record is left")
    return run_met, recover_met


def main(scenario):
    for function in RUN_CALLS + RUN_READS:
        for fault in (f"{function} {call}" for call in itertools.count(1)):
            if not play(scenario, fault, "none 0")[0]:
                break
            for recover_function in RECOVER_CALLS if function in RUN_CALLS else []:
                calls = itertools.count(1)
                while play(scenario, fault, f"{recover_function} {next(calls)}")[1]:
                    continue


with tempfile.TemporaryDirectory(dir=PLACE) as folder:
    os.chdir(folder)
    main(sys.argv[1])
    os.chdir("/")
