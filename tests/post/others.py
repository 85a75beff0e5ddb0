"""Runs that a row of runs.txt can't describe, each a test: others.py NAME."""

import os
import signal
import subprocess
import sys

from installation import Installation, read, write


def updater_goes(goes=True):
    with subprocess.Popen(["sleep", "600"]) as updater, Installation() as installation:
        row = {"options": f"-c bin/client -f list -p {updater.pid}", "log": "has exited."}
        if not goes:
            row |= {"exit": "4", "calls": "client --post update --error 4", "log": "Interrupted by signal 'SIGINT'."}
        installation.start(row)
        installation.await_log(f"Still waiting for pid '{updater.pid}' to continue.\n<main> PostMain: Still")
        if not goes:
            os.kill(installation.run.pid, signal.SIGINT)
            installation.wait()
        updater.kill()
        updater.wait()
        installation.check(row)


def signal_ends_the_wait():
    updater_goes(False)


def signal_ends_between_two_lines():
    row = {"before": "rm list; mkfifo list", "options": "-f list", "exit": "4", "log": "signal 'SIGTERM'."}
    with Installation() as installation:
        installation.start(row)
        installation.await_log("Updating files")
        with open(installation.at("list"), "w") as updates:
            print("source=new/one,destination=app/one", file=updates, flush=True)
            installation.await_log("Renaming 'new/one' as 'app/one'.")
            os.kill(installation.run.pid, signal.SIGTERM)
            print("source=new/two,destination=app/two\nnever read", file=updates)
        installation.check(row)


def long_destinations_lose_nothing():
    """Round the length at which the names of leftovers are cut. The neighbour has the name that a cut could leave."""
    for length in (1011, 1021, 1022, 1023):
        for code in (0, 5):
            with Installation() as installation:
                folder = installation.at("long") + 9 * ("/" + 90 * "d") + "/"
                os.makedirs(folder)
                path = folder.ljust(length, "f")
                write(path, "old")
                write(path[:-1], "neighbour")
                row = {"options": "-s bin/server -f list", "plan": f"--update exit {code}"}
                installation.start(row | {"list": "source=new/one,destination=" + path})
                assert installation.wait() == code
                assert read(path) == ("old" if code else "new-one")
                assert read(path[:-1]) == "neighbour"
                assert len(os.listdir(folder)) == 2


globals()[sys.argv[1]]()
