// Reading a command line of qvpost with BSDgetopt, beside the C library's getopt.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include "common/util/option_parser.h"

namespace {

constexpr char kOptions[] = "f:s:c:p:v:ri";

char words[][40] = {"qvpost",
                    "-f",
                    "/tmp/update.list",
                    "-s",
                    "/opt/player/bin/qvserver",
                    "-c",
                    "/opt/player/bin/client",
                    "-p",
                    "12345",
                    "-v",
                    "1.2.3",
                    "-ri"};
constexpr int kCount = sizeof words / sizeof *words;

char** Vector() {
    static char* vector[kCount + 1];
    for (int i = 0; i < kCount; ++i) vector[i] = words[i];
    return vector;
}

void BsdGetopt(benchmark::State& state) {
    char** const vector = Vector();
    for (auto _ : state) {
        BSDoptind = 1;
        BSDoptreset = 1;
        while (BSDgetopt(kCount, vector, kOptions) != -1) benchmark::DoNotOptimize(BSDoptarg);
    }
}

void LibraryGetopt(benchmark::State& state) {
    char** const vector = Vector();
    for (auto _ : state) {
        optind = 1;
        while (getopt(kCount, vector, "+f:s:c:p:v:ri") != -1) benchmark::DoNotOptimize(optarg);
    }
}

BENCHMARK(BsdGetopt);
BENCHMARK(LibraryGetopt);

}  // namespace

BENCHMARK_MAIN();
