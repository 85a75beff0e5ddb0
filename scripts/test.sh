#!/usr/bin/env bash
# Builds everything and runs all tests: scripts/test.sh [CMAKE-ARGUMENT...]
#
# Installs what is missing on Debian. Other arguments build in a folder of their own:
#   scripts/test.sh -DQVPOST_SANITIZE=thread      in build-thread
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

need g++ cmake ninja-build libgtest-dev python3
folder=$(build_folder "$@")
say "Building in $folder"
build "$folder" -DBUILD_TESTING=ON "$@"
say "Testing in $folder"
# Most of a test is waiting for children.
exec ctest --test-dir "$folder" --parallel $((2 * $(nproc))) --output-on-failure --no-tests=error --progress
