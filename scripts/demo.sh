#!/usr/bin/env bash
# Shows what qvpost does: builds it and runs two updates of a small installation, one that succeeds and one that fails.
#
#   scripts/demo.sh             the log without its time stamps, and without the lines that only keep the books
#   scripts/demo.sh --full      every line of the log, as it is
#
# On a terminal the client shows its progress while the update runs, and the log follows; elsewhere the lines of the
# client stand in the log.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

case ${1-} in
    '') full= ;;
    --full) full=yes ;;
    *) fail "usage: scripts/demo.sh [--full]" ;;
esac
need g++ cmake ninja-build
say "Building in build-demo"
build build-demo -DBUILD_TESTING=OFF
export PATH=$PWD/build-demo/list:$PATH

work=$(mktemp -d "${TMPDIR:-/tmp}/qvpost-demo.XXXXXX")
root=$work/app
finish() {
    [ ! -x "$root/bin/qvserver" ] || "$root/bin/qvserver" --shutdown >/dev/null || true
    rm -rf "$work"
}
trap finish EXIT

terminal='' pause=0
if [ -t 1 ]; then
    # The steps of so small an update would pass unseen.
    terminal=$(readlink "/proc/$$/fd/1") pause=1
fi
bold='' dim='' green='' red='' plain=''
if [ -n "$terminal" ] && [ -z "${NO_COLOR-}" ] && [ "$(tput colors 2>/dev/null || echo 0)" -ge 8 ]; then
    bold=$'\e[1m' dim=$'\e[2m' green=$'\e[32m' red=$'\e[31m' plain=$'\e[0m'
else
    export NO_COLOR=1  # what the terminal can do is looked at here alone
fi
title() { printf '\n%s%s%s\n' "$bold" "$*" "$plain"; }

# service FILE VERSION [REFUSES]: the part of the server that lives on. It makes the file of its first argument when it
# is up; one that refuses ends.
service() {
    mkdir -p "${1%/*}"
    printf '#!/bin/sh\n# version %s\nsleep %s\n' "$2" "$pause" >"$1"
    if [ $# -gt 2 ]; then
        printf 'echo "version %s does not run on this machine"\nexit 1\n' "$2" >>"$1"
    else
        printf 'trap '\''kill $!; exit'\'' TERM\ntouch "$1"\nwhile :; do sleep 60 & wait $!; done\n' >>"$1"
    fi
    chmod 755 "$1"
}

notes='doc/notes, English.txt'
make_installation() {
    mkdir -p "$root/bin" "$root/scripts/setup" "$work/bin"
    cp examples/installation/server.sh "$root/bin/qvserver"
    sed "s/^ *# Here: .*/&\n        sleep $pause/" examples/installation/setup.sh >"$root/scripts/setup/qvserver"
    "${CXX:-g++}" -std=c++20 -O2 examples/installation/client.cpp -o "$work/bin/client"
    if [ -n "$terminal" ]; then
        printf '#!/bin/sh\nexec "%s/bin/client" "$@" >"%s"\n' "$work" "$terminal" >"$root/bin/client"
        chmod 755 "$root/bin/client"
    else
        cp "$work/bin/client" "$root/bin/client"
    fi
    service "$root/lib/service" 1
    mkdir "$root/doc"
    echo "What is new in version 1" >"$root/$notes"
    "$root/bin/qvserver" --startup >/dev/null
    # The updater starts this in the place of qvpost, so that the demonstration learns the exit code.
    printf '#!/bin/sh\n"%s/build-demo/post/qvpost" "$@"\necho $? >"%s/exit"\n' "$PWD" "$work" >"$work/bin/qvpost"
    chmod 755 "$root/bin/qvserver" "$root/scripts/setup/qvserver" "$work/bin/qvpost"
    mkfifo "$work/exit"
}

make_archive() {  # VERSION [REFUSES]
    rm -rf "$work/archive"
    service "$work/archive/lib/service" "$@"
    mkdir "$work/archive/doc"
    echo "What is new in version $1" >"$work/archive/$notes"
    tar -cf "$work/update.tar" -C "$work/archive" .
}

show_files() {
    local file
    (cd "$root" && find . -type f -path './[dln]*/*' -printf '%P\n' | LC_ALL=C sort) | while IFS= read -r file; do
        printf '  %-28s %s\n' "$file" "$(grep -o -m 1 'version [0-9].*' "$root/$file" | head -c 60)"
    done
}

# What the programs say of themselves stands behind a bar.
show_log() {
    local drop='' stamp='^([0-9]+ ){2}[0-9:]+ +[0-9.]+ PostMain: '
    [ -n "$full" ] ||
        drop="/$stamp(Using|Waiting|Still|Opened|Created|Going|Wrote|Closing|No )/d; s/$stamp/  /"
    # The root is left out; the escape bytes of the list are shown as their numbers; the line that quotes a line of
    # the list with its newline is joined.
    sed -E -e "s#$root/?##g" -e $'s/\036/<30>/g; s/\035/<29>/g; s/\037/<31>/g' -e '/Parsing/{N; s/\n//}' \
        -e "$drop" -e "s/^(updater|server|setup|client): .*/  ${dim}|${plain} &/" \
        -e "s/^(Error|Warning): .*/  ${red}&${plain}/" "$work/log"
}

run() {  # TITLE VERSION [REFUSES]
    title "$1"
    shift
    make_archive "$@"
    echo "Files before:"
    show_files
    : >"$work/log"
    [ -z "$terminal" ] || echo "The client, while the update runs:"
    examples/installation/updater.sh "$root" "$work/bin/qvpost" "$work/update.tar" >>"$work/log" 2>&1 || {
        cat "$work/log" >&2
        fail "the updater failed"
    }
    local code colour=$green
    code=$(cat "$work/exit")
    [ "$code" = 0 ] || colour=$red
    echo "The update, as qvpost logs it; what the programs around it say stands behind a bar:"
    show_log
    echo "Files after:"
    show_files
    echo "${colour}qvpost exited with $code.$plain"
}

make_installation
echo "The installation is in $root, which is left out of the paths below."
run "1. An update from version 1 to 2" 2
run "2. An update to version 3, whose server refuses to start" 3 refuses
