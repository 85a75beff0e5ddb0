#!/bin/bash
# Builds the benchmarks, runs them, prints one table and draws the plots of docs/performance.md (bench.py). Every figure
# of the table is a ratio of two things that were measured in this run, in turns, so that a slow or a busy machine
# changes both.
#
#     scripts/bench.sh [--quick]      --quick: a tenth of the work, for a first look;
#                                 the plots go to the build folder
#
# QVPOST_BENCH_DIR: where the files to replace are made (default /dev/shm, where a system call is cheapest and what the
# program adds shows most). QVPOST_BENCH_BUILD: the build folder (default build-bench).
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

case $* in
    '' | --quick) ;;
    *)
        sed -n '2,/^set /s/^# \{0,1\}//p' "$0"
        exit 2
        ;;
esac

need g++ cmake ninja-build python3 strace gnuplot-nox libbenchmark-dev libspdlog-dev

folder=${QVPOST_BENCH_BUILD-build-bench}
say "Building in $folder"
build "$folder" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF -DQVPOST_BENCH=ON
exec scripts/bench.py "$folder" "$@"
