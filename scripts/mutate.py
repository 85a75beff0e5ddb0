#!/usr/bin/python3
"""The work of scripts/mutate.sh, which says what it is for.

The compiler's own front end (libclang) finds the places; a place inside a macro's arguments or body isn't one. Every
core gets a worker with a copy of the sources and a build of it, which is put back as it was before each fault. A fault
that doesn't compile, or leaves the machine code as it is, isn't counted.
"""
import argparse
import collections
import dataclasses
import difflib
import filecmp
import functools
import itertools
import json
import os
import random
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

from clang.cindex import CursorKind, Index, TranslationUnit, TypeKind

PROJECT = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
FOLDERS = [folder for folder in ("post", "list", "common") if os.path.isdir(os.path.join(PROJECT, folder))]

# The labels of the tests, from the quickest to the slowest.
STAGES = ("library", "runs", "list", "faults")
STAGES_OF_FOLDER = {"common": STAGES, "post": STAGES[1:], "list": STAGES[2:3]}

BINARY = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&"}
BINARY |= {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "|", "<<": ">>", ">>": "<<"}
BINARY |= {"+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "|=": "&=", "&=": "|="}
UNARY = {"++": "--", "--": "++", "!": "", "-": "", "~": ""}
OVERLOADED = {**UNARY, **BINARY}
del OVERLOADED["<<"], OVERLOADED[">>"]  # of streams, which can't be read from

# What a run may use: a fault may start processes without end, or fill the memory and the disk.
LIMITS = ["--nproc=300", "--as=4294967296", "--fsize=3221225472", "--core=0"]
FIRST_USER = 65000  # of the workers, each with a number of its own, where root must be limited too


@dataclasses.dataclass(frozen=True, order=True)
class Place:
    """Bytes of a file that a fault replaces by one of the replacements."""

    file: str
    start: int
    end: int
    replacements: tuple
    words: str


@dataclasses.dataclass(frozen=True)
class Fault:
    place: Place
    replacement: bytes

    def text(self, original):
        return original[: self.place.start] + self.replacement + original[self.place.end :]

    def shown(self, original):
        line = original.count(b"\n", 0, self.place.start) + 1
        return f"{self.place.file}:{line}: {self.place.words or self.swap(original)}"

    def swap(self, original):
        return f"'{self.replacement.decode()}' for '{original[self.place.start:self.place.end].decode()}'"

    def difference(self, original):
        lines = [text.decode().splitlines() for text in (original, self.text(original))]
        return [line for line in difflib.unified_diff(*lines, n=0, lineterm="") if not re.match(r"---|\+\+\+|@@", line)]


def say(text):
    print(text, file=sys.stderr, flush=True)


def read(path):
    with open(path, "rb") as file:
        return file.read()


def copy(origin, target, *options):
    subprocess.run(["rsync", "-a", "--delete", *options, origin + "/", target], check=True)


# ---- Where a fault can be


def span(cursor):
    return cursor.extent.start.offset, cursor.extent.end.offset


def bare(cursor):
    """The expression below the conversions that the compiler adds."""
    children = list(cursor.get_children())
    while cursor.kind == CursorKind.UNEXPOSED_EXPR and len(children) == 1 and span(children[0]) == span(cursor):
        cursor = children[0]
        children = list(cursor.get_children())
    return cursor


def operator_span(cursor):
    """The bytes of an operator, blanks around it included, and what can stand in its place."""
    children = list(cursor.get_children())
    if cursor.kind in (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
        return span(children[0])[1], span(children[1])[0], BINARY
    if cursor.kind == CursorKind.UNARY_OPERATOR and len(children) == 1:
        (start, end), (inner_start, inner_end) = span(cursor), span(children[0])
        return (start, inner_start, UNARY) if start < inner_start else (inner_end, end, UNARY)
    if cursor.kind == CursorKind.DECL_REF_EXPR and cursor.spelling.startswith("operator"):
        return *span(cursor), OVERLOADED
    return 0, 0, {}


def operator_places(cursor, text):
    start, end, others = operator_span(cursor)
    word = text[start:end].strip().decode()
    if word in others:
        start = text.index(word.encode(), start)
        yield start, start + len(word), [others[word]], ""


def number_places(cursor, text):
    start, end = span(cursor)
    word = text[start:end].decode()
    if cursor.kind == CursorKind.CXX_BOOL_LITERAL_EXPR and word in ("true", "false"):
        yield start, end, ["false" if word == "true" else "true"], ""
    form = re.fullmatch(r"(?=\d)(0[xX]|0(?=\d))?([\da-fA-F']+)([uUlLzZ]*)", word)
    if form and cursor.kind == CursorKind.INTEGER_LITERAL:
        base = {None: 10, "0": 8}.get(form[1], 16)
        value = int(form[2].replace("'", ""), base)
        digits = {10: "{}", 8: "0{:o}", 16: "0x{:x}"}[base]
        neighbours = [value + 1] if value == 0 else [value - 1, value + 1]
        yield start, end, [digits.format(number) + form[3] for number in neighbours], ""


def condition_of(cursor):
    children = list(cursor.get_children())
    if cursor.kind in (CursorKind.IF_STMT, CursorKind.WHILE_STMT):
        return next((child for child in children if child.kind.is_expression()), None)
    if cursor.kind in (CursorKind.CONDITIONAL_OPERATOR, CursorKind.DO_STMT):
        return children[0 if cursor.kind == CursorKind.CONDITIONAL_OPERATOR else -1]
    if cursor.kind == CursorKind.FOR_STMT:  # each of its parts may be missing
        depth, semicolons = 0, []
        for token in cursor.get_tokens():
            depth += {"(": 1, "{": 1, ")": -1, "}": -1}.get(token.spelling, 0)
            if token.spelling == ";" and depth == 1:
                semicolons.append(token.extent.start.offset)
        inside = [child for child in children if semicolons[0] < span(child)[0] < semicolons[1]]
        return inside[0] if inside else None
    if cursor.kind == CursorKind.RETURN_STMT and children and children[0].type.kind == TypeKind.BOOL:
        return children[0]
    return None


def condition_places(cursor, text):
    condition = condition_of(cursor)
    if condition is None:
        return
    words = "condition turned round"
    for declared in cursor.get_children():  # if (const int error = F()) gets a test of its own
        if declared.kind == CursorKind.VAR_DECL and span(declared)[0] <= span(condition)[0] < span(declared)[1]:
            if cursor.kind == CursorKind.IF_STMT:
                end = span(declared)[1]
                yield end, end, [f"; !{declared.spelling}"], words
            return
    inner = bare(condition)
    start, end, _ = operator_span(inner)
    operators = [text[start:end].strip(), *(text[slice(*span(child))] for child in inner.get_children())]  # overloaded
    turned_as_operator = {b"==", b"!=", b"!"} & set(operators)
    if not turned_as_operator and inner.kind != CursorKind.CXX_BOOL_LITERAL_EXPR:
        start, end = span(condition)
        yield start, end, ["!(" + text[start:end].decode() + ")"], words


def statements_in(cursor):
    children = list(cursor.get_children())
    if cursor.kind == CursorKind.COMPOUND_STMT:
        return children
    if cursor.kind == CursorKind.IF_STMT:
        condition = condition_of(cursor)
        return [child for child in children if span(child)[0] > span(condition)[1]]
    if cursor.kind in (CursorKind.WHILE_STMT, CursorKind.FOR_STMT, CursorKind.CXX_FOR_RANGE_STMT):
        return children[-1:]
    if cursor.kind in (CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT):
        return children[-1:]
    return []


def statement_places(cursor, text):
    leaving = (CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT, CursorKind.RETURN_STMT)
    for statement in statements_in(cursor):
        start, end = span(statement)
        if (statement.kind.is_expression() or statement.kind in leaving) and text[start:end].strip():
            yield start, end, [""], "left out"


def places_below(cursor, text):
    if cursor.kind == CursorKind.STATIC_ASSERT:
        return
    for find in (operator_places, number_places, condition_places, statement_places):
        yield from find(cursor, text)
    for child in cursor.get_children():
        yield from places_below(child, text)


def parsed(entry):
    arguments = shlex.split(entry["command"])[1:]
    output = arguments.index("-o")
    arguments = [word for word in arguments[:output] + arguments[output + 2 :] if word not in ("-c", entry["file"])]
    options = TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD  # the macros
    unit = Index.create().parse(entry["file"], args=arguments, options=options)
    errors = [str(message) for message in unit.diagnostics if message.severity >= 3]
    if errors:
        sys.exit("\n".join(errors))
    return unit


def find_places(source, build):
    """All places of the product, those of a header by way of the first file that includes it."""
    commands = json.loads(read(os.path.join(build, "compile_commands.json")))
    places, done = set(), set()
    for entry in sorted(commands, key=lambda entry: entry["file"]):
        name = os.path.relpath(entry["file"], source)
        if name.split("/")[0] not in FOLDERS or name in done:
            continue
        cursors, macros = collections.defaultdict(list), collections.defaultdict(list)
        for cursor in parsed(entry).cursor.get_children():
            file = cursor.location.file and os.path.relpath(cursor.location.file.name, source)
            if file and file.split("/")[0] in FOLDERS and file not in done:
                is_macro = cursor.kind == CursorKind.MACRO_INSTANTIATION
                (macros[file].append(span(cursor)) if is_macro else cursors[file].append(cursor))
        for file, found in cursors.items():
            text = read(os.path.join(source, file))
            for start, end, others, words in itertools.chain(*(places_below(cursor, text) for cursor in found)):
                inside = [macro for macro in macros[file] if macro[0] <= start and end <= macro[1]]
                if not inside or inside == [(start, end)]:
                    places.add(Place(file, start, end, tuple(word.encode() for word in others), words))
        done |= {name, *cursors}
    return sorted(places)


def choose_faults(places, seed, files):
    if files:
        wanted = [os.path.relpath(os.path.realpath(name), PROJECT) for name in files]
        places = [place for place in places if any((place.file + "/").startswith(name + "/") for name in wanted)]
    chance = random.Random(seed)
    chance.shuffle(places)
    return [Fault(place, chance.choice(place.replacements)) for place in places]


# ---- What a fault does


class Worker:
    """A copy of the sources, its build, and what both were before the fault."""

    def __init__(self, folder, scratch, origin, number):
        self.origin = origin
        self.temporary = os.path.join(scratch, str(number))
        self.tree, self.pristine = (os.path.join(folder, f"{kind}-{number}") for kind in ("worker", "pristine"))
        self.source, self.build_folder = (os.path.join(self.tree, name) for name in ("source", "build"))
        self.log = os.path.join(folder, f"log-{number}")
        self.user = FIRST_USER + number if os.getuid() == 0 else None
        self.lock, self.process, self.ended = threading.Lock(), None, False

    def confined(self, command):
        """The command where it can neither start processes without end nor leave any behind."""
        spaces = ["unshare", "--pid", "--fork", "--kill-child", "--mount-proc"]
        limited = ["prlimit", *LIMITS]
        if self.user is None:
            spaces += ["--user", "--map-current-user"]
        else:  # no limit of processes counts for root
            limited = ["setpriv", f"--reuid={self.user}", f"--regid={self.user}", "--clear-groups", *limited]
        # The shell stays, as the process that collects orphans.
        shell = ["sh", "-c", '"$@"; exit $?', "sh"]
        return ["setpriv", "--pdeathsig=KILL", *spaces, *shell, *limited, *command]

    def run(self, command, limit=None):
        """The exit code, or None when the time was up. What was printed is in the log."""
        environment = {**os.environ, "TMPDIR": self.temporary}
        with open(self.log, "wb") as log, self.lock:
            if self.ended:
                raise SystemExit
            self.process = subprocess.Popen(
                self.confined(command), stdin=subprocess.DEVNULL, stdout=log, stderr=log, env=environment, cwd=self.tree
            )
        try:
            return self.process.wait(limit)
        except subprocess.TimeoutExpired:
            self.kill()
            return None

    def kill(self):
        """Kills the first process of the namespace; unshare ends when all the others are gone too."""
        if self.process is None or self.process.poll() is not None:
            return
        first = read(f"/proc/{self.process.pid}/task/{self.process.pid}/children").split()
        for number in first:
            os.kill(int(number), signal.SIGKILL)
        if not first:
            self.process.kill()
        self.process.wait()

    def end(self):
        with self.lock:
            self.ended = True
            self.kill()

    def printed(self):
        return read(self.log).decode(errors="replace")

    def require(self, command):
        if self.run(command) != 0:
            fail(f"without a fault this fails: {shlex.join(command)}\n{self.printed()[-4000:]}")

    def copy(self, origin, target):
        copy(origin, target, *([f"--chown={self.user}:{self.user}"] if self.user is not None else []))

    def configure(self):
        os.makedirs(self.tree)
        self.copy(self.origin, self.source)
        for folder in (self.tree, self.build_folder, self.temporary):
            self.make_folder(folder)
        # Optimised, so that more of the faults without effect give the same code. The tests are listed when they run,
        # not when they are built: that runs the code with the fault.
        options = ["-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O1", "-DBUILD_TESTING=ON"]
        options += ["-DCMAKE_CXX_FLAGS=-Werror=return-type", "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"]
        self.require(["cmake", "-S", self.source, "-B", self.build_folder, "-G", "Ninja", *options])

    def make_folder(self, path):
        os.makedirs(path, exist_ok=True)
        if self.user is not None:
            os.chown(path, self.user, self.user)

    def build(self):
        return ["cmake", "--build", self.build_folder, "-j1"]

    def tests(self, stage):
        options = ["--stop-on-failure", "--output-on-failure", "--no-tests=error", "--parallel", "4"]
        return ["ctest", "--test-dir", self.build_folder, "-L", f"^{stage}$", *options]

    def prepare(self):
        """Builds and tests without a fault; the seconds that each stage takes."""
        self.require(self.build())
        self.require(["ctest", "--test-dir", self.build_folder, "-N", "-LE", "|".join(STAGES)])
        if "Total Tests: 0" not in self.printed():
            fail(f"tests without a label that says when to run them:\n{self.printed()}")
        taken = {}
        for stage in STAGES:
            begin = time.monotonic()
            self.require(self.tests(stage))
            taken[stage] = time.monotonic() - begin
        self.copy(self.tree, self.pristine)
        return taken

    def plant(self, fault):
        """Builds with this fault alone: None, or why it doesn't count."""
        self.copy(self.pristine, self.tree)
        shutil.rmtree(self.temporary)  # what tests that were killed have left
        self.make_folder(self.temporary)
        path = os.path.join(self.source, fault.place.file)
        text = fault.text(read(path))
        with open(path, "wb") as file:
            file.write(text)
        if self.run(self.build()) != 0:
            return "doesn't compile"
        return None if any(map(self.differs, self.objects())) else "no difference"

    def objects(self):
        """The object files of the product."""
        folders = [os.path.join(self.build_folder, folder) for folder in FOLDERS]
        found = subprocess.run(["find", *folders, "-name", "*.o"], capture_output=True, check=True, text=True)
        return found.stdout.split()

    def differs(self, path):
        return not filecmp.cmp(path, self.pristine + path.removeprefix(self.tree), shallow=True)

    def notice(self, fault, limits):
        """The stage that fails and how; None when all pass."""
        for stage in STAGES_OF_FOLDER[fault.place.file.split("/")[0]]:
            code = self.run(self.tests(stage), limits[stage])
            if code != 0:
                return stage, "hung" if code is None else "caught"
        return None


class Round:
    """Hands the faults out in their order, until enough of them count."""

    def __init__(self, faults, count):
        self.faults, self.count = iter(faults), count
        self.counted = self.undecided = 0
        self.uncounted, self.results = collections.Counter(), {}
        self.changed = threading.Condition()

    def take(self):
        with self.changed:
            self.changed.wait_for(lambda: self.counted + self.undecided < self.count or self.undecided == 0)
            fault = next(self.faults, None) if self.counted < self.count else None
            self.undecided += fault is not None
            return fault

    def decide(self, reason):
        with self.changed:
            self.undecided -= 1
            self.counted += reason is None
            if reason is not None:
                self.uncounted[reason] += 1
            self.changed.notify_all()

    def work(self, worker, limits):
        while (fault := self.take()) is not None:
            reason = worker.plant(fault)
            self.decide(reason)
            shown = fault.shown(read(os.path.join(worker.origin, fault.place.file)))
            if reason is not None:
                say(f"        {reason}: {shown}")
                continue
            noticed = worker.notice(fault, limits)
            with self.changed:
                self.results[fault] = noticed
                outcome = "survived" if noticed is None else "{1} in {0}".format(*noticed)
                say(f"{len(self.results)}/{self.count}  {outcome}: {shown}")


# ---- All of it


def fail(text):
    say(text)
    os.kill(os.getpid(), signal.SIGTERM)  # from any thread; what runs dies with this process


def in_parallel(calls):
    """Runs the calls, a thread each, and returns their results."""
    results = [None] * len(calls)

    def keep(number, call):
        try:
            results[number] = call()
        except BaseException as error:  # pylint: disable=broad-except
            fail(repr(error))

    threads = [threading.Thread(target=keep, args=item, daemon=True) for item in enumerate(calls)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return results


def print_results(faults, trials, origin):
    results = trials.results
    survivors = [fault for fault in faults if fault in results and results[fault] is None]
    for fault in survivors:
        original = read(os.path.join(origin, fault.place.file))
        print(fault.shown(original), *("    " + line for line in fault.difference(original)), sep="\n")
    print(f"{'folder':<10}{'faults':>8}{'caught':>8}{'hung':>8}{'share':>8}")
    for folder in [*FOLDERS, "all"]:
        own = [how for fault, how in results.items() if folder in ("all", fault.place.file.split("/")[0])]
        caught = [how for how in own if how is not None]
        hung = sum(how[1] == "hung" for how in caught)
        if own:
            print(f"{folder:<10}{len(own):>8}{len(caught):>8}{hung:>8}{100 * len(caught) / len(own):>7.0f}%")
    for reason, number in trials.uncounted.items():
        print(f"Not counted, {reason}: {number}")


def options():
    parser = argparse.ArgumentParser(prog="scripts/mutate.sh")
    parser.add_argument("count", nargs="?", type=int, default=60)
    parser.add_argument("seed", nargs="?", type=int, default=1)
    parser.add_argument("files", nargs="*", help="or folders")
    return parser.parse_args()


def main():
    wanted = options()
    # What the tests make is in memory, where that is possible, what is compiled isn't.
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    folder, scratch = (tempfile.mkdtemp(prefix="qvpost-mutate-", dir=place) for place in (None, memory))
    for path in (folder, scratch):
        os.chmod(path, 0o711)  # the workers have users of their own
    origin = os.path.join(folder, "origin")  # as it is now, whatever is changed meanwhile
    workers = [Worker(folder, scratch, origin, number) for number in range(os.cpu_count())]
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    try:
        copy(PROJECT, origin, "--exclude=/build*", "--exclude=/.git")
        in_parallel([worker.configure for worker in workers])
        say(f"Building and testing without a fault, {len(workers)} times")
        find = functools.partial(find_places, workers[0].source, workers[0].build_folder)
        places, *taken = in_parallel([find, *(worker.prepare for worker in workers)])
        faults = choose_faults(places, wanted.seed, wanted.files)
        limits = {stage: 10 + 4 * max(times[stage] for times in taken) for stage in STAGES}
        say(f"{len(faults)} places, seconds allowed: {', '.join(f'{name} {limits[name]:.0f}' for name in STAGES)}")
        begin = time.monotonic()
        trials = Round(faults, wanted.count)
        in_parallel([functools.partial(trials.work, worker, limits) for worker in workers])
        say(f"{(time.monotonic() - begin) / max(1, len(trials.results)):.1f} seconds a fault")
        print_results(faults, trials, origin)
    finally:
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
        for worker in workers:
            worker.end()
        for path in (folder, scratch):
            shutil.rmtree(path)


main()
