#!/bin/bash
# Builds the benchmarks and prints one table. Every figure is a ratio of two things that were measured in this run, in
# turns, so that a slow or a busy machine changes both.
#
#     scripts/bench.sh [--quick]      --quick: a tenth of the work, for a first look
#
# QVPOST_BENCH_DIR: where the files to replace are made (default /dev/shm, where a system call is cheapest and what the
# program adds shows most). QVPOST_BENCH_BUILD: the build folder (default build-bench).
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

quick=false
case ${1-} in
    '') ;;
    --quick) quick=true ;;
    *)
        sed -n '2,/^set /s/^# \{0,1\}//p' "$0"
        exit 2
        ;;
esac

need g++ cmake ninja-build python3 strace libbenchmark-dev libspdlog-dev

folder=${QVPOST_BENCH_BUILD-build-bench}
say "Building in $folder"
build "$folder" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF -DQVPOST_BENCH=ON
build=$(realpath "$folder")
qvpost=$build/post/qvpost
bench=$build/bench

work=$(mktemp -d "${QVPOST_BENCH_DIR-/dev/shm}/qvpost-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
unset QV_SYSTEM

# --- the table --------------------------------------------------------------------------------------------------------
# rounds NUMBER: that many, or a tenth with --quick.
rounds() { if $quick; then echo $(($1 / 10 > 2 ? $1 / 10 : 2)); else echo "$1"; fi; }

# row MEASURE RATIO GOAL [PROCESSOR [REFERENCE]]: GOAL is "<= x", ">= x", "= x" or "". Where the ratio of processor time
# is known it decides: the elapsed time of a run says much about the neighbours too.
row() {
    local verdict='' judged=${4:-$2}
    if [ -n "$3" ]; then
        verdict=met
        awk -v ratio="$judged" -v goal="${3#* }" -v how="${3%% *}" 'BEGIN {
            exit !(how == "<=" ? ratio <= goal : how == ">=" ? ratio >= goal : ratio == goal) }' ||
            verdict=MISSED
    fi
    printf '%-66s %9s %9s  %-9s %-7s %s\n' "$1" "$2" "${4-}" "$3" "$verdict" "${5-}"
}
title() {
    printf '\n%-66s %9s %9s  %-9s %-7s %s\n' "$1" ratio processor goal '' 'what it is compared with'
}

# field FILE NAME COLUMN: of what bench_programs wrote.
field() { awk -F'\t' -v name="$2" -v column="$3" '$1 == name { print $column }' "$1"; }
round2() { printf '%.2f' "$1"; }

# google PROGRAM ARGUMENT...: runs a benchmark in turns; its medians go to $work/google.
google() {
    "$@" --benchmark_enable_random_interleaving=true --benchmark_repetitions="$(rounds 15)" \
        --benchmark_min_time=0.05 --benchmark_report_aggregates_only=true --benchmark_format=csv >"$work/google"
}
# median NAME elapsed|cpu: the median in the benchmark's own unit.
median() {
    awk -F, -v name="\"$1_median\"" -v column="$([ "$2" = elapsed ] && echo 3 || echo 4)" \
        '$1 == name { printf "%.1f", $column }' "$work/google"
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }

# google_row MEASURE NAME REFERENCE GOAL COLUMN WHAT
google_row() {
    local reference
    reference=$(median "$3" "$5")
    row "$1" "$(ratio "$(median "$2" "$5")" "$reference")" "$4" "" "$6, $(awk -v ns="$reference" 'BEGIN {
        if (ns < 10000) printf "%.0f ns", ns; else printf "%.0f us", ns / 1000 }')"
}

echo "$(date +%F), $(nproc) processors, $(uname -sr), files in $(df --output=fstype "$work" | tail -1)," \
    "load before the run $(cut -d' ' -f1 /proc/loadavg)"

# --- replacing files --------------------------------------------------------------------------------------------------
title "Replacing files, the whole program"
for lines in 100 1000 10000 100000; do
    case $lines in
        100) turns=$(rounds 51) ;;
        1000) turns=$(rounds 21) ;;
        10000) turns=$(rounds 7) ;;
        *) turns=$(rounds 3) ;;
    esac
    for log in '' -file; do
        where=$([ -z "$log" ] && echo /dev/null || echo 'a file')
        "$bench/bench_programs" replace "$work" $lines "$turns" "bare$log=$bench/bench_bare_replace" \
            "qvpost$log=$qvpost,-f" >"$work/out"
        row "$lines lines, log to $where / bare C loop" \
            "$(round2 "$(field "$work/out" "qvpost$log" 3)")" '<= 1.15' \
            "$(round2 "$(field "$work/out" "qvpost$log" 4)")" \
            "bare loop, $(field "$work/out" "bare$log" 2) us a line"
    done
done
"$bench/bench_programs" growth "$work" 1000 100000 "$(rounds 3)" "bare=$bench/bench_bare_replace" \
    "qvpost=$qvpost,-f" >"$work/out"
row "cost of a line, 100,000 lines / 1,000 lines" "$(round2 "$(field "$work/out" qvpost 2)")" '<= 1.1' \
    "$(round2 "$(field "$work/out" qvpost 3)")" \
    "the bare loop's own growth: $(round2 "$(field "$work/out" bare 2)")"
row "bytes of memory a line" "$(field "$work/out" qvpost 4)" '<= 512' '' "peak of 100,000 lines less that of 1,000"

turns=$(rounds 7)
"$bench/bench_programs" replace "$work" 200 "$turns" "qvpost=$qvpost,-f" "shell=/bin/bash,bench/replace_files.sh" \
    >"$work/out"
