#!/usr/bin/python3
"""Runs the programs that the documents show and those of examples/installation, as a reader would.

    scripts/check-examples.py QVPOST      with this qvpost, and with the library and the qvpost-list of its build
"""

import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile

from documents import SOURCE, block, text_of

QVPOST = os.path.realpath(sys.argv[1])
LIBRARY = os.path.join(os.path.dirname(QVPOST), "../common/libqvcommon.a")
EXAMPLE = os.path.join(SOURCE, "examples/installation")
RECIPES = "docs/recipes.md"
ODD = b"doc/a, b=c\xff"  # a name that a list has to escape
tried = 0


def require(holds, *what):
    global tried
    tried += 1
    if not holds:
        sys.exit(f"An example does not do what it should: {what}")


def write(path, text, mode=0o755):
    path, text = os.fsencode(path), os.fsencode(text)
    os.makedirs(os.path.dirname(path) or b".", exist_ok=True)
    with open(path, "wb", opener=lambda name, flags: os.open(name, flags, mode)) as file:
        file.write(text)


def compiled(source, name):
    tool = ["g++", "-std=c++20", "-Wall", "-Wextra", "-Werror", "-I", SOURCE]
    subprocess.run([*tool, source, "-o", name, LIBRARY, "-pthread"], check=True)


def run(*command, **options):
    return subprocess.run(command, capture_output=True, timeout=120, **options)


SERVER = '#!/bin/sh\necho "$1" >>"$QV_SYSTEM/calls"\n'


def version(name, files):
    """NAME.tar.gz with these files, a server program and the client."""
    directory = os.path.join("files", name)
    with open("qvclient", "rb") as client:
        files = {"bin/qvserver": SERVER, "bin/qvclient": client.read(), ODD: name, **files}
    for path, text in files.items():
        write(os.path.join(os.fsencode(directory), os.fsencode(path)), text)
    subprocess.run(["tar", "-czf", f"{name}.tar.gz", "-C", directory, "."], check=True)


def snapshot(directory):
    listing = 'cd "$1/" && find . -printf "%P %y %m %l\\n" && tar --sort=name -cf - .'
    return run("bash", "-c", listing, "", directory).stdout


def check_clients():
    write("client.py", block("man/qvpost-client.7", "A client in Python"))
    for command in ["./client.py"], ["./qvclient"]:
        ours, theirs = socket.socketpair()
        ours.sendall(b"1\x0033\x00-5\x00")
        ours.shutdown(socket.SHUT_WR)
        shown = run(*command, "--post", "progress", "--fd", str(theirs.fileno()), pass_fds=[theirs.fileno()]).stdout
        require(re.findall(rb"\d+", shown) == [b"1", b"33", b"5"], command, shown)
        shown = run(*command, "--post", "update", "--error", "2", "--norestart").stdout
        require(b"error 2" in shown, command, shown)


def update(root, *command):
    """Runs an updater, waits for the end of the run, and returns the updater's result and the line in update.log."""
    done = run(*command)
    subprocess.run(["flock", os.path.join(root, "update.lock"), "true"], check=True, timeout=120)
    return done, text_of(os.path.join(root, "update.log")).splitlines()[-1]


