"""A temporary installation with fake children, and runs of the program in it. The program and its children run in the
folder of the installation, so that all names are short and relative."""

import os
import re
import shutil
import signal
import subprocess
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
# Before ctest kills the test: what it made is removed.
signal.signal(signal.SIGALRM, signal.default_int_handler)
signal.alarm(590)


def read(path):
    return open(path, errors="replace", newline="").read() if os.path.isfile(path) else ""


def write(path, text):
    with open(path, "w") as file:
        file.write(text)


# Those that runs.txt defines.
WORDS = dict(re.findall(r"^(\{\w+\}) = (.*)$", read(HERE + "/runs.txt"), re.M))


def expand(text):
    while word := re.search(r"\{(\w+)( .)?\}", text):
        text = text.replace(word[0], word[2][1] * int(word[1]) if word[2] else WORDS[word[0]])
    return text


class Installation:
    def __init__(self, program="QVPOST"):
        self.program = os.environ[program]
        memory = "/dev/shm"  # where flushing is quick; programs may not be run from everywhere
        usable = os.path.isdir(memory) and not os.statvfs(memory).f_flag & os.ST_NOEXEC
        self.root = tempfile.mkdtemp(prefix="qvpost-", dir=memory if usable else None)
        for folder in ("app", "new", "bin", "scripts/setup"):
            os.makedirs(self.at(folder))
        for name in ("one", "two"):
            write(self.at("app/" + name), "old")
            write(self.at("new/" + name), "new-" + name)
        for child in ("bin/server", "bin/client", "scripts/setup/qvserver"):
            os.symlink(os.environ["FAKE_CHILD"], self.at(child))

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        if self.run.poll() is None:
            self.run.kill()
        shutil.rmtree(self.root)

    def at(self, name):
        return f"{self.root}/{name}"

    def start(self, given):
        """Starts the program as a row of runs.txt says."""
        write(self.at("list"), expand(given.get("list", "{one}{two}")).replace("\\n", "\n"))
        environment = os.environ | {"FAKE_PLAN": given.get("plan", ""), "FAULT": given.get("fault", "")}
        environment["QV_SYSTEM"] = expand(given.get("system", "."))
        if given.get("system") == "none":
            del environment["QV_SYSTEM"]
        commands = f"{expand(given.get('before', ':'))}\nexport FAKE_PROGRAM=$$; exec env --default-signal "
        commands += f"{given.get('by', '')} {self.program} {expand(given.get('options', '{usual}'))}"
        with open(self.at("log"), "ab") as log:
            shell = ["sh", "-c", commands]
            self.run = subprocess.Popen(shell, cwd=self.root, env=environment, stdout=subprocess.PIPE, stderr=log)

    def wait(self):
        """The exit code, or less than 0 for a signal. Until then all that have the standard output have ended, too."""
        if self.run.returncode is None:
            output = self.run.communicate(timeout=300)[0]
            assert output == b"", output
        return self.run.returncode

    def await_log(self, text):
        while text not in self.log():
            assert self.run.poll() is None, self.log()
            time.sleep(0.001)

    def check(self, expected):
        """Waits for the program, and compares with what runs.txt says."""
        code, log, good = self.wait(), self.log(), expected.get("exit", "0") == "0"
        options = expand(expected.get("options", "{usual}"))
        given = {facts.strip() for facts in self.record("facts").split("; ")}
        compared = {  # what is usual, and what was
            "exit": ("0", str(code)),
            "calls": ("{all}" if good and "bin/server" in options else "", self.record("calls")),
            "progress": ("{told}" if good and "bin/client" in options else "", self.record("progress")),
            "files": ("{new}" if good else "{old}", self.files()),
            "given": ("0 1 2" if self.record("facts") else "", " and ".join(given)),
        }
        differences = []
        for what, (usual, actual) in compared.items():
            wanted = expand(expected.get(what, usual))
            if wanted != actual:
                differences.append(f"{what}\n  expected: {wanted}\n  actual:   {actual}")
        pieces, rest = [piece for piece in expand(expected.get("log", "")).split(" + ") if piece], log
        for piece in pieces:
            _, found, rest = rest.partition(piece)
            if not found:
                differences.append(f"log\n  expected, behind the piece before it: {piece}")
        if "FD#-1" in log:
            differences.append("log\n  not expected: FD#-1")
        if "PostMain" in log and os.path.exists(self.at("list")) == ("Removing 'list'" in log):
            differences.append("list\n  the log says otherwise")
        if differences:
            raise AssertionError("\n".join(differences) + "\nThe log:\n" + log)

    def log(self):
        """Without times, "#" for what the system numbers."""
        stamp = r"^(\d+) (\d+) \d\d:\d\d:\d\d \d{3}\.\d{3} "
        text = re.sub(
            stamp, lambda ids: f"<{'main' if ids[1] == ids[2] else 'client'}> ", read(self.at("log")), flags=re.M
        )
        return re.sub(r"(with pid |FD#|thread with id |'--fd' ')\d+", r"\1#", text)

    def record(self, name):
        """What the children wrote down."""
        return read(self.at(name)).removesuffix("; ")

    def files(self):
        paths = [folder + name for folder in ("app/", "new/") for name in os.listdir(self.at(folder))]
        return " ".join(
            sorted(path + ("/" if os.path.isdir(self.at(path)) else "=" + read(self.at(path))) for path in paths)
        )
