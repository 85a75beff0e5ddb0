#!/usr/bin/env bash
# Runs the tests on a build that counts, and prints the line and branch coverage: scripts/coverage.sh [GCOVR-ARGUMENT...]
#
#   scripts/coverage.sh --html-details build-coverage/report.html
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

need g++ cmake ninja-build libgtest-dev gcovr
folder=build-coverage
say "Building in $folder"
build "$folder" -DBUILD_TESTING=ON -DQVPOST_COVERAGE=ON -DCMAKE_BUILD_TYPE=Debug
find "$folder" -name '*.gcda' -delete
say "Testing in $folder"
ctest --test-dir "$folder" --parallel "$(nproc)" --output-on-failure --no-tests=error --progress
report=(gcovr --root . --object-directory "$folder" --filter 'common/' --filter 'post/' --exclude-throw-branches)
say 'Lines'
"${report[@]}" --txt - "$@"
say 'Branches'
"${report[@]}" --branches --txt -
