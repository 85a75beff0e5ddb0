#!/usr/bin/python3
"""Runs the benchmarks, prints one table and draws the plot of docs/performance.md; scripts/bench.sh builds them.

    bench/bench.py BUILD [--quick]      the directory of the build; --quick: a tenth of the work, the plot goes there

Every figure is the median of ratios of two measurements that this run made in turns.
"""

import csv
import datetime
import os
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time
import typing

SOURCE = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
BASH_LINES = 1000  # The script takes milliseconds a line: longer lists are omitted.


def print_line(measure, elapsed, processor, goal="", verdict="", reference=""):
    print(f"{measure:<60} {elapsed:>9} {processor:>9}  {goal:<7} {verdict:<7} {reference}", flush=True)


def row(measure, elapsed, processor=None, goal="", reference="", decimals=2):
    """Compares the ratio of processor time, if any, with the goal: the elapsed time of a short run depends on other
    programs. The number is compared as it is printed."""
    shown, shown_processor = f"{elapsed:.{decimals}f}", "" if processor is None else f"{processor:.2f}"
    judged, (comparison, bound) = float(shown_processor or shown), (goal or ">= 0").split()
    met = judged <= float(bound) if comparison == "<=" else judged >= float(bound)
    print_line(measure, shown, shown_processor, goal, "" if not goal else "met" if met else "MISSED", reference)


class Run(typing.NamedTuple):
    seconds: float
    processor: float  # seconds, of the program and of the system on its behalf
    kilobytes: int  # at the peak


def run(command, log):
    """Runs a program, which must end with status 0. Its standard error goes to a log that is emptied before."""
    flags = os.O_WRONLY | os.O_CREAT | os.O_TRUNC | os.O_APPEND
    actions = [(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0), (os.POSIX_SPAWN_OPEN, 2, log, flags, 0o600)]
    start = time.perf_counter()
    pid = os.posix_spawn(command[0], command, os.environ, file_actions=actions)
    _, status, usage = os.wait4(pid, 0)
    seconds = time.perf_counter() - start
    if status != 0:
        sys.exit(f"{command}: status {status}")
    return Run(seconds, usage.ru_utime + usage.ru_stime, usage.ru_maxrss)


def write(path, text):
    file = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644)
    os.write(file, text)
    os.close(file)


def content(path):
    with open(path, "rb") as file:
        return file.read()


class Tree:
    """Installed files, their new versions, and the update list. No names are kept: the memory peak of a
    program is at least that of this one, which starts it."""

    def __init__(self, work, lines, in_directory):
        self.work, self.list, self.version = work, f"{work}/update.list", 0
        self.lines, self.in_directory = lines, in_directory
        for side in ("installed", "unpacked"):
            for part in range(0, lines, in_directory):
                os.makedirs(os.path.dirname(self.path(side, part)))
        for number in range(lines):
            write(self.path("installed", number), b"0")

    def path(self, side, number):
        part, file = divmod(number, self.in_directory)
        return f"{self.work}/{side}/part{part:04}/file{file:02}.dat"

    def replace(self, command, log):
        self.version += 1
        with open(self.list, "w") as update_list:
            for number in range(self.lines):
                source = self.path("unpacked", number)
                write(source, b"%d" % self.version)
                update_list.write(f"source={source},destination={self.path('installed', number)}\n")
        ran = run([*command, self.list], log)
        for path in (self.path("installed", number) for number in (0, self.lines - 1)):
            if int(content(path)) != self.version or os.path.exists(path + ".temporary"):
                sys.exit(f"{command}: {path} was not replaced, or its backup is left")
        return ran


def compare(work, lines, in_directory, rounds, log, programs):
    """Each program replaces the files once a round; the first program changes with each round."""
    tree = Tree(work, lines, in_directory)
    runs = {name: [] for name in programs}
    for number in range(rounds):
        for turn in range(len(programs)):
            name = list(programs)[(number + turn) % len(programs)]
            runs[name].append(tree.replace(programs[name], log))
    for side in ("installed", "unpacked"):
        shutil.rmtree(f"{work}/{side}")
    return runs


def median(values):
    return statistics.median(values)


def ratios(runs, others):
    """The medians of the ratios of each round, elapsed and of processor time."""
    pairs = list(zip(runs, others))
    return [median(run.seconds / other.seconds for run, other in pairs)] + [
        median(run.processor / other.processor for run, other in pairs)
    ]


