#!/usr/bin/env bash
# Fuzzes the update list for SECONDS (60): scripts/fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh
seconds=${1:-60}
folder=$PWD/build-fuzz

need cmake ninja-build clang libclang-rt-14-dev libgtest-dev
cmake -S . -B "$folder" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DQVPOST_FUZZ=ON -DQVPOST_SANITIZE=address,undefined \
    >/dev/null
cmake --build "$folder" --target fuzz_list | tail -n 1

# The files that the lists move are in memory, where that is possible. What is found lies in the build folder.
[ -w /dev/shm ] && export TMPDIR=/dev/shm
TMPDIR=$(mktemp -d)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
corpus=$PWD/tests/fuzz/corpus/list
mkdir -p "$folder/corpus/list"
say "Fuzzing the update list for $seconds seconds"
"$folder/tests/fuzz/fuzz_list" -max_total_time="$seconds" -max_len=6000 -artifact_prefix="$folder/" \
    "$folder/corpus/list" "$corpus" >"$folder/list.log" 2>&1 || {
    tail -n 40 "$folder/list.log"
    exit 1
}
tail -n 1 "$folder/list.log"
