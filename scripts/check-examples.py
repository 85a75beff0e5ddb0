#!/usr/bin/python3
"""Does what a reader does with the programs that the documents show: copies them out, compiles and runs them.

    scripts/check-examples.py QVPOST      with this qvpost and the library of its build
"""

import os
import re
import socket
import subprocess
import sys
import tempfile
import time

from documents import block

qvpost = os.path.realpath(sys.argv[1])
library = os.path.join(os.path.dirname(qvpost), "../common/libqvcommon.a")
source = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
work = tempfile.TemporaryDirectory()
os.chdir(work.name)
tried = 0


def write(path, text, mode=0o755):
    os.makedirs(os.path.dirname(path) or b".", exist_ok=True)
    with open(path, "wb", opener=lambda name, flags: os.open(name, flags, mode)) as file:
        file.write(text if isinstance(text, bytes) else text.encode())


def compiled(name, suffix, text):
    write(name + suffix, text, 0o644)
    tool = ["gcc", "-std=c11"] if suffix == ".c" else ["g++", "-std=c++20", "-I", source]
    libraries = [] if suffix == ".c" else [library, "-pthread"]
    subprocess.run(tool + ["-Wall", "-Werror", name + suffix, "-o", name] + libraries, check=True)
    return ["./" + name]


def require(holds, *what):
    global tried
    tried += 1
    if not holds:
        sys.exit(f"An example doesn't do what it should: {what}")


def check_client(command, told):
    ours, theirs = socket.socketpair()
    ours.sendall(b"1\x0033\x00-5\x00")
    ours.shutdown(socket.SHUT_WR)
    shown = subprocess.run(
        command + ["--post", "progress", "--fd", str(theirs.fileno())],
        pass_fds=[theirs.fileno()],
        capture_output=True,
        check=True,
        timeout=60,
    ).stdout
    require(re.findall(rb"\d+", shown) == [b"1", b"33", b"5"], command, shown)
    # 2 is an open descriptor too, on which nothing comes.
    waiting, other = socket.socketpair()
    shown = subprocess.run(
        command + ["--post", "update", "--error", "2"], stdout=subprocess.PIPE, stderr=waiting, check=True, timeout=60
    ).stdout
    require(told in shown, command, shown)
    other.close()


def check_lists(commands):
    """Each command writes the line for two names, or fails and writes nothing."""
    escapes = bytes.maketrans(b",= ", b"\036\035\037")
    for names in [
        (b"/a b,c=d", b"/x=y, z"),
        (b"/\xff\x80", b"/\xc3\xa9 *"),
        (b"%s\\n", b"-e $HOME"),
        (b"/a\r", b"!\t"),
        (b"/a\n", b"/b"),
        (b"/a", b"/\nb"),
        (b"", b"/b"),
        (b"/a", b""),
        (b"/\035", b"/b"),
        (b"/a", b"\036"),
        (b"\037", b"/b"),
        (b"s" * 1023, b"d" * 1003),
        (b"s" * 1004, b" " * 1023),
        (b"s", b"d" * 1024),
        (b"\xc3\xa9" * 511, b"d"),
        (b"\xc3\xa9" * 512, b"d"),
    ]:
        line = b"source=%s,destination=%s\n" % tuple(name.translate(escapes) for name in names)
        bad = len(line) > 2047 or any(not 0 < len(name) < 1024 or set(name) & set(b"\n\035\036\037") for name in names)
        for command in commands:
            run = subprocess.run(command + list(names), capture_output=True)
            require((run.returncode != 0, run.stdout) == (bad, b"" if bad else line), command, names, run)


