#!/bin/bash
# Builds the benchmarks, runs them, prints one table and draws the plot of docs/performance.md.
#
#   scripts/bench.sh [--quick]
#
# --quick does a tenth of the work, for a first look; its plot goes to the build directory. QVPOST_BENCH_DIR names the
# directory for the files to replace (/dev/shm).
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

need g++ cmake ninja-build python3 gnuplot-nox libbenchmark-dev libspdlog-dev
build build-bench --preset release -DBUILD_TESTING=OFF -DQVPOST_BENCH=ON
exec bench/bench.py build-bench "$@"
