#!/usr/bin/env bash
# Fuzzes the update list and the option code, SECONDS (60) each: scripts/fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
build=build-fuzz

cmake -S . -B $build -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DQVPOST_FUZZ=ON -DQVPOST_SANITIZE=address,undefined >/dev/null
cmake --build $build --target fuzz_list fuzz_options | tail -n 1
for target in list options; do
    mkdir -p $build/corpus/$target
    echo "Fuzzing $target for $seconds seconds"
    if ! $build/tests/fuzz/fuzz_$target -max_total_time="$seconds" -max_len=6000 -artifact_prefix=$build/ \
        $build/corpus/$target tests/fuzz/corpus/$target >$build/$target.log 2>&1; then
        tail -n 40 $build/$target.log
        exit 1
    fi
    tail -n 1 $build/$target.log
done
