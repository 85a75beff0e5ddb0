#!/usr/bin/env bash
# Measures what the tests catch: scripts/mutate.sh [COUNT] [SEED] [FILE...]
#
# Puts COUNT (60) small random faults, one at a time, into a copy of the product's sources, or of the files or folders
# that are given, builds, runs the tests from the quickest to the slowest up to the first failure, and prints the faults
# that nothing noticed and the share that was caught. The same SEED (1) gives the same faults in the same sources.
# Progress is on the standard error; docs/testing.md says more.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

need g++ cmake ninja-build libgtest-dev python3-clang rsync
exec scripts/mutate.py "$@"
