// Measures whole programs beside each other: in each round every program runs once, and the ratio is that of the round.
//
//     bench_programs replace DIR LINES[/FILES] ROUNDS NAME=PROGRAM...
//     bench_programs start ROUNDS NAME=PROGRAM...
//     bench_programs growth DIR SMALL LARGE ROUNDS NAME=PROGRAM...
//     bench_programs latency QVPOST RUNS
//     bench_programs tree DIR LINES
//
// FILES are those in each folder, 100 without it. "growth" compares the cost of a line in a list of LARGE lines with
// that in a list of SMALL ones, and writes the name, the ratio, the ratio of processor time, and the bytes of memory
// that a line takes. "latency" writes the mean, the least and the greatest number of milliseconds from the updater's
// death to the server's start. "tree" makes files to replace, and writes the path of their list. The first two write,
// between tabs: the name, microseconds (of a line; of a run), the ratio to the first program, the same two of processor
// time, and the peak of memory in kilobytes. For "replace", a name that ends in "-file" has its log in a file, and
// others on /dev/null; "," in a program separates words, and the list is added as the last word.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/measure.h"

namespace {

struct Contender {
    std::string name;
    std::vector<std::string> command;
    std::vector<double> seconds;
    std::vector<double> cpuSeconds;
    long peakKilobytes = 0;

