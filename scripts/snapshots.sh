#!/usr/bin/env bash
# Writes into the tests of the library what its calls show now: scripts/snapshots.sh [PRESET]      (dev)
#
# `git diff` then shows what has changed.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh
preset=${1:-dev}

need g++ cmake ninja-build libgtest-dev clang-format patch
quietly cmake --preset "$preset"
quietly cmake --build --preset "$preset" --target common_test
# Every failure is a patch of a few lines; the last of a file goes first, so that the numbers of the others stay right.
{ "build-$preset/tests/common/common_test" || true; } | sed -nE "s,^(---|\+\+\+) $PWD/,\1 ,p; /^@@ /p; /^[-+] /p" |
    awk '/^--- / { file = $0 } /^@@ / { printf "\n%d\t%s\1+%s", substr($2, 2), file, substr(file, 2) }
         !/^(---|\+\+\+) / { printf "\1%s", $0 }' |
    sort -rn | cut -f 2- | tr '\1' '\n' | patch -p0 --no-backup-if-mismatch
clang-format -i tests/common/*.cpp
