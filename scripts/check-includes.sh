#!/bin/sh
# Checks that the files of the product include each other in the order of docs/architecture.md, and that each is in it.
cd "$(dirname "$0")/.." || exit
find post common list -name '*.h' -o -name '*.cpp' 2>/dev/null | sort | xargs awk '
    function entry(path) { sub(/\.(h|cpp)$/, "", path); return path }
    FILENAME ~ /\.md$/ && /^```/ { listed = /^```order/ }
    FILENAME ~ /\.md$/ {
        for (i = 1; listed && i <= NF; i++) if ($i ~ /\/$/) directory = $i; else place[directory $i] = ++places
        next
    }
    FNR == 1 && !(entry(FILENAME) in place) { print FILENAME ": is missing in the order"; wrong = 1 }
    /^#include "/ {
        split($0, parts, "\"")
        if (entry(parts[2]) != entry(FILENAME) && place[entry(parts[2])] >= place[entry(FILENAME)]) {
            print FILENAME ":" FNR ": includes " parts[2] ", which comes later"; wrong = 1
        }
    }
    END { exit wrong + 0 }' docs/architecture.md
