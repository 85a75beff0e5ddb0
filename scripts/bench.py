#!/usr/bin/python3
"""Runs the benchmarks, prints one table and draws the plots; scripts/bench.sh builds them and calls this.

    scripts/bench.py BUILD [--quick]      the build folder; --quick: a tenth of the work

The plots of a whole run go to docs/, those of a quick one to the build folder.

Every figure is a ratio of two things that were measured in this run, in turns, so that a slow or a busy machine changes
both.
"""

import csv
import datetime
import operator
import os
import re
import signal
import statistics
import subprocess
import sys
import tempfile
import typing

# --- the table --------------------------------------------------------------------------------------------------------

COMPARISONS = {"<=": operator.le, ">=": operator.ge, "=": operator.eq}


def print_line(measure, ratio, processor, goal, verdict, reference):
    print(f"{measure:<66} {ratio:>9} {processor:>9}  {goal:<9} {verdict:<7} {reference}", flush=True)


def title(text):
    print()
    print_line(text, "ratio", "processor", "goal", "", "what it is compared with")


def row(measure, ratio, goal="", processor=None, reference="", decimals=2):
    """Where the ratio of processor time is known it is held against the goal: the elapsed time of a run says much about
    the neighbours too. What is judged is the number as it is shown."""
    shown = f"{ratio:.{decimals}f}"
    shown_processor = "" if processor is None else f"{processor:.2f}"
    verdict = ""
    if goal:
        comparison, bound = goal.split()
        verdict = "met" if COMPARISONS[comparison](float(shown_processor or shown), float(bound)) else "MISSED"
    print_line(measure, shown, shown_processor, goal, verdict, reference)


# --- what is run ------------------------------------------------------------------------------------------------------


class Ran(typing.NamedTuple):
    """How a program ran, in the middle; the ratios are those to the first program."""

    microseconds: float  # of a line, or of a run
    ratio: float
    processor_microseconds: float
    processor: float  # the ratio of processor time
    kilobytes: float  # at the peak


