// Compares a complete log line, from the time stamp to the write, and the start of a child with their minimal forms.
// All log lines go to the standard error: redirect it to /dev/null or to a file. The first argument is the child.
#include <benchmark/benchmark.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <memory>

#include "common/log/logger.h"
#include "common/process/process_create.h"

namespace {

constexpr char kFrom[] = "/opt/player/share/part0001/file01.dat";
constexpr char kTo[] = "/opt/player/share/part0001/file01.dat.temporary";

const char* child[3];  // the program and its arguments

// Each run begins with an empty log file.
void Empty() {
    if (ftruncate(2, 0) == 0) lseek(2, 0, SEEK_SET);
}

void LogLine(benchmark::State& state) {
    Empty();
    for (auto _ : state) Log() << "PostMain: Renaming '" << kFrom << "' as '" << kTo << "'.\n";
}

// Both spdlog loggers write to the same stderr, which the Logger made line-buffered: one write a line too.
void Spdlog(benchmark::State& state, const char* pattern) {
    Empty();
    spdlog::logger logger("PostMain", std::make_shared<spdlog::sinks::stderr_sink_mt>());
    if (pattern != nullptr) logger.set_pattern(pattern);
    for (auto _ : state) logger.info("Renaming '{}' as '{}'.", kFrom, kTo);
}

void BareLine(benchmark::State& state) {
    Empty();
    const int process = getpid(), thread = gettid();
    for (auto _ : state) {
        struct timeval now;
        gettimeofday(&now, nullptr);
        struct tm local;
        localtime_r(&now.tv_sec, &local);
        char text[512];
        const int length = snprintf(
            text, sizeof text, "%d %d %02d:%02d:%02d %03ld.%03ld PostMain: Renaming '%s' as '%s'.\n", process, thread,
            local.tm_hour, local.tm_min, local.tm_sec, now.tv_usec / 1000, now.tv_usec % 1000, kFrom, kTo);
        benchmark::DoNotOptimize(write(2, text, static_cast<size_t>(length)));
    }
}

void BareWrite(benchmark::State& state) {
    Empty();
    const char text[150] = {};
    for (auto _ : state) benchmark::DoNotOptimize(write(2, text, sizeof text));
}

void Wait(benchmark::State& state, pid_t pid) {
    int status = -1;
    if (pid == -1 || waitpid(pid, &status, 0) != pid || status != 0) state.SkipWithError("no child");
}

void Create(benchmark::State& state) {
    for (auto _ : state) Wait(state, ProcessCreate(child[0], child, nullptr, 0, 1, 2, 0, 1));
}

void ForkExec(benchmark::State& state) {
    for (auto _ : state) {
        const pid_t pid = fork();
        if (pid == 0) {
            execv(child[0], const_cast<char**>(child + 1));
            _exit(127);
        }
        Wait(state, pid);
    }
}

BENCHMARK(LogLine);
BENCHMARK_CAPTURE(Spdlog, line, nullptr);
BENCHMARK_CAPTURE(Spdlog, prefix, "%P %t %H:%M:%S %F PostMain: %v");
BENCHMARK(BareLine);
BENCHMARK(BareWrite);
BENCHMARK(Create)->UseRealTime();
BENCHMARK(ForkExec)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    child[0] = child[1] = argv[1];
    benchmark::RunSpecifiedBenchmarks();
}
