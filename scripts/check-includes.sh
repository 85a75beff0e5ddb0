#!/bin/sh
# Whether the files of the product include each other in the order that docs/architecture.md gives, and all have a place
# in it.
cd "$(dirname "$0")/.." || exit
find post common list -name '*.h' -o -name '*.cpp' 2>/dev/null | sort | xargs awk '
    function entry(path) { sub(/\.(h|cpp)$/, "", path); return path }
    FILENAME ~ /\.md$/ && /^```/ { listed = /^```order/ }
    FILENAME ~ /\.md$/ {
        for (i = 1; listed && i <= NF; i++) if ($i ~ /\/$/) folder = $i; else place[folder $i] = ++places
        next
    }
    FNR == 1 && !(entry(FILENAME) in place) { print FILENAME ": has no place in the order"; wrong = 1 }
    /^#include "/ {
        split($0, parts, "\"")
        if (entry(parts[2]) != entry(FILENAME) && place[entry(parts[2])] >= place[entry(FILENAME)]) {
            print FILENAME ":" FNR ": includes " parts[2] ", which stands behind it"; wrong = 1
        }
    }
    END { exit wrong + 0 }' docs/architecture.md
