#!/usr/bin/env bash
# Fuzzes the update list and the record for SECONDS (60) each: scripts/fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh
seconds=${1:-60}
build=$PWD/build-fuzz

need cmake ninja-build clang libclang-rt-14-dev libgtest-dev
cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DQVPOST_FUZZ=ON -DQVPOST_SANITIZE=address,undefined \
    >/dev/null
cmake --build "$build" --target fuzz_list fuzz_record | tail -n 1

# The files that the lists move are in memory, where that is possible. What is found lies in the build directory.
[ -w /dev/shm ] && export TMPDIR=/dev/shm
TMPDIR=$(mktemp -d)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
for target in list record; do
    mkdir -p "$build/corpus/$target"
    say "Fuzzing the $target for $seconds seconds"
    "$build/tests/fuzz/fuzz_$target" -max_total_time="$seconds" -max_len=6000 -artifact_prefix="$build/" \
        "$build/corpus/$target" "$PWD/tests/fuzz/corpus/$target" >"$build/$target.log" 2>&1 || {
        tail -n 40 "$build/$target.log"
        exit 1
    }
    tail -n 1 "$build/$target.log"
done