class Bench:
    """The programs, the folder to work in, and how much is to be done."""

    def __init__(self, build, work, quick):
        self.qvpost = os.path.join(build, "post/qvpost")
        self.qvpost_list = os.path.join(build, "list/qvpost-list")
        self.programs_folder = os.path.join(build, "bench")
        self.work = work
        self.quick = quick
        self.plots_folder = build if quick else "docs"

    def program(self, name):
        return os.path.join(self.programs_folder, "bench_" + name)

    def rounds(self, number):
        return max(2, number // 10) if self.quick else number

    def programs(self, *arguments):
        """Runs bench_programs: whole programs beside each other. Returns the numbers that it wrote for each name."""
        command = [self.program("programs"), *map(str, arguments)]
        run = subprocess.run(command, stdout=subprocess.PIPE, text=True)
        if run.returncode != 0:
            sys.exit(f"{' '.join(command)}: {run.stdout}")
        lines = [line.split("\t") for line in run.stdout.splitlines()]
        return {name: [float(number) for number in numbers] for name, *numbers in lines}

    def replace(self, lines, rounds, **programs):
        """Each program replaces that many files. Those whose name ends in "_file" have their log in one."""
        contenders = [f"{name.replace('_', '-')}={program}" for name, program in programs.items()]
        numbers = self.programs("replace", self.work, lines, rounds, *contenders)
        return {name.replace("-", "_"): Ran(*numbers[name]) for name in numbers}

    def google(self, *command, log=os.devnull, environment=None):
        """Runs a program of Google Benchmark. Returns the medians of its pieces, which took turns."""
        options = {
            "enable_random_interleaving": "true",
            "repetitions": self.rounds(15),
            "min_time": "0.05",
            "report_aggregates_only": "true",
            "format": "csv",
        }
        with open(log, "a") as standard_error:
            run = subprocess.run(
                [*command, *(f"--benchmark_{name}={value}" for name, value in options.items())],
                stdout=subprocess.PIPE,
                stderr=standard_error,
                text=True,
                check=True,
                env={**os.environ, **(environment or {})},
            )
        records = csv.DictReader(run.stdout.splitlines())
        return {
            record["name"].removesuffix("_median"): record for record in records if record["name"][-7:] == "_median"
        }

    def plot(self, name, records):
        """Draws docs/NAME.svg with bench/NAME.gnuplot."""
        data, drawing = os.path.join(self.work, name), os.path.join(self.plots_folder, name + ".svg")
        with open(data, "w") as file:
            file.writelines("\t".join(map(str, record)) + "\n" for record in records)
        subprocess.run(["gnuplot", "-c", f"bench/{name}.gnuplot", data, drawing], check=True)
        print(f"drawn: {drawing}")


def google_row(measure, medians, name, reference, what, goal="", column="real_time"):
    compared = float(medians[reference][column])
    unit = f"{compared:.0f} ns" if compared < 10000 else f"{compared / 1000:.0f} us"
    row(measure, float(medians[name][column]) / compared, goal, reference=f"{what}, {unit}")


# --- replacing files --------------------------------------------------------------------------------------------------


def beside_bare_loops(bench, size, layout, rounds, log, **programs):
    """The loop that asks about the leftovers of each line, and the one that looks at the folders once instead."""
    lines = str(size).partition("/")[0]
    ran = bench.replace(size, bench.rounds(rounds), **{name + log: program for name, program in programs.items()})
    post = ran["qvpost" + log]
    goals = {"asks": "<= 1.0" if int(lines) < 1000 else "<= 0.6", "looks": "<= 1.15"}
    for name, goal in goals.items():
        loop = ran[name + log]
        measure = f"{lines} lines, {layout} / bare C loop that {name}"
        reference = f"bare loop, {loop.microseconds:.3f} us a line"
        row(measure, post.ratio / loop.ratio, goal, post.processor / loop.processor, reference)


def replacing_files(bench):
    title("Replacing files, the whole program")
    asks, qvpost = bench.program("bare_replace"), f"{bench.qvpost},-f"
    looks = asks + ",-n"
    for lines, rounds in ((100, 51), (1000, 21), (10000, 7), (100000, 3)):
        for log, where in (("", "/dev/null"), ("_file", "a file")):
            beside_bare_loops(bench, lines, f"log to {where}", rounds, log, asks=asks, looks=looks, qvpost=qvpost)
    for lines, files, rounds in ((10000, 10000, 7), (100000, 1000, 3), (100000, 100000, 3)):
        layout = f"{files} in a folder"
        beside_bare_loops(bench, f"{lines}/{files}", layout, rounds, "", asks=asks, looks=looks, qvpost=qvpost)


def growth(bench):
    contenders = (f"bare={bench.program('bare_replace')}", f"qvpost={bench.qvpost},-f")
    grown = bench.programs("growth", bench.work, 1000, 100000, bench.rounds(3), *contenders)
    ratio, processor, memory = grown["qvpost"]
    own = f"the bare loop's own growth: {grown['bare'][0]:.2f}"
    row("cost of a line, 100,000 lines / 1,000 lines", ratio, "<= 1.1", processor, own)
    row("bytes of memory a line", memory, "<= 512", reference="peak of 100,000 lines less that of 1,000", decimals=0)


SHELL_SCRIPT = "/bin/bash,bench/replace_files.sh"
PYTHON_SCRIPT = "/usr/bin/python3,bench/replace_files.py"


def beside_scripts(bench):
    scripts = (
        ("200 lines, bash script with mv and rm / qvpost", 200, SHELL_SCRIPT, ">= 150"),
        ("2,000 lines, Python script / qvpost", 2000, PYTHON_SCRIPT, ""),
    )
    for measure, lines, script, goal in scripts:
        ran = bench.replace(lines, bench.rounds(7), qvpost=f"{bench.qvpost},-f", script=script)
        reference = f"qvpost, {ran['qvpost'].microseconds:.3f} us a line"
        row(measure, ran["script"].ratio, goal, ran["script"].processor, reference)


def cost_of_a_line(bench):
    """For the plot. The shell script takes several milliseconds a line, however many there are: it gets the short lists
    alone, or it would run longer than all the rest."""
    print("\nCost of a line, microseconds")
    bare = bench.program("bare_replace")
    programs = {"asks": bare, "looks": bare + ",-n", "qvpost": f"{bench.qvpost},-f", "python": PYTHON_SCRIPT}
    longest_shell = 1000 if bench.quick else 3000
    records = []
    for lines, rounds in ((100, 21), (300, 11), (1000, 5), (3000, 3), (10000, 3), (30000, 3), (100000, 3)):
        shell = {"shell": SHELL_SCRIPT} if lines <= longest_shell else {}
        ran = bench.replace(lines, bench.rounds(rounds), **programs, **shell)
        costs = {name: round(ran[name].microseconds, 1) for name in ran}
        records.append([lines, *costs.values()] + ([] if shell else ["?"]))
        print(f"{lines} lines:", ", ".join(f"{name} {cost}" for name, cost in costs.items()), flush=True)
    bench.plot("replace_files", records)


def without_start(bench):
    title("Replacing files, without the start of a program, shared libraries")
    tree = os.path.join(bench.work, "tree")
    os.mkdir(tree)
    medians = bench.google(bench.program("replace_files"), tree)
    for lines in (100, 10000):
        for loop, what in (("BareReplace", "asks"), ("BareRest", "looks")):
            names = (f"{name}/{lines}/iterations:5/manual_time" for name in ("Replace", loop))
            google_row(f"{lines} lines, log to /dev/null / bare C loop that {what}", medians, *names, "bare loop")


# --- system calls -----------------------------------------------------------------------------------------------------


def calls_of_run(bench, lines):
    """How often a run with that many lines makes each call; and the lines of its log."""
    with tempfile.TemporaryDirectory(dir=bench.work) as folder:
        update_list = subprocess.run(
            [bench.program("programs"), "tree", f"{folder}/tree", str(lines)],
            stdout=subprocess.PIPE,
            text=True,
            check=True,
        ).stdout.strip()
        command = ["strace", "-f", "-c", "-o", f"{folder}/calls", bench.qvpost, "-f", update_list]
        log = subprocess.run(command, stderr=subprocess.PIPE, text=True, check=True).stderr
        with open(f"{folder}/calls") as table:
            columns = [line.split() for line in table]
    calls = {fields[-1]: int(fields[3]) for fields in columns if len(fields) > 4 and fields[3].isdigit()}
    calls.pop("total", None)
    return calls, log.splitlines()


def system_calls(bench):
    title("System calls, by strace -c")
    few_lines, many_lines = 1000, 3000
    few, _ = calls_of_run(bench, few_lines)
    many, log = calls_of_run(bench, many_lines)

    def calls_of_a_line(pattern):
        more = sum(count - few.get(name, 0) for name, count in many.items() if re.search(pattern, name))
        return more / (many_lines - few_lines)

    kinds = ("rename", "write", "unlink")
    own = calls_of_a_line("|".join(kinds))
    looks = calls_of_a_line("stat|getdents|open|close")
    reference = " + ".join(f"{calls_of_a_line(kind):.2f}" for kind in kinds)
    row(f"calls a line: {', '.join(kinds)}", own, "= 7", reference=reference)
    row("calls a line: looking at the folders", looks, reference="100 lines in each folder")
    other = calls_of_a_line("") - own - looks
    row("all other calls a line: reading the list, memory", other, reference="a read for each 4,096 bytes of the list")
    # The log quotes a line of the list with its newline, so that this log line takes two lines of the file.
    row("writes a log line", many["write"] / sum(line != "'." for line in log), "= 1")


# --- start, latency ---------------------------------------------------------------------------------------------------


def start(bench):
    title("Start and end of an empty run")
    others = (
        ("empty", "empty static C++ program, with <iostream>", "<= 1.15"),
        ("empty_bare", "empty static C++ program, without", ""),
        ("empty_c", "empty static C program", ""),
        ("empty_c_shared", "empty C program with a shared C library", ""),
    )
    contenders = [f"{name}={bench.program(name)}" for name, _, _ in others]
    numbers = bench.programs("start", bench.rounds(501), *contenders, f"qvpost={bench.qvpost}")
    ran = {name: Ran(*numbers[name]) for name in numbers}
    post = ran["qvpost"]
    for name, words, goal in others:
        ratio, processor = post.ratio / ran[name].ratio, post.processor / ran[name].processor
        row(f"qvpost / {words}", ratio, goal, processor, f"{ran[name].microseconds:.3f} us")


def latency(bench):
    title("From the updater's death to the server's stop")
    mean, least, greatest = bench.programs("latency", bench.qvpost, bench.rounds(100))["latency"]
    reference = f"mean {mean:.1f} ms, least {least:.1f} ms, greatest {greatest:.1f} ms"
    row("mean latency / half a poll of 200 ms", mean / 100, reference=reference)


# --- lists ------------------------------------------------------------------------------------------------------------


class Update:
    """Files to install and the installed ones, 100 in a folder, with the list and its record where make puts them."""

    def __init__(self, bench, folder, files):
        self.bench = bench
        self.new, self.installed, self.list = (os.path.join(folder, name) for name in ("new", "app", "update.list"))
        self.record = self.list + ".record"
        self.names = [f"{number // 100:05}/file_{number:08}" for number in range(files)]
        for tree in (self.new, self.installed):
            for number in range(0, files, 100):
                os.makedirs(f"{tree}/{number // 100:05}")
            for name in self.names:
                open(f"{tree}/{name}", "w").close()
        self.commands = {
            "find": ["/usr/bin/find", self.new, self.installed, "-type", "f", "-printf", "%s %i %T@ %p\n"],
            "make": [bench.qvpost_list, "make", "-o", self.list, self.new, self.installed],
            "check": [bench.qvpost_list, "check", self.list],
            "rename": [bench.program("bare_rename"), os.path.join(folder, "renames")],
            "mend": [bench.qvpost_list, "mend", self.record],
        }

    def apply(self):
        """As a run leaves the files that was killed at its end."""
        with open(self.commands["rename"][1], "w") as renames:
            for name in self.names:
                source, destination = f"{self.new}/{name}", f"{self.installed}/{name}"
                backup = destination + ".temporary"
                os.rename(destination, backup)
                os.rename(source, destination)
                renames.write(f"{destination}\n{source}\n{backup}\n{destination}\n")

    def run(self, name):
        return Ran(*self.bench.programs("start", 1, f"{name}={','.join(self.commands[name])}")[name])

    def round(self):
        """Each program once; all files are where they were then."""
        ran = {name: self.run(name) for name in ("find", "make", "check")}
        for name in ("rename", "mend"):
            self.apply()
            ran[name] = self.run(name)
        os.remove(self.list)  # the record went with the mending
        return ran


def lists(bench):
    sizes = (1000, bench.rounds(100000))
    title(f"qvpost-list, {sizes[1]} files")
    peaks = []
    for size in sizes:
        with tempfile.TemporaryDirectory(dir=bench.work) as folder:
            update = Update(bench, folder, size)
            rounds = [update.round() for _ in range(bench.rounds(7))]
        peaks.append({name: max(ran[name].kilobytes for ran in rounds) for name in rounds[0]})
    for name, other, goal in (("make", "find", "<= 1.5"), ("check", "find", "<= 1.5"), ("mend", "rename", "<= 1.2")):
        pairs = [(ran[name], ran[other]) for ran in rounds]
        ratio = statistics.median(own.microseconds / least.microseconds for own, least in pairs)
        processor = statistics.median(own.processor_microseconds / least.processor_microseconds for own, least in pairs)
        microseconds = statistics.median(least.microseconds for _, least in pairs) / sizes[1]
        words = "find that looks at each file" if other == "find" else "bare renames"
        row(f"{name} / {words}", ratio, goal, processor, f"{microseconds:.3f} us a file")
        memory = 1024 * (peaks[1][name] - peaks[0][name]) / (sizes[1] - sizes[0])
        row(f"{name}: bytes of memory a file", memory, "<= 512", decimals=0)


# --- pieces -----------------------------------------------------------------------------------------------------------


def children(bench):
    for mebibytes in (0, 500):
        title(f"A child that is started and reaped, {mebibytes} MiB touched in the parent")
        parent = {"QVPOST_BENCH_PARENT_MIB": str(mebibytes)}
        medians = bench.google(bench.program("process_create"), bench.program("empty_c"), environment=parent)
        for words, form in (("", "{}/real_time"), (" from two threads", "{}2/real_time/threads:2")):
            create, fork, spawn = (form.format(name) for name in ("Create", "ForkExec", "Spawn"))
            measure = f"ProcessCreate{words}"
            google_row(f"{measure} / fork and execv", medians, create, fork, "fork and execv in C", "<= 1.1")
            google_row(f"{measure} / posix_spawn", medians, create, spawn, "posix_spawn")


def log_lines(bench):
    writers = (
        ("SpdlogSamePrefix", "spdlog, the same line"),
        ("SpdlogLine", "spdlog, its own line"),
        ("LogLine", "qvpost"),
        ("BareLine", "bare snprintf and write"),
        ("BareWrite", "bare write"),
    )
    records = [[words] for _, words in writers]
    for log, where in ((os.devnull, "/dev/null"), (os.path.join(bench.work, "log"), "a file")):
        title(f"A complete log line to {where}, processor time")
        medians = bench.google(bench.program("log_line"), log=log)
        rows = (
            ("LogLine", "log line", "SpdlogSamePrefix", "spdlog, the same line", "<= 0.6"),
            ("LogLine", "log line", "SpdlogLine", "spdlog, its own line", ""),
            ("LogLine", "log line", "BareLine", "bare snprintf and write", ""),
            ("BareWrite", "for comparison: one write", "SpdlogLine", "spdlog, its own line", ""),
        )
        for name, what, reference, other, goal in rows:
            google_row(f"{what} / {other}", medians, name, reference, other, goal, "cpu_time")
        for (name, _), record in zip(writers, records):
            record.append(medians[name]["cpu_time"])
    bench.plot("log_line", records)


def option_parser(bench):
    title("The option parser, processor time")
    medians = bench.google(bench.program("options"))
    google_row("BSDgetopt / getopt", medians, "BsdGetopt", "LibraryGetopt", "the C library's getopt", "", "cpu_time")


# --- all of it --------------------------------------------------------------------------------------------------------

STEPS = (
    replacing_files,
    growth,
    beside_scripts,
    cost_of_a_line,
    without_start,
    system_calls,
    start,
    latency,
    lists,
    children,
    log_lines,
    option_parser,
)


def print_machine(work):
    file_system = subprocess.run(["df", "--output=fstype", work], stdout=subprocess.PIPE, text=True, check=True)
    system = os.uname()
    print(
        f"{datetime.date.today()}, {len(os.sched_getaffinity(0))} processors, {system.sysname} {system.release},"
        f" files in {file_system.stdout.split()[-1]}, load before the run {os.getloadavg()[0]:.2f}"
    )


def main():
    if len(sys.argv) < 2 or sys.argv[2:] not in ([], ["--quick"]):
        sys.exit(__doc__)
    build = os.path.realpath(sys.argv[1])
    os.chdir(os.path.join(os.path.dirname(os.path.realpath(__file__)), ".."))
    os.environ.pop("QV_SYSTEM", None)
    # The folder may be in memory: an end by a signal must not leave it.
    signal.signal(signal.SIGTERM, lambda number, frame: sys.exit(128 + number))
    place = os.environ.get("QVPOST_BENCH_DIR", "/dev/shm")
    # Paths of 56 to 57 characters come of this: how much memory a line takes depends on them.
    with tempfile.TemporaryDirectory(prefix="qvpost-run.", dir=place) as work:
        print_machine(work)
        bench = Bench(build, work, quick="--quick" in sys.argv)
        for step in STEPS:
            step(bench)


if __name__ == "__main__":
    main()
