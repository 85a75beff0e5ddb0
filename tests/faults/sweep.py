"""sweep.py FUNCTION: in each scenario every call of a function that a run makes fails in turn, and the run is killed at
each of them. After each run the files, the exit code, the log and what the client received are checked. The exceptions
bear the names that docs/reliability.md gives them."""

import errno
import os
import re
import sys

from installation import Installation

KILL = 0
# The errors of a function, whether one on the way to success ends the run, and what is said of it.
FUNCTIONS = {
    "rename": ("EXDEV EACCES", True, "Can't rename '"),
    "unlink": ("EACCES EIO", False, ""),
    "stat": ("EACCES", False, ""),
    "lstat": ("EIO", False, ""),
    "open": ("EACCES", False, ""),
    "syncfs": ("EIO ENOSPC", False, "Error: Can't flush 'app/one' in context ['AG']"),
    "fdatasync": ("EIO", False, ""),
    "fopen": ("EMFILE EINTR", True, "Can't open 'list' for reading"),
    "fgets": ("EIO EISDIR", True, "Read from 'list' failed"),
    "new": ("ENOMEM", True, "Memory allocation failed in method 'PostMain::UpdateFiles()' context [list]"),
    "pipe2": ("EMFILE", False, ""),
    "read": ("EINTR EIO", False, ""),
    "poll": ("ENOMEM", False, ""),
    "fork": ("EAGAIN ENOMEM", True, "Function fork() failed"),
    "execvp": ("ENOENT ETXTBSY", True, ""),
    "waitpid": ("EINTR ECHILD", True, "Can't wait for "),
    "socketpair": ("EMFILE ENOMEM", False, "PostMain: WARNING! Could not create pipe. Error is '-1'."),
    "fcntl": ("EBADF", False, ""),
    "pthread_create": ("EAGAIN EPERM", False, "PostMain: ERROR! Failed to create the progress thread."),
    "send": ("EPIPE ENOBUFS", False, "PostMain: ERROR! Could not write to 'FD#"),
}
# What the children do, and the exit code of a run without a fault.
SCENARIOS = {
    "AllGoesWell": ("progress until 0", 0),
    "ScriptFails": ("progress until 0; --update exit 7", 7),
    "ServerStartFails": ("progress until 0; --startup exit 7", 7),
    "ClientFailsEarly": ("progress calls --update exit 7; --update report _; success exit 7", 7),
    "ClientFailsLate": ("progress until 0 exit 7; success exit 7", 7),
    "LastSourceMissing": ("progress until 0", errno.ENOENT),
}
function = sys.argv[1]
errors, ends_run, said = FUNCTIONS[function]


def expect(what, actual, *expected):
    assert actual in expected, f"{what}\n  expected: {' or '.join(map(repr, expected))}\n  actual:   {actual!r}"


