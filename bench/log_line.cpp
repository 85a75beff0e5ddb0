// A complete log line, from the time stamp to the write, beside spdlog and beside a bare snprintf and write. The
// standard error is the destination of all of them: direct it to /dev/null or to a file.
#include <benchmark/benchmark.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>

#include "common/log/logger.h"

namespace {

constexpr char kFrom[] = "/opt/player/share/part0001/file01.dat";
constexpr char kTo[] = "/opt/player/share/part0001/file01.dat.temporary";

// A log file is emptied now and then, so that no run pays for what the ones before it wrote.
void Empty() {
    if (ftruncate(2, 0) == 0) lseek(2, 0, SEEK_SET);
}

void LogLine(benchmark::State& state) {
    Empty();
    for (auto _ : state) Log() << "PostMain: Renaming '" << kFrom << "' as '" << kTo << "'.\n";
}

// Both spdlog loggers write to the same stderr, which the Logger made line-buffered: one write a line here too.
void Spdlog(benchmark::State& state, const char* pattern) {
    Empty();
    spdlog::logger logger("PostMain", std::make_shared<spdlog::sinks::stderr_sink_mt>());
    if (pattern != nullptr) logger.set_pattern(pattern);
    for (auto _ : state) logger.info("Renaming '{}' as '{}'.", kFrom, kTo);
}

void SpdlogLine(benchmark::State& state) { Spdlog(state, nullptr); }

void SpdlogSamePrefix(benchmark::State& state) { Spdlog(state, "%P %t %H:%M:%S %F PostMain: %v"); }

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
    char text[150];
    std::fill(text, text + sizeof text, '.');
    for (auto _ : state) benchmark::DoNotOptimize(write(2, text, sizeof text));
}

BENCHMARK(LogLine);
BENCHMARK(SpdlogLine);
BENCHMARK(SpdlogSamePrefix);
BENCHMARK(BareLine);
BENCHMARK(BareWrite);

}  // namespace

BENCHMARK_MAIN();
