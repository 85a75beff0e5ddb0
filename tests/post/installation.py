"""A temporary installation with children as child.sh has them, and runs of the program in it. The program and its
children run in the directory of the installation, so that all names are short and relative."""

import os
import re
import shutil
import signal
import struct
import subprocess
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
TABLE = (HERE / "runs.txt").read_text()
WORDS = dict(re.findall(r"^(\{\w+\}) = (.*)$", TABLE.replace(" | {", "\n{"), re.M))
# In memory, where flushing is quick, unless somebody knows a better place.
PLACE = os.environ.get("TMPDIR") or ("/dev/shm" if os.access("/dev/shm", os.W_OK) else None)


def expand(text):
    while word := re.search(r"\{(\w+)( .)?\}", text):
        text = text.replace(word[0], word[2][1] * int(word[1]) if word[2] else WORDS[word[0]])
    return text


class Installation:
    def __init__(self, program="QVPOST"):
        self.program = os.environ[program]
        self.root = Path(tempfile.mkdtemp(prefix="qvpost-", dir=PLACE))
        for directory in ("app", "new", "bin", "scripts/setup"):
            os.makedirs(self.root / directory)
        for name in ("one", "two"):
            self.write("app/" + name, "old")
            self.write("new/" + name, "new-" + name)
        for child in ("bin/server", "bin/client", "scripts/setup/qvserver"):
            os.symlink(HERE / "child.sh", self.root / child)

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        """Kills the program and its children, unless the program was waited for: then they have ended, too."""
        if self.run.returncode is None:
            os.killpg(self.run.pid, signal.SIGKILL)
            self.run.wait()
        shutil.rmtree(self.root)

    def read(self, name):
        path = self.root / name
        return path.read_bytes().decode(errors="replace") if path.is_file() else ""

    def write(self, name, text):
        (self.root / name).write_text(text)

    def start(self, given):
        """Starts the program as a row of runs.txt says."""
        self.write("list", expand(given.get("list", "{one}{two}")).replace("\\n", "\n"))
        environment = os.environ | {"PLAN": given.get("plan", ""), "FAULT": given.get("fault", "none 0 0")}
        environment |= {"QV_SYSTEM": expand(given.get("system", ".")), "NICENESS": str(os.nice(0))}
        if given.get("system") == "none":
            del environment["QV_SYSTEM"]
        commands = f"exec </dev/zero\n{expand(given.get('before', ':'))}\nexport PROGRAM=$$; exec env --default-signal "
        commands += f"{given.get('by', '')} {self.program} {expand(given.get('options', '{usual}'))}"
        with open(self.root / "log", "ab") as log:
            streams = {"stdout": subprocess.PIPE, "stderr": log, "start_new_session": True}
            self.run = subprocess.Popen(["sh", "-c", commands], cwd=self.root, env=environment, **streams)

    def wait(self):
        """The exit code, or less than 0 for a signal. Until then all that have the standard output have ended, too."""
        try:
            output = self.run.communicate(timeout=60)[0]
        except subprocess.TimeoutExpired:
            raise AssertionError(f"It ran longer than 60 seconds and was killed.\n{self.written()}") from None
        assert output == b"", output
        assert not re.search("FD#-1|'-1' bytes", self.log()), self.log()
        return self.run.returncode

    def check(self, expected):
        """Waits for the program, and compares with what runs.txt says."""
        code, log = self.wait(), self.log()
        good, options = expected.get("exit", "0") == "0", expand(expected.get("options", "{usual}"))
        compared = {  # what is usual, and what was
            "exit": ("0", str(code)),
            "calls": ("{all}" if good and "bin/server" in options else "", self.read("calls").removesuffix("; ")),
            "progress": ("{told}" if good and "bin/client" in options else "", self.read("progress")),
            "files": ("{new}" if good else "{old}", self.files()),
            "record": ("", self.read("list.record")),
            "given": ("0 1 2" if self.read("given") else "", " and ".join(self.given())),
        }
        differences = []
        for what, (usual, actual) in compared.items():
            if (wanted := expand(expected.get(what, usual))) != actual:
                differences.append(f"{what}\n  expected: {wanted}\n  actual:   {actual}")
        for piece in filter(None, expand(expected.get("log", "")).split(" + ")):
            _, found, log = log.partition(piece)
            if not found:
                differences.append(f"log\n  expected, behind the piece before it: {piece}")
        if "PostMain" in self.log() and (self.root / "list").exists() == ("Removing 'list'" in self.log()):
            differences.append("list\n  the log says otherwise")
        if differences:
            raise AssertionError("\n".join(differences) + "\n" + self.written())

    def written(self):
        """What the program and its children wrote, for a failure."""
        children = "".join(f"  {name}: {self.read(name)}\n" for name in ("calls", "progress", "given"))
        return f"The children:\n{children}The log:\n{self.log()}"

    def log(self):
        """Without times, "#" for what the system numbers."""
        stamp = r"^(\d+) (\d+) \d\d:\d\d:\d\d \d{3}\.\d{3} "
        text = re.sub(stamp, lambda ids: f"<{'main' if ids[1] == ids[2] else 'client'}> ", self.read("log"), flags=re.M)
        return re.sub(r"(with pid |thread with id )\d+", r"\1#", text)

    def counts(self):
        """What shim.cpp counted."""
        return struct.unpack("4i", (self.root / "counts").read_bytes())

    def given(self):
        """What the children were given, each form of it once."""
        return {given.strip() for given in self.read("given").split(";")[:-1]}

    def files(self):
        paths = [path for directory in ("app", "new") for path in (self.root / directory).iterdir()]
        words = [f"{path.relative_to(self.root)}{'/' if path.is_dir() else '=' + path.read_text()}" for path in paths]
        return " ".join(sorted(words))
