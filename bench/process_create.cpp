// A child that is started and reaped, by ProcessCreate, by fork and execv in C, and by posix_spawn. The first argument
// is the program to start. QVPOST_BENCH_PARENT_MIB=500 gives the parent that much touched memory.
#include <benchmark/benchmark.h>
#include <sys/wait.h>

#include <cstdlib>
#include <vector>

#include "bench/bare_process.h"
#include "common/process/process_create.h"

namespace {

char* program[] = {nullptr, nullptr};

int CreateAndWait(char* const* argv) {
    const char* const parameters[] = {argv[0], argv[0], nullptr};
    const int pid = ProcessCreate(argv[0], parameters, nullptr, 0, 1, 2, 0, 1);
    int status = -1;
    return pid > 0 && waitpid(pid, &status, 0) == pid ? status : -1;
}

template <int (*Start)(char* const*)>
void Child(benchmark::State& state) {
    for (auto _ : state) {
        if (Start(program) != 0) state.SkipWithError("the child failed");
    }
}

BENCHMARK(Child<CreateAndWait>)->Name("Create")->UseRealTime();
BENCHMARK(Child<BareForkExec>)->Name("ForkExec")->UseRealTime();
BENCHMARK(Child<BareSpawn>)->Name("Spawn")->UseRealTime();
BENCHMARK(Child<CreateAndWait>)->Name("Create2")->Threads(2)->UseRealTime();
BENCHMARK(Child<BareForkExec>)->Name("ForkExec2")->Threads(2)->UseRealTime();
BENCHMARK(Child<BareSpawn>)->Name("Spawn2")->Threads(2)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (argc != 2) return 2;
    program[0] = argv[1];
    const char* parent = getenv("QVPOST_BENCH_PARENT_MIB");
    std::vector<char> memory((parent != nullptr ? strtoul(parent, nullptr, 10) : 0) << 20, 1);
    benchmark::DoNotOptimize(memory.data());
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
