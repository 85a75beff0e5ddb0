#!/usr/bin/env bash
# Fuzzes the update list and the option code at once, each for SECONDS (60): scripts/fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh
seconds=${1:-60}
folder=build-fuzz
targets=(list options)

need cmake ninja-build clang libclang-rt-14-dev libgtest-dev
cmake -S . -B $folder -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DQVPOST_FUZZ=ON -DQVPOST_SANITIZE=address,undefined \
    >/dev/null
cmake --build $folder --target "${targets[@]/#/fuzz_}" | tail -n 1

# What it finds lies in the build folder, the log of a target beside it.
fuzz() {
    mkdir -p "$folder/corpus/$1"
    "$folder/tests/fuzz/fuzz_$1" -max_total_time="$seconds" -max_len=6000 -artifact_prefix="$folder/" \
        "$folder/corpus/$1" "tests/fuzz/corpus/$1" >"$folder/$1.log" 2>&1
}

say "Fuzzing ${targets[*]} for $seconds seconds"
declare -A runs
for target in "${targets[@]}"; do
    fuzz "$target" &
    runs[$target]=$!
done
failed=0
for target in "${targets[@]}"; do
    if wait "${runs[$target]}"; then
        echo "$target: $(tail -n 1 "$folder/$target.log")"
    else
        failed=1
        tail -n 40 "$folder/$target.log"
    fi
done
exit $failed
