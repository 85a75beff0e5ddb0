"""matrix.py FUNCTION SCENARIO: every call of a function that a run makes fails in turn, and the run is killed at each of
them; after each the installation and what everybody was told are checked. The exceptions carry the names that
docs/reliability.md gives them."""

import collections
import errno
import os
import re
import struct
import sys

sys.path.append(os.path.dirname(os.path.abspath(__file__)) + "/../post")
from installation import Installation, read, write  # noqa: E402

KILL = 0
# The errors of a function; whether one on the way to success ends the run; what is said of it.
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
    "setsockopt": ("ENOMEM", False, ""),
    "pthread_create": ("EAGAIN EPERM", False, "PostMain: ERROR! Failed to create the progress thread."),
    "send": ("EPIPE ENOBUFS", False, "PostMain: ERROR! Could not write to 'FD##'. "),
}
# What the children do, and the exit code of a run without a fault.
SCENARIOS = {
    "AllGoesWell": ("progress until 0", 0),
    "ScriptFails": ("progress until 0; --update exit 7", 7),
    "ServerStartFails": ("progress until 0; --startup exit 7", 7),
    "ClientFailsEarly": ("progress call --update exit 7; --update report _; success exit 7", 7),
    "ClientFailsLate": ("progress until 0 exit 7; success exit 7", 7),
    "LastSourceMissing": ("progress until 0", errno.ENOENT),
}
# The context of a failure: the action word that goes with it, and the report in front of it.
REPORTS = {
    "AA": ("shutdown", "Can't stop server 'bin/server' in"),
    "AB": ("shutdown", "Can't wait for server 'bin/server' in"),
    "AC": ("shutdown", "Failure reported by server 'bin/server' in"),
    "AG": ("update", "Can't rename 'app/"),
    "AH": ("update", "Can't rename 'new/"),
    "AJ": ("startup", "Can't start server 'bin/server' in"),
    "AK": ("startup", "Can't wait for server 'bin/server' in"),
    "AL": ("startup", "Failure reported by server 'bin/server' in"),
    "AM": ("update", "Can't start client 'bin/client' "),
    "AN": ("update", "Can't wait for client 'bin/client' "),
    "AO": ("update", "complete update in 'bin/client' "),
    "BJ": ("update", "Can't update server './scripts/setup/qvserver' in"),
    "BK": ("update", "Can't wait for server './scripts/setup/qvserver' in"),
    "BL": ("update", "Failure reported by server './scripts/setup/qvserver' in"),
    "": ("update", ""),  # the list can't be opened or read
}
PROGRESS_CLIENT = 2  # of the children: the server's stop comes before it, the script and the server's start after it

function, scenario = sys.argv[1:]
plan, usual_code = SCENARIOS[scenario]
last_is_missing = scenario == "LastSourceMissing"
exceptions = collections.Counter()


def excepted(name, met):
    exceptions[name] += bool(met)
    return met


