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
import subprocess
import sys
import tempfile
import time
from statistics import median

SOURCE = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))


def print_line(measure, elapsed, processor, goal="", verdict="", reference=""):
    print(f"{measure:<60} {elapsed:>9} {processor:>9}  {goal:<7} {verdict:<7} {reference}", flush=True)


def row(measure, elapsed, processor=None, goal="", reference=""):
    """Compares the ratio of processor time, if any, with the goal: the elapsed time of a short run depends on other
    programs. The number is compared as it is printed."""
    shown, shown_processor = f"{elapsed:.2f}", "" if processor is None else f"{processor:.2f}"
    judged, (comparison, bound) = float(shown_processor or shown), (goal or ">= 0").split()
    met = judged <= float(bound) if comparison == "<=" else judged >= float(bound)
    print_line(measure, shown, shown_processor, goal, "" if not goal else "met" if met else "MISSED", reference)


def run(command, log):
    """Runs a program, which must end with status 0. Its standard error goes to a log that is emptied before. Returns
    the elapsed and the processor time in microseconds, and the peak of memory in bytes."""
    flags = os.O_WRONLY | os.O_CREAT | os.O_TRUNC | os.O_APPEND
    actions = [(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0), (os.POSIX_SPAWN_OPEN, 2, log, flags, 0o600)]
    start = time.perf_counter()
    pid = os.posix_spawn(command[0], command, os.environ, file_actions=actions)
    _, status, usage = os.wait4(pid, 0)
    elapsed = time.perf_counter() - start
    if status != 0:
        sys.exit(f"{command}: status {status}")
    return 1e6 * elapsed, 1e6 * (usage.ru_utime + usage.ru_stime), 1024 * usage.ru_maxrss


def write(path, text):
    file = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644)
    os.write(file, text)
    os.close(file)


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
            with open(path) as file:
                if int(file.read()) != self.version or os.path.exists(path + ".temporary"):
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


def ratios(runs, others):
    """The medians of the ratios of each round, elapsed and of processor time."""
    return [median(run[kind] / other[kind] for run, other in zip(runs, others)) for kind in (0, 1)]


def replacing_files(build, work, quick):
    print_line("Replacing files, the whole program", "elapsed", "processor", "goal", "", "what it is compared with")
    bare, qvpost = build + "/bench/bench_bare_replace", [build + "/post/qvpost", "-f"]
    plotted = []
    sizes = ((100, 100, 51), (1000, 100, 21), (10000, 100, 7), (100000, 100, 3), (10000, 10000, 7))
    for lines, in_directory, rounds in sizes:
        for log in os.devnull, work + "/log":
            programs = {"stats": [bare], "reads": [bare, "-n"], "qvpost": qvpost}
            plots = in_directory == 100 and log == os.devnull
            if plots:
                programs["python"] = ["/usr/bin/python3", SOURCE + "/bench/replace_files.py"]
            if plots and lines <= 1000:  # The script takes milliseconds a line.
                programs["bash"] = ["/bin/bash", SOURCE + "/bench/replace_files.sh"]
            runs = compare(work, lines, in_directory, max(2, rounds // 10) if quick else rounds, log, programs)
            costs = {name: f"{median(run[0] for run in runs[name]) / lines:.1f}" for name in runs}
            where = "/dev/null" if log == os.devnull else "a file"
            what = f"{lines} lines, {in_directory} in a directory, log to {where}"
            for loop, goal in ("stats", "<= 1.0" if lines < 1000 else "<= 0.65"), ("reads", "<= 1.15"):
                row(what, *ratios(runs["qvpost"], runs[loop]), goal, f"bare loop that {loop}, {costs[loop]} us a line")
            for script, goal in (("bash", ">= 150"), ("python", "")) if plots and lines == 1000 else ():
                row(f"{lines} lines, {script} script / qvpost", *ratios(runs[script], runs["qvpost"]), goal)
            if plots:
                plotted.append("\t".join([str(lines), *costs.values()]) + "\t?" * ("bash" not in runs) + "\n")
    with open(work + "/data", "w") as data:
        data.writelines(plotted)
    plot = f"{build if quick else SOURCE + '/docs'}/replace_files.svg"
    subprocess.run(["gnuplot", "-c", "bench/replace_files.gnuplot", work + "/data", plot], cwd=SOURCE, check=True)

    # Both lists are so long that the program takes more memory than this script.
    few, many = (compare(work, lines, 100, 1, os.devnull, {"": qvpost}) for lines in (100000, 200000))
    bytes_a_line = (many[""][0][2] - few[""][0][2]) / 100000
    row("bytes of memory a line", bytes_a_line, None, "<= 512", "200,000 lines less 100,000 lines")


def medians_of_pieces(build, log, quick):
    command = [build + "/bench/bench_pieces", build + "/bench/bench_empty", "--benchmark_format=csv"]
    command += ["--benchmark_enable_random_interleaving=true", "--benchmark_report_aggregates_only=true"]
    command += [f"--benchmark_repetitions={2 if quick else 15}", "--benchmark_min_time=0.05"]
    with open(log, "a") as standard_error:
        text = subprocess.check_output(command, stderr=standard_error, text=True)
    records = csv.DictReader(text.splitlines())
    return {name.removesuffix("_median"): record for record in records if (name := record["name"]).endswith("_median")}


def pieces(build, work, quick):
    for log, where in ((os.devnull, "/dev/null"), (work + "/log", "a file")):
        medians = medians_of_pieces(build, log, quick)
        cost = {name: float(record["cpu_time"]) for name, record in medians.items()}
        print_line(f"\nA complete log line to {where}", "", "processor", "goal")
        for name, other, words, goal in (
            ("LogLine", "Spdlog/prefix", "log line / spdlog, the same line", "<= 0.6"),
            ("LogLine", "Spdlog/line", "log line / spdlog, its own line", ""),
            ("LogLine", "BareLine", "log line / bare snprintf and write", ""),
            ("BareWrite", "Spdlog/line", "bare write / spdlog, its own line", ""),
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
        kind = subprocess.check_output(["stat", "-f", "-c", "%T", work], text=True)
        processors, load = len(os.sched_getaffinity(0)), os.getloadavg()[0]
        print(f"{datetime.date.today()}, {processors} processors, Linux {os.uname().release}, load {load:.2f}", end="")
        print(f", files in {kind}")
        replacing_files(build, work, quick)
        pieces(build, work, quick)


if __name__ == "__main__":
    main()
