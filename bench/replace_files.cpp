// Replacing the files of an update list inside one process, without the start of a program: the phase and the removal
// of the backups, beside the bare loop. The time is that of a line. The first argument is a folder to work in.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/bare_replace.h"
#include "bench/measure.h"
#include "common/util/string_owned.h"
#include "post/post_data.h"
#include "post/update_files.h"

namespace {

std::string folder;

bool ReplaceWithQvpost(const char* list) {
    StringSet(&postData_.updateFile, list);
    if (PostMainReplaceFiles() != 0) return false;
    PostMainFreeUpdates();
    return true;
}

template <int Asks>
bool ReplaceBare(const char* list) {
    return BareReplace(list, 2, Asks) == 0;
}

template <bool (*Replace)(const char*)>
void Lines(benchmark::State& state) {
    const auto lines = static_cast<int>(state.range(0));
    Tree tree(folder, lines);
    for (auto _ : state) {
        tree.Unpack();
        const double start = Now();
        if (!Replace(tree.List().c_str())) state.SkipWithError("not replaced");
        state.SetIterationTime((Now() - start) / lines);
        tree.Check();
    }
}

BENCHMARK(Lines<ReplaceWithQvpost>)->Name("Replace")->Arg(100)->Arg(10'000)->UseManualTime()->Iterations(5);
BENCHMARK(Lines<ReplaceBare<1>>)->Name("BareReplace")->Arg(100)->Arg(10'000)->UseManualTime()->Iterations(5);
BENCHMARK(Lines<ReplaceBare<0>>)->Name("BareRest")->Arg(100)->Arg(10'000)->UseManualTime()->Iterations(5);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (argc != 2) return 2;
    folder = argv[1];
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