def check_updater(command, odd):
    """A whole update, or one that is refused for a name that no list can hold."""
    root = os.fsencode(tempfile.mkdtemp(prefix="root ", dir="."))
    for name in (b"bin/qvserver", b"scripts/setup/qvserver"):
        write(os.path.join(root, name), "#!/bin/sh\n")
    write(
        os.path.join(root, b"bin/qvclient"),
        '#!/bin/sh\ntr "\\0" " " <&"$4" >"${0%/*}/told.part"\nmv "${0%/*}/told.part" "${0%/*}/told"\n',
    )
    files = [b"bin/tool", b"doc/a, b=c", b"doc/\xff"] + ([b"doc/\n"] if odd else [])
    for name in files:
        write(os.path.join(root, name), "old")
        write(os.path.join(root, b"new", name), "new")
    added = os.path.join(root, b"added/brand new")
    write(os.path.join(root, b"new/added/brand new"), "new")
    run = subprocess.run(command + [root], stderr=subprocess.PIPE, env={**os.environ, "LC_ALL": "C.UTF-8"}, timeout=60)
    require((run.returncode != 0) == odd, command, run)
    told, end = os.path.join(root, b"bin/told"), time.monotonic() + 60
    while not odd and not os.path.exists(told) and time.monotonic() < end:
        time.sleep(0.1)
    require(odd or os.path.exists(told), command, "the client wasn't started, or hangs")
    contents = {open(os.path.join(root, name), "rb").read() for name in files}
    require(contents == {b"old" if odd else b"new"} and os.path.exists(added) != odd, command, contents)
    require(odd or open(told).read() == "1 33 66 100 ", command)


def check_clients():
    write("client.py", block("man/qvpost-client.7", "A client in Python"))
    check_client(compiled("client", ".c", block("README.md", "## The progress channel")), b"")
    check_client(["./client.py"], b"Not updated")


def check_list_writers():
    page = "man/qvpost-list.5"
    main_function = "\nint main(int argc, char** argv) {{ return argc == 3 && {} ? 0 : 1; }}\n"
    line_c = block(page, "In C:") + main_function.format("put_line(stdout, argv[1], argv[2])")
    line_cpp = block(page, "In C++, with the library") + main_function.format("PutLine(std::cout, argv[1], argv[2])")
    write("line.sh", block(page, "In the shell:") + 'put_line "$1" "$2"\n')
    write("line.py", block(page, "In Python:") + "import sys\nos.write(1, list_line(*sys.argv[1:]))\n")
    check_lists(
        [
            compiled("line_c", ".c", line_c),
            compiled("line_cpp", ".cpp", "#include <iostream>\n" + line_cpp),
            ["python3", "line.py"],
            ["sh", "line.sh"],
            ["bash", "line.sh"],
        ]
    )


# What the list by hand takes the place of, in the updater of a language.
MADE_LIST = {
    "shell": r"qvpost-list mend.*?qvpost-list make.*?\n",
    "Python": r"subprocess.run.*?\nsubprocess.run.*?\n",
    "C++": r"static void MakeList.*?(?=static void StartPost)",
}


def updater_of(language, by_hand):
    page, here = "docs/recipes.md", {
        "/usr/libexec/qvpost": qvpost,
        "/run/systemd/system": "/none",
    }  # no service to leave
    program = block(page, f"\n### In {language}\n")
    if by_hand:
        own = block(page, f"\n### The list in {language}\n")
        program, count = re.subn(MADE_LIST[language], lambda _: own, program, count=1, flags=re.S)
        require(count == 1, language, "the updater has no place for the list by hand")
    return re.sub("|".join(here), lambda name: here[name[0]], program)


def check_updaters():
    os.environ["PATH"] = os.path.join(os.path.dirname(qvpost), "../list") + ":" + os.environ["PATH"]
    for by_hand in (False, True):
        shell, python, cpp = (updater_of(language, by_hand) for language in MADE_LIST)
        write("updater.sh", shell)
        write("updater.py", python)
        for updater in (["./updater.sh"], ["./updater.py"], compiled("updater", ".cpp", cpp)):
            for odd in (False, True):
                check_updater(updater, odd)


check_clients()
check_list_writers()
check_updaters()
print(f"The programs that the documents show: {tried} things tried")