def check_versions():
    """The example, set up as the recipe says: a success, a failure, a kill, the way back, and what is refused."""
    root, updater = os.path.realpath("app"), os.path.join(EXAMPLE, "updater.sh")
    setup = {"scripts/setup/qvserver": text_of(os.path.join(EXAMPLE, "setup.sh"))}
    version("app-1.4", {**setup, "share/app.conf": "default", "lib/old": "old"})
    version("app-1.5", {**setup, "share/app.conf": "changed", "lib": "a file now"})
    version("app-1.6", {**setup, "bin/qvserver": SERVER + '[ "$1" != --startup ]\n'})
    version("app-1.9", {"scripts/setup/qvserver": "#!/bin/sh\nkill -KILL $PPID\nsleep 60\n"})
    done = run("bash", "-euc", block(RECIPES, "### Set up"), env={**os.environ, "root": root, "QV_SYSTEM": root})
    require(done.returncode == 0, "the set-up", done)

    done, last = update(root, updater, root, "app-1.5.tar.gz")
    require(done.returncode == 0 and "updated; version app-1.5" in last, done, last)
    require(snapshot(f"{root}/current") == snapshot("files/app-1.5"), "not exactly the new version")
    for name, failure in ("app-1.6", "'startup' with error 1 "), ("app-1.9", "'update' with error 4 "):
        done, last = update(root, updater, root, name + ".tar.gz")
        require(f"failed in {failure}" in last and "the old server runs" in last, name, done, last)
        require(snapshot(f"{root}/current") == snapshot("files/app-1.5"), name, "not exactly the old version")
    with open("app-1.6.tar.gz", "rb") as whole:
        damaged = whole.read()[:-100]
    write("app-1.7.tar.gz", damaged)
    write("app-1.8.tar.gz", damaged)
    write("app-1.8.tar.gz.sha256", "0" * 64 + "  x\n")
    for name, reason in ("app-1.4", "previous"), ("app-1.5", "current"), ("app-1.7", "damaged"), ("app-1.8", "match"):
        done = run(updater, root, name + ".tar.gz")
        require(done.returncode != 0 and reason in done.stderr.decode(), name, done)
    done, last = update(root, os.path.join(EXAMPLE, "revert.sh"), root)
    require("updated; version app-1.4" in last and snapshot(f"{root}/current") == snapshot("files/app-1.4"), done, last)
    require(text_of(os.path.join(root, "etc/app.conf")) == "default", "the configuration was touched")
    check_rehearsal(root, "app-1.5.tar.gz")


def check_single_files():
    """The updaters of the recipes: an update, and one that is refused for a name that no list can hold."""
    shutil.copy(os.path.join(EXAMPLE, "run.sh"), ".")
    write("updater.sh", block(RECIPES, "\n### In shell\n"))
    write("updater.cpp", block(RECIPES, "\n### In C++\n"))
    compiled("updater.cpp", "updater")
    for updater in "./updater.sh", "./updater":
        root = os.path.realpath(tempfile.mkdtemp(prefix="root ", dir="."))
        version("1", {"bin/tool": "old"})
        version("2", {"bin/tool": "new"})
        version("3", {"bin/tool": "new", "doc/\n": "new"})
        subprocess.run(["tar", "-xzf", "1.tar.gz", "-C", root], check=True)
        write(os.path.join(os.fsencode(root), b"doc/\n"), "old")
        check_rehearsal(root, "2.tar.gz")
        done, last = update(root, updater, root, "2.tar.gz")
        require(done.returncode == 0 and "updated" in last, updater, done, last)
        done, last = update(root, updater, root, "3.tar.gz")
        require(done.returncode != 0, updater, done)
        for name in b"bin/tool", ODD:
            with open(os.path.join(os.fsencode(root), name), "rb") as file:
                require(file.read() in (b"new", b"2"), updater, name)
        done = run("sh", "-c", block(RECIPES, "\n## Recovering\n"), env={**os.environ, "root": root})
        require(done.stdout == b"nothing to recover\n", updater, done)


def check_rehearsal(root, new):
    before = snapshot(root)
    write("rehearse.sh", block(RECIPES, "\n## A rehearsal\n").replace("/usr/libexec/qvpost", QVPOST))
    done = run("./rehearse.sh", root, new)
    require(done.returncode == 0 and b"ended with 0" in done.stdout and b"differ" in done.stdout, done)
    write("server", '#!/bin/sh\n[ "$1" != --startup ]\n')
    done = run("./rehearse.sh", root, new, os.path.realpath("server"))
    require(done.returncode == 1 and b"differ" not in done.stdout and snapshot(root) == before, done)


with tempfile.TemporaryDirectory() as work:
    os.chdir(work)
    os.environ["PATH"] = os.path.join(os.path.dirname(QVPOST), "../list") + ":" + os.environ["PATH"]
    os.environ["QVPOST"] = QVPOST
    os.environ.pop("QV_SYSTEM", None)
    compiled(os.path.join(EXAMPLE, "client.cpp"), "qvclient")
    check_clients()
    for shell in re.findall(r"```(?:ba)?sh\n(.*?)```", text_of("docs/systemd.md"), re.S):
        require(run("bash", "-n", input=shell.encode()).returncode == 0, shell)
    check_versions()
    check_single_files()
print(f"The programs that the documents show: {tried} things tried")
