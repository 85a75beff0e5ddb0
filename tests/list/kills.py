"""kills.py SCENARIO: qvpost is killed at each of its calls, then recover at each of its own; it recovers once more, and
every file is whole and of one version."""

import itertools
import os
import struct
import subprocess
import sys
import tempfile

from installation import PLACE

# Those that change files, and then the others, between which the files stay as they are.
RUN_CALLS, RUN_READS = ["rename", "unlink"], ["stat", "fgets", "syncfs"]
RECOVER_CALLS = ["renameat", "unlinkat", "syncfs", "fsync"]
NAMES = ["one", "two", "three"]
PREPARED = """rm -rf app scripts; mkdir -p app/new scripts/setup
for name in one two three; do printf old-$name >app/$name; printf new-$name-longer >app/new/$name; done;"""
# What is done before the list is made, and between that and the run.
SCENARIOS = {
    "Succeeds": (":", ":"),
    "FindsLeftovers": ("printf left | tee app/one.temporary app/two.temporary{3,10}; mkdir app/three.temporary", ":"),
    "RollsBack": ("ln -s /bin/false scripts/setup/qvplayer", ":"),
    "MissesSource": (":", "rm app/new/two"),
    "MeetsLinks": ("cd app; ln one one.temporary; ln -f two three; ln -sf nowhere new/three", ":"),
}


def content(name):
    path = "app/" + name
    if os.path.islink(path):
        return "-> " + os.readlink(path)
    return open(path).read() if os.path.isfile(path) else None


def run(program, *arguments, fault="none 0"):
    """The exit code, the output, and whether the call of the fault was made."""
    environment = {"FAULT": f"{fault} 0", "QV_SYSTEM": "."}
    ended = subprocess.run([os.environ[program], *arguments], env=environment, stdout=-1, stderr=-2, text=True)
    return ended.returncode, ended.stdout, struct.unpack("4i", open("counts", "rb").read())[2] > 0


def play(scenario, run_fault, recover_fault):
    """Whether the call of each fault was made."""
    before_list, before_run = SCENARIOS[scenario]
    commands = f"{PREPARED} ({before_list}) >made; $LIST_FAULTS make app/new app && {before_run}"
    subprocess.run(["bash", "-c", commands], check=True)
    old, new = ({name: content(below + name) for name in NAMES} for below in ("", "new/"))
    *_, run_met = run("FAULTS", "-f", "app/update.list", fault=run_fault)
    recover = "LIST_FAULTS", "recover", "app/update.list.record"
    *_, recover_met = run(*recover, fault=recover_fault)
    code, output, _ = run(*recover)
    is_new = content("one") == new["one"]
    expected = {name: (new if is_new else old)[name] for name in NAMES}
    expected |= {"new/" + name: None if is_new else new[name] for name in NAMES}
    found = {name: content(name) for name in expected}
    may_stay = output == "old version\n" and None not in new.values()  # the run had not begun, or was rolled back
    left = [name for name in os.listdir("app") if "temporary" in name and content(name) not in ("left", None)]
    left += ["the record"] if os.path.exists("app/update.list.record") and not may_stay else []
    is_right = code == 0 and output.endswith((f"{'new' if is_new else 'old'} version\n", "nothing to recover\n"))
    at = f"run killed at {run_fault}, recover at {recover_fault}: {output}"
    assert is_right and found == expected and not left, f"{at}expected: {expected}\nactual: {found}\nleft: {left}"
    return run_met, recover_met


with tempfile.TemporaryDirectory(dir=PLACE) as directory:
    os.chdir(directory)
    for function in RUN_CALLS + RUN_READS:
        for fault in (f"{function} {call}" for call in itertools.count(1)):
            if not play(sys.argv[1], fault, "none 0")[0]:
                break
            for recover_function in RECOVER_CALLS if function in RUN_CALLS else []:
                calls = itertools.count(1)
                while play(sys.argv[1], fault, f"{recover_function} {next(calls)}")[1]:
                    continue
    os.chdir("/")