    void Add(const Run& run) {
        seconds.push_back(run.seconds);
        cpuSeconds.push_back(run.cpuSeconds);
        peakKilobytes = std::max(peakKilobytes, run.peakKilobytes);
    }
};

std::vector<Contender> Contenders(char** from, char** to) {
    std::vector<Contender> contenders;
    for (; from != to; ++from) {
        const std::string text = *from;
        const size_t equal = text.find('=');
        if (equal == std::string::npos) Fail("no name: " + text);
        Contender contender;
        contender.name = text.substr(0, equal);
        for (size_t at = equal; at != std::string::npos;) {
            const size_t comma = text.find(',', at + 1);
            contender.command.push_back(text.substr(at + 1, comma - at - 1));
            at = comma;
        }
        contenders.push_back(std::move(contender));
    }
    if (contenders.empty()) Fail("nothing to measure");
    return contenders;
}

// Every contender once a round, each round another one first, so that what disturbs the machine meets them all.
template <class Measure>
void RunRounds(std::vector<Contender>* contenders, int rounds, Measure measure) {
    const size_t count = contenders->size();
    for (int round = 0; round < rounds; ++round) {
        for (size_t i = 0; i < count; ++i) measure(&(*contenders)[(i + static_cast<size_t>(round)) % count]);
    }
}

// The median of the ratios of each round, not the ratio of the medians: the two runs of a round met the same machine.
double MedianRatio(const std::vector<double>& values, const std::vector<double>& references) {
    std::vector<double> ratios;
    for (size_t i = 0; i < values.size(); ++i) ratios.push_back(values[i] / references[i]);
    return Median(ratios);
}

void Print(const std::vector<Contender>& contenders, double divisor) {
    const Contender& first = contenders.front();
    for (const Contender& contender : contenders) {
        printf("%s\t%.3f\t%.4f\t%.3f\t%.4f\t%ld\n", contender.name.c_str(), Median(contender.seconds) * 1e6 / divisor,
               MedianRatio(contender.seconds, first.seconds), Median(contender.cpuSeconds) * 1e6 / divisor,
               MedianRatio(contender.cpuSeconds, first.cpuSeconds), contender.peakKilobytes);
    }
}

Run ReplaceOnce(const Contender& contender, Tree* tree, const std::string& log) {
    tree->Unpack();
    std::vector<std::string> command = contender.command;
    command.push_back(tree->List());
    const Run run = RunProgram(command, log);
    tree->Check();
    return run;
}

void MeasureReplace(const std::string& dir, const char* size, int rounds, std::vector<Contender> contenders) {
    const char* const files = strchr(size, '/');
    const int lines = atoi(size);
    Tree tree(dir, lines, files != nullptr ? atoi(files + 1) : 100);
    RunRounds(&contenders, rounds, [&](Contender* contender) {
        const bool toFile = contender->name.ends_with("-file");
        contender->Add(ReplaceOnce(*contender, &tree, toFile ? dir + "/log" : "/dev/null"));
    });
    Print(contenders, lines);
}

// Small and large lists take turns, several small ones for each large one.
void MeasureGrowth(const std::string& dir, int small, int large, int rounds, const std::vector<Contender>& contenders) {
    constexpr int kSmallRuns = 5;
    Tree smallTree(dir + "/small", small), largeTree(dir + "/large", large);
    for (const Contender& contender : contenders) {
        std::vector<double> ratios, cpuRatios;
        double bytes = 0;
        for (int round = 0; round < rounds; ++round) {
            Contender smallRuns, largeRuns;
            for (int run = 0; run < kSmallRuns; ++run) smallRuns.Add(ReplaceOnce(contender, &smallTree, "/dev/null"));
            largeRuns.Add(ReplaceOnce(contender, &largeTree, "/dev/null"));
            const double lines = static_cast<double>(large) / small;
            ratios.push_back(largeRuns.seconds[0] / lines / Median(smallRuns.seconds));
            cpuRatios.push_back(largeRuns.cpuSeconds[0] / lines / Median(smallRuns.cpuSeconds));
            const auto kilobytes = static_cast<double>(largeRuns.peakKilobytes - smallRuns.peakKilobytes);
            bytes = std::max(bytes, kilobytes * 1024 / (large - small));
        }
        printf("%s\t%.4f\t%.4f\t%.0f\n", contender.name.c_str(), Median(ratios), Median(cpuRatios), bytes);
    }
}

void MeasureStart(int rounds, std::vector<Contender> contenders) {
    RunRounds(&contenders, rounds,
              [](Contender* contender) { contender->Add(RunProgram(contender->command, "/dev/null")); });
    Print(contenders, 1);
}

// The server of the latency runs is this program: it writes down when it was started.
constexpr char kServerVariable[] = "QVPOST_BENCH_SERVER";

int PlayServer(const char* argument, const char* descriptor) {
    if (strcmp(argument, "--shutdown") != 0) return 0;
    const double now = Now();
    return write(atoi(descriptor), &now, sizeof now) == sizeof now ? 0 : 1;
}

double LatencySeconds(const std::string& qvpost, double life) {
    int ends[2];
    if (pipe(ends) != 0) Fail("no pipe");
    const pid_t updater = fork();
    if (updater == 0) {
        for (;;) pause();
    }
    const std::string pid = std::to_string(updater);
    const std::string variable = std::string(kServerVariable) + "=" + std::to_string(ends[1]);
    const std::string self = "/proc/" + std::to_string(getpid()) + "/exe";
    const char* arguments[] = {qvpost.c_str(), "-p", pid.c_str(), "-s", self.c_str(), nullptr};
    const char* environment[] = {variable.c_str(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", 1, 0);
    pid_t post;
    if (posix_spawn(&post, arguments[0], &actions, nullptr, const_cast<char**>(arguments),
                    const_cast<char**>(environment)) != 0) {
        Fail("can't run " + qvpost);
    }
    usleep(static_cast<useconds_t>(life * 1e6));
    const double death = Now();
    kill(updater, SIGKILL);
    waitpid(updater, nullptr, 0);
    double stopped = 0;
    if (read(ends[0], &stopped, sizeof stopped) != sizeof stopped) Fail("the server was not stopped");
    int status;
    if (waitpid(post, &status, 0) != post || status != 0) Fail("the run with a server failed");
    posix_spawn_file_actions_destroy(&actions);
    close(ends[0]);
    close(ends[1]);
    return stopped - death;
}

// The lives of the updaters cover two polls evenly, so that the mean is that of a death at any time.
void MeasureLatency(const std::string& qvpost, int runs) {
    double sum = 0, least = 1e9, most = 0;
    for (int run = 0; run < runs; ++run) {
        const double seconds = LatencySeconds(qvpost, 0.1 + 0.4 * run / runs);
        sum += seconds;
        least = std::min(least, seconds);
        most = std::max(most, seconds);
    }
    printf("latency\t%.1f\t%.1f\t%.1f\n", sum / runs * 1e3, least * 1e3, most * 1e3);
}

}  // namespace

int main(int argc, char** argv) {
    if (const char* descriptor = getenv(kServerVariable)) return PlayServer(argc > 1 ? argv[1] : "", descriptor);
    unsetenv("QV_SYSTEM");
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "replace" && argc > 5) {
        MeasureReplace(argv[2], argv[3], atoi(argv[4]), Contenders(argv + 5, argv + argc));
    } else if (what == "growth" && argc > 6) {
        MeasureGrowth(argv[2], atoi(argv[3]), atoi(argv[4]), atoi(argv[5]), Contenders(argv + 6, argv + argc));
    } else if (what == "start" && argc > 3) {
        MeasureStart(atoi(argv[2]), Contenders(argv + 3, argv + argc));
    } else if (what == "latency" && argc == 4) {
        MeasureLatency(argv[2], atoi(argv[3]));
    } else if (what == "tree" && argc == 4) {
        auto* const tree = new Tree(argv[2], atoi(argv[3]));  // not deleted: the files are for other programs
        tree->Unpack();
        printf("%s\n", tree->List().c_str());
    } else {
        Fail("see the head of programs.cpp for what to ask for");
    }
    return 0;
}
