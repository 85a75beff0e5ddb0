#!/usr/bin/env bash
# Builds everything and runs all tests: scripts/test.sh [PRESET [CMAKE-ARGUMENT...]]
#
# The presets are in CMakePresets.json; without one it is "release", the build that is installed. Missing packages are
# installed on Debian.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh
preset=${1-release}

need g++ cmake ninja-build libgtest-dev python3
[ "$preset" != clang ] || need clang
build "build-$preset" --preset "$preset" "${@:2}"
say "Testing build-$preset"
# Most of a test is waiting for children.
exec ctest --test-dir "build-$preset" --parallel $((2 * $(nproc))) --output-on-failure --no-tests=error --progress