class Run:
    def __init__(self, installation, scenario, call, error):
        """Over a leftover of an earlier run that can be removed, and one that cannot."""
        self.installation, self.scenario = installation, scenario
        plan, self.usual_code = SCENARIOS[scenario]
        installation.write("app/one.temporary", "leftover")
        os.mkdir(installation.root / "app/two.temporary")
        self.new = {"one": "new-one", "two": "" if scenario == "LastSourceMissing" else "new-two"}
        if not self.new["two"]:
            os.remove(installation.root / "new/two")
        # What two threads report then must come in the same order each time. The client is the second child.
        waits = "--update report _;" if function in ("fork", "execvp", "waitpid") and call == 2 else ""
        installation.start({"plan": waits + plan, "fault": f"{function} {call} {error}"})
        self.code, self.log = installation.wait(), installation.log()
        *_, faults, self.left = installation.counts()
        self.failed, self.killed, self.error = faults > 0, faults > 0 and error == KILL, error
        self.kept = "updated entries" in self.log  # the new files stay: the backups are being removed

    def match(self, pattern):
        found = re.search(pattern, self.log, re.S)
        return found[1] if found else ""

    def check(self):
        expect("killed", self.code == -9, self.killed)
        for name, new in self.new.items():
            self.check_line("new/" + name, "app/" + name, new)
        if function != "fcntl":
            expect("given", self.installation.given(), set(), {"0 1 2"})
        if not self.killed:
            may_stay = {"fcntl": 1, "pthread_create": 2}.get(function, 0)  # a stream that seemed closed, the pair
            assert self.left <= may_stay, f"{self.left} descriptors are left."
            self.check_code()
            self.check_what_client_was_told()
            if "Updating files" in self.log and function != "unlink":  # list-untouched, list-kept
                assert not (self.installation.root / "list").exists(), "The list is left."

    def check_line(self, source, file, new):
        root, read = self.installation.root, self.installation.read
        backup = self.match(f"Renaming '{file}' as '({file}[^']*)") or "none"
        if self.killed and not self.kept and (root / backup).is_file():  # what docs/reliability.md tells to do
            if (root / file).exists() and not (root / source).exists():
                os.rename(root / file, root / source)
            if not (root / file).exists():
                os.rename(root / backup, root / file)
        restore_failed = not self.killed and f"Can't rename '{backup}' " in self.log
        assert not restore_failed or function == "rename", "Nothing kept it from being restored."
        backup_kept = re.search(f"Can't remove '{backup}'|Can't flush '", self.log)
        new_file_lost = self.match(f"Rolling back.*(name '{file}' in context)")
        stays = backup_kept or (restore_failed and read(file) == "")
        expect(backup, read(backup), "old" if stays else "", *(["old"] if self.killed and self.kept else []))
        expect(file, read(file) + (read(backup) if restore_failed else ""), new if self.kept else "old")
        expect(source, read(source), "" if self.kept or new_file_lost else new)

    def check_code(self):
        assert not self.failed or said in self.log, "The fault is not reported."
        if self.failed and ends_run:
            expect("exit code", self.code, self.error, self.usual_code or self.error)
        else:
            script_unseen = [0] if "qvserver' does not exist" in self.log else []
            leftover_unseen = [errno.EISDIR] if function in ("stat", "lstat") else []  # the one that cannot be removed
            expect("exit code", self.code, self.usual_code, *script_unseen, *leftover_unseen)
        assert self.kept if self.code == 0 else f"Error is {self.code}, '" in self.log, self.code

    def check_what_client_was_told(self):
        told = re.findall("client --[^;]*", self.installation.read("calls"))
        progress = self.installation.read("progress")
        values = progress.partition(":")[2].split()
        value_lost = re.search("Can't set no-inherit mode|Could not write to", self.log)
        is_read = progress and self.scenario != "ClientFailsEarly" and not value_lost
        if self.code == 0 or self.kept:  # late-client
            expect("calls", told, [] if "' 'progress' '" in self.log else ["client --post success"])
            return expect("progress", values, ["1", "33", "66", "100"] if is_read else values)
        outcome_failed = "' context [A" in self.log  # outcome-client
        if is_read and not outcome_failed and "complete update in" not in self.log:  # client-rejects
            expect("last progress", values[-1], f"-{self.code}")
        context = self.match(r"Error: [^\n]* context \['?([A-Z]{2})")
        server = {"AA AB AC": "shutdown", "AJ AK AL": "startup"}
        action = next((action for codes, action in server.items() if context in codes.split()), "update")
        form = f"client --post {action} --error " + (r"\d+" if outcome_failed else str(self.code))
        form += r" --entry app/\w+" if self.match(r"(context \['A[GH].*Closing)") else ""
        if not outcome_failed or told not in ([], ["client --post success"]):
            assert re.fullmatch(form, "; ".join(told)), f"calls\n  expected: {form}\n  actual:   {told}"


def play(scenario, call, error):
    """Whether the call was made."""
    with Installation("FAULTS") as installation:
        try:
            run = Run(installation, scenario, call, error)
            run.check()
        except AssertionError as difference:
            name = errno.errorcode.get(error, "kill")
            sys.exit(f"{function} {call}, {name}, in {scenario}: {difference}\n{installation.written()}")
        return run.failed


met = 0
for scenario in SCENARIOS:
    call = 1
    while play(scenario, call, KILL):
        met += sum(play(scenario, call, getattr(errno, name)) for name in errors.split())
        call += 1
assert met > 0, "No run calls it."