class Run:
    """One run, with an earlier run's leftover that can be removed and one that can't."""

    def __init__(self, installation, call, error):
        self.at = installation.at
        write(self.at("app/one.temporary"), "leftover")
        os.mkdir(self.at("app/two.temporary"))
        if last_is_missing:
            os.remove(self.at("new/two"))
        write(self.at("counts"), 12 * "\0")
        # The order of what two threads report must be the same each time.
        watched = function in ("fork", "execvp", "waitpid") and call == PROGRESS_CLIENT
        fault = f"{function} {call} {error}"
        installation.start({"plan": ("--update report _;" if watched else "") + plan, "fault": fault})
        self.code = installation.wait()
        self.log = installation.log()
        self.calls, self.progress = installation.record("calls"), installation.record("progress")
        _, self.count, self.faults = struct.unpack("3i", open(self.at("counts"), "rb").read())
        self.killed = self.faults > 0 and error == KILL
        self.error = error
        self.kept = "updated entries" in self.log  # the new files stay: the backups are being removed

    def match(self, pattern):
        found = re.search(pattern, self.log, re.S)
        return found[1] if found else ""

    def check(self):
        assert (self.code == -9) == self.killed, self.code
        for name in ("one", "two"):
            self.check_line(name)
        if not self.killed:
            self.check_code()
            self.check_what_client_was_told()
            self.check_list()

    def check_line(self, name):
        source, file = self.at("new/" + name), self.at("app/" + name)
        new = "" if name == "two" and last_is_missing else "new-" + name
        backup_name = self.match(f"Renaming 'app/{name}' as '(app/{name}[^']*)")
        backup = self.at(backup_name or "none")
        if self.killed and not self.kept and os.path.isfile(backup):  # what docs/reliability.md tells to do
            if os.path.exists(file) and not os.path.exists(source):
                os.rename(file, source)
            if not os.path.exists(file):
                os.rename(backup, file)
        missing = not self.killed and excepted("restore-failed", f"Can't rename '{backup_name}' " in self.log)
        stays = excepted("backup-kept", f"Can't remove '{backup_name}'" in self.log or "Can't flush" in self.log)
        left = self.kept and (self.killed or stays)
        lost = excepted("new-file-lost", self.match(f"Rolling back.*(name 'app/{name}' in context)"))
        assert read(backup) in (("", "old") if missing or left else ("",)), f"{backup_name} is left"
        assert read(file) + (read(backup) if missing else "") == (new if self.kept else "old"), file
        assert read(source) == ("" if self.kept or lost else new), source

    def check_code(self):
        code, fails = self.code, self.faults > 0 and FUNCTIONS[function][1]
        assert self.faults == 0 or re.search(re.escape(FUNCTIONS[function][2]), self.log), "The fault isn't reported."
        if fails:
            assert code == self.error or code == usual_code != 0, code
        else:
            unseen = code == 0 and excepted("script-unseen", "qvserver' does not exist" in self.log)
            leftover_unseen = code == errno.EISDIR and function in ("stat", "lstat")  # the one that can't be removed
            assert code == usual_code or unseen or leftover_unseen, code
        assert self.kept if code == 0 else f"Error is {code}, '" in self.log, code

    def check_what_client_was_told(self):
        code, log = self.code, self.log
        told = [call for call in self.calls.split("; ") if call.startswith("client")]
        values = self.progress.partition(":")[2].split()
        reads = self.progress and scenario != "ClientFailsEarly"
        value_lost = not reads or excepted("value-lost", re.search("Can't set no-inherit mode|Could not write to", log))
        if code == 0 or excepted("late-client", self.kept):
            assert told == ([] if "' 'progress' '" in log else ["client --post success"]), told
            assert value_lost or values == ["1", "33", "66", "100"], values
            return
        client_failed = excepted("outcome-client", "' context [A" in log)
        other_value = client_failed or excepted("client-rejects", "complete update in" in log)
        assert value_lost or other_value or values[-1] == f"-{code}", values
        entry = self.match(r"(context \['A[GH].*Closing)")
        report, context = re.search(r"Error: (.*) ?context \['?([A-Z]{2})|$", log).groups(default="")
        action, words = REPORTS[context]
        assert words in report, report
        form = f"client --post {action} --error "
        form += (r"\d+" if client_failed else str(code)) + (r" --entry app/\w+" if entry else "")
        if client_failed and told in ([], ["client --post success"]):
            return
        assert len(told) == 1 and re.fullmatch(form, told[0]), (told, form)

    def check_list(self):
        if os.path.exists(self.at("list")) and not excepted("list-untouched", "Updating files" not in self.log):
            assert excepted("list-kept", function == "unlink"), "The list is left."


def play(call, error):
    with Installation("FAULTS") as installation:
        run = Run(installation, call, error)
        try:
            run.check()
            assert run.faults == (call > 0), "The fault wasn't met."
        except AssertionError as difference:
            name = errno.errorcode.get(error, "kill")
            sys.exit(f"{function} {call}, {name}, in {scenario}: {difference}\n{run.calls}\n{run.progress}\n{run.log}")
        return run.count


calls = play(0, 0)
if function in ("open", "syncfs", "fdatasync", "poll"):
    assert (calls > 0) == (scenario in ("AllGoesWell", "ClientFailsLate")), "It is for runs that succeed."
else:
    assert calls > 0 or last_is_missing, "It was never called."
errors = [KILL] + [getattr(errno, name) for name in FUNCTIONS[function][0].split()]
for call in range(1, calls + 1):
    for error in errors:
        play(call, error)
print(
    f"{calls * len(errors)} faults tried.",
    *(f"exception {name}: {count}" for name, count in exceptions.items()),
    sep="\n",
)