row "200 lines, bash script with mv and rm / qvpost" "$(round2 "$(field "$work/out" shell 3)")" '>= 150' \
    "$(round2 "$(field "$work/out" shell 4)")" "qvpost, $(field "$work/out" qvpost 2) us a line"
"$bench/bench_programs" replace "$work" 2000 "$turns" "qvpost=$qvpost,-f" \
    "python=/usr/bin/python3,bench/replace_files.py" >"$work/out"
row "2,000 lines, Python script / qvpost" "$(round2 "$(field "$work/out" python 3)")" '' \
    "$(round2 "$(field "$work/out" python 4)")" "qvpost, $(field "$work/out" qvpost 2) us a line"

title "Replacing files, without the start of a program, shared libraries"
mkdir "$work/tree"
google "$bench/bench_replace_files" "$work/tree" 2>/dev/null
for lines in 100 10000; do
    google_row "$lines lines, log to /dev/null / bare C loop" "Replace/$lines/iterations:5/manual_time" \
        "BareReplace/$lines/iterations:5/manual_time" '' elapsed "bare loop"
done

# --- system calls -----------------------------------------------------------------------------------------------------
# calls LINES: counts of a run with that many lines, "name calls" each line.
calls() {
    rm -rf "$work/traced"
    local list
    list=$("$bench/bench_programs" tree "$work/traced" "$1")
    strace -f -c -o "$work/strace" "$qvpost" -f "$list" 2>"$work/log"
    awk '$4 ~ /^[0-9]+$/ && $NF != "total" { print $NF, $4 }' "$work/strace"
}
title "System calls, by strace -c"
calls 1000 >"$work/few"
calls 3000 >"$work/many"
more() { # more PATTERN: how many more calls a line of the names that match
    awk -v pattern="$1" 'FNR == NR { few[$1] = $2; next } $1 ~ pattern { sum += $2 - few[$1] }
        END { printf "%.2f", sum / 2000 }' "$work/few" "$work/many"
}
row "calls a line: stat, rename, write, unlink" "$(more 'stat|rename|write|unlink')" '= 19' '' \
    "$(more stat) + $(more rename) + $(more write) + $(more unlink)"
row "all other calls a line: reading the list, memory" \
    "$(awk -v all="$(more .)" -v own="$(more 'stat|rename|write|unlink')" 'BEGIN { printf "%.2f", all - own }')" '' '' \
    "a read for each 4,096 bytes of the list"
# The quoted list line ends with a newline of its own, so that its log line takes two lines of the file.
row "writes a log line" "$(ratio "$(awk '$1 == "write" { print $2 }' "$work/many")" \
    "$(grep -vc "^'\.\$" "$work/log")")" '= 1'

# --- start, latency ---------------------------------------------------------------------------------------------------
title "Start and end of an empty run"
"$bench/bench_programs" start "$(rounds 501)" "stream=$bench/bench_empty" "empty=$bench/bench_empty_bare" \
    "c=$bench/bench_empty_c" "shared=$bench/bench_empty_c_shared" "qvpost=$qvpost" >"$work/out"
start_row() {
    row "qvpost / $1" "$(ratio "$(field "$work/out" qvpost 3)" "$(field "$work/out" "$2" 3)")" "$3" \
        "$(ratio "$(field "$work/out" qvpost 4)" "$(field "$work/out" "$2" 4)")" "$(field "$work/out" "$2" 2) us"
}
start_row "empty static C++ program, with <iostream>" stream '<= 1.15'
start_row "empty static C++ program, without" empty ''
start_row "empty static C program" c ''
start_row "empty C program with a shared C library" shared ''

title "From the updater's death to the server's stop"
"$bench/bench_programs" latency "$qvpost" "$(rounds 100)" >"$work/out"
row "mean latency / half a poll of 200 ms" "$(awk '{ printf "%.2f", $2 / 100 }' "$work/out")" '' '' \
    "$(awk '{ printf "mean %s ms, least %s ms, greatest %s ms", $2, $3, $4 }' "$work/out")"

# --- pieces -----------------------------------------------------------------------------------------------------------
for parent in 0 500; do
    title "A child that is started and reaped, $parent MiB touched in the parent"
    google env QVPOST_BENCH_PARENT_MIB=$parent "$bench/bench_process_create" "$bench/bench_empty_c" 2>/dev/null
    for threads in '' 2; do
        suffix=$threads/real_time${threads:+/threads:2}
        google_row "ProcessCreate${threads:+ from two threads} / fork and execv" "Create$suffix" "ForkExec$suffix" \
            '<= 1.1' elapsed "fork and execv in C"
        google_row "ProcessCreate${threads:+ from two threads} / posix_spawn" "Create$suffix" "Spawn$suffix" '' \
            elapsed "posix_spawn"
    done
done

for log in /dev/null "$work/log"; do
    title "A complete log line to $([ "$log" = /dev/null ] && echo "$log" || echo 'a file'), processor time"
    google "$bench/bench_log_line" 2>>"$log"
    google_row "log line / spdlog, the same line" LogLine SpdlogSamePrefix '<= 0.6' cpu "spdlog with process and thread"
    google_row "log line / spdlog, its own line" LogLine SpdlogLine '' cpu "spdlog's default pattern"
    google_row "log line / bare snprintf and write" LogLine BareLine '' cpu "snprintf and write"
    google_row "for comparison: one write / spdlog, its own line" BareWrite SpdlogLine '' cpu "spdlog's default pattern"
done

title "The option parser, processor time"
google "$bench/bench_options" 2>/dev/null
google_row "BSDgetopt / getopt" BsdGetopt LibraryGetopt '' cpu "the C library's getopt"