def replacing_files(build, work, quick):
    print_line("Replacing files, the whole program", "elapsed", "processor", "goal", "", "what it is compared with")
    bare = build + "/bench/bench_bare_replace"
    loops = {"stats": [bare], "reads": [bare, "-n"], "qvpost": [build + "/post/qvpost", "-f"]}
    python = ["/usr/bin/python3", SOURCE + "/bench/replace_files.py"]
    bash = ["/bin/bash", SOURCE + "/bench/replace_files.sh"]
    plotted = []
    sizes = ((100, 100, 51), (1000, 100, 21), (10000, 100, 7), (100000, 100, 3), (10000, 10000, 7))
    for (lines, in_directory, rounds), log in ((size, log) for size in sizes for log in (os.devnull, work + "/log")):
        plots = in_directory == 100 and log == os.devnull
        programs = (
            loops | ({"python": python} if plots else {}) | ({"bash": bash} if plots and lines <= BASH_LINES else {})
        )
        runs = compare(work, lines, in_directory, max(2, rounds // 10) if quick else rounds, log, programs)
        what = f"{lines} lines, {in_directory} in a directory, log to {'/dev/null' if log == os.devnull else 'a file'}"
        for loop, goal in (("stats", "<= 1.0" if lines < 1000 else "<= 0.65"), ("reads", "<= 1.15")):
            bare_time = (
                f"bare loop that {loop}, {1e6 * median(run.seconds for run in runs[loop]) / lines:.1f} us a line"
            )
            row(what, *ratios(runs["qvpost"], runs[loop]), goal, bare_time)
        for script, goal in (("bash", ">= 150"), ("python", "")) if plots and lines == BASH_LINES else ():
            row(f"{lines} lines, {script} script / qvpost", *ratios(runs[script], runs["qvpost"]), goal)
        if plots:
            plotted.append(
                [lines, *(f"{1e6 * median(run.seconds for run in runs[name]) / lines:.1f}" for name in runs)]
            )
    with open(work + "/data", "w") as data:
        data.writelines("\t".join(map(str, costs + ["?"] * (6 - len(costs)))) + "\n" for costs in plotted)
    plot = f"{build if quick else SOURCE + '/docs'}/replace_files.svg"
    subprocess.run(["gnuplot", "-c", "bench/replace_files.gnuplot", work + "/data", plot], cwd=SOURCE, check=True)

    # Both lists are so long that the program takes more memory than this script.
    few, many = (compare(work, lines, 100, 1, os.devnull, {"qvpost": loops["qvpost"]}) for lines in (100000, 200000))
    kilobytes = many["qvpost"][0].kilobytes - few["qvpost"][0].kilobytes
    row(
        "bytes of memory a line",
        kilobytes * 1024 / 100000,
        None,
        "<= 512",
        "200,000 lines less 100,000 lines",
        decimals=0,
    )


def medians_of_pieces(build, log, quick):
    command = [
        build + "/bench/bench_pieces",
        build + "/bench/bench_empty",
        "--benchmark_enable_random_interleaving=true",
    ]
    command += [f"--benchmark_repetitions={2 if quick else 15}", "--benchmark_min_time=0.05", "--benchmark_format=csv"]
    command.append("--benchmark_report_aggregates_only=true")
    with open(log, "a") as standard_error:
        text = subprocess.run(command, stdout=subprocess.PIPE, stderr=standard_error, text=True, check=True).stdout
    records = {record["name"]: record for record in csv.DictReader(text.splitlines())}
    return {name.removesuffix("_median"): record for name, record in records.items() if name.endswith("_median")}


def pieces(build, work, quick):
    for log, where in ((os.devnull, "/dev/null"), (work + "/log", "a file")):
        medians = medians_of_pieces(build, log, quick)
        cost = {name: float(record["cpu_time"]) for name, record in medians.items()}
        print_line(f"\nA complete log line to {where}", "", "processor", "goal")
        for name, other, words, goal in (
            ("LogLine", "SpdlogSamePrefix", "log line / spdlog, the same line", "<= 0.6"),
            ("LogLine", "SpdlogLine", "log line / spdlog, its own line", ""),
            ("LogLine", "BareLine", "log line / bare snprintf and write", ""),
            ("BareWrite", "SpdlogLine", "bare write / spdlog, its own line", ""),
        ):
            row(words, cost[name] / cost[other], None, goal, f"{cost[other]:.0f} ns")
    create, fork = (float(medians[name + "/real_time"]["real_time"]) for name in ("Create", "ForkExec"))
    print_line("\nA child that is started and reaped", "elapsed", "", "goal")
    row("ProcessCreate / fork and execv in C", create / fork, None, "<= 1.1", f"{fork / 1000:.0f} us")


def main():
    if len(sys.argv) < 2 or sys.argv[2:] not in ([], ["--quick"]):
        sys.exit(__doc__)
    build, quick = os.path.realpath(sys.argv[1]), len(sys.argv) > 2
    os.environ.pop("QV_SYSTEM", None)
    # The files may be in memory and must not remain after a signal.
    signal.signal(signal.SIGTERM, lambda number, frame: sys.exit(128 + number))
    # The paths have 56 to 57 characters: the memory of a line depends on their length.
    with tempfile.TemporaryDirectory(prefix="qvpost-run", dir=os.environ.get("QVPOST_BENCH_DIR", "/dev/shm")) as work:
        kind = subprocess.run(["df", "--output=fstype", work], stdout=subprocess.PIPE, text=True, check=True).stdout
        processors, load = len(os.sched_getaffinity(0)), os.getloadavg()[0]
        print(f"{datetime.date.today()}, {processors} processors, Linux {os.uname().release}, load {load:.2f}", end="")
        print(f", files in {kind.split()[-1]}\n")
        replacing_files(build, work, quick)
        pieces(build, work, quick)


if __name__ == "__main__":
    main()
