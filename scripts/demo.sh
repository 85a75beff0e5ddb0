#!/usr/bin/env bash
# Shows what qvpost does: builds it and runs three updates of a small installation: one that succeeds, one that fails,
# and the way back to the previous version.
# The log stands without its time stamps and without its book-keeping.
#
# On a terminal the client shows its progress while the update runs, and the log follows; elsewhere the lines of the
# client stand in the log.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

need g++ cmake ninja-build
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
# A person could not follow the steps of so small an update.
[ ! -t 1 ] || terminal=$(readlink "/proc/$$/fd/1") pause=1

# make_version NAME [REFUSES]: the files of a version, packed as work/NAME.tar.gz.
make_version() {
    local files=$work/files
    rm -rf "$files"
    mkdir -p "$files/bin" "$files/lib" "$files/scripts/setup" "$files/share" "$files/doc"
    cp examples/installation/server.sh "$files/bin/qvserver"
    sed "s/^# Here: .*/&\nsleep $pause/" examples/installation/setup.sh >"$files/scripts/setup/qvserver"
    cp "$work/client" "$files/bin/qvclient"
    echo "a default configuration, version $1" >"$files/share/app.conf"
    # The service makes ROOT/run/ready when it is up; one that refuses ends.
    printf '#!/bin/sh\n# version %s\nsleep %s\n' "$1" "$pause" >"$files/lib/service"
    if [ $# -gt 1 ]; then
        printf 'echo "version %s does not run on this machine"\nexit 1\n' "$1" >>"$files/lib/service"
    else
        printf 'trap '\''kill $!; exit'\'' TERM\ntouch "$1/run/ready"\nwhile :; do sleep 60 9>&- & wait $!; done\n' \
            >>"$files/lib/service"
    fi
    case $1 in
        1.0) mkdir "$files/lib/plugins" && echo "version 1.0" | tee "$files/lib/old" >"$files/lib/plugins/one" ;;
        *) ln -s ../share "$files/lib/plugins" && echo "version $1" >"$files/doc/notes, English.txt" ;;
    esac
    chmod 755 "$files/lib/service" "$files/bin/"* "$files/scripts/setup/qvserver"
    tar -czf "$work/$1.tar.gz" -C "$files" .
}

# Types, modes and targets of everything below current, then the checksums of the files.
snapshot() {
    (cd "$root/current/" && find . -printf '%P %y %m %l\n' && find . -type f -exec sha256sum {} +) | LC_ALL=C sort
}

running() { sed -z -n 's#.*/versions/\(.*\)/lib/service$#\1#p' "/proc/$(cat "$root/run/pid")/cmdline" | tr -d '\0'; }

show_state() {
    echo "The server runs version $(running). current -> $(readlink "$root/current"), where lib and doc hold:"
    (cd "$root/current/" && find lib doc -type f -printf '  %p\n' -o -type l -printf '  %p -> %l\n' | LC_ALL=C sort)
}

# What the programs print stands behind a bar.
show_log() {
    local stamp='^([0-9]+ ){2}[0-9:]+ +[0-9.]+ PostMain: '
    # The root is left out, and the line that quotes a line of the list with its newline is joined.
    sed -E -e "s#$root/?##g" -e '/Parsing/{N; s/\n//}' \
        -e "/$stamp(Using|Waiting|Still|Opened|Created|Going|Wrote|Closing|No )/d; s/$stamp/  /" \
        -e 's/^(server|setup|client): /  | &/; s/^(Error|Warning): /  &/' "$root/qvpost.log"
}

# run TITLE CODE COMMAND...: an update that the command begins; it must end with this exit status.
run() {
    printf '\n%s\n' "$1"
    [ -z "$terminal" ] || echo "The client, while the update runs:"
    "${@:3}" >/dev/null
    flock "$root/update.lock" true # the run is over
    echo "The log of qvpost; what the other programs print stands behind a bar:"
    show_log
    show_state
    echo "The last line of update.log: $(tail -n 1 "$root/update.log")"
    echo "qvpost exited with $(cat "$work/exit")."
    [ "$(cat "$work/exit")" = "$2" ] || fail "it should have exited with $2"
}

"${CXX:-g++}" -std=c++20 -O2 examples/installation/client.cpp -o "$work/client"
if [ -n "$terminal" ]; then
    mv "$work/client" "$work/client.real"
    printf '#!/bin/sh\nexec "%s/client.real" "$@" >"%s"\n' "$work" "$terminal" >"$work/client"
    chmod 755 "$work/client"
fi
# qvpost, with its exit status in a file.
printf '#!/bin/sh\n"%s/build-demo/post/qvpost" "$@"\necho $? >"%s/exit"\n' "$PWD" "$work" >"$work/qvpost"
chmod 755 "$work/qvpost"
export QVPOST=$work/qvpost
make_version 1.0
make_version 2.0
make_version 3.0 refuses

echo "The installation is in $root, which is left out of the paths below."
mkdir -p "$root/versions/1.0" "$root/etc" "$root/data"
tar -xzpf "$work/1.0.tar.gz" -C "$root/versions/1.0"
ln -s versions/1.0 "$root/current"
ln -s current/bin current/scripts "$root"
{ "$root/scripts/setup/qvserver" --update --auto && "$root/bin/qvserver" --startup; } >/dev/null
show_state

run "1. An update from version 1.0 to 2.0, which adds, removes and retypes files" 0 \
    examples/installation/updater.sh "$root" "$work/2.0.tar.gz"
before=$(snapshot)
run "2. An update to version 3.0, whose server refuses to start" 5 \
    examples/installation/updater.sh "$root" "$work/3.0.tar.gz"
[ "$before" = "$(snapshot)" ] && [ "$(running)" = 2.0 ] || fail "this is not the installation from before the update"
echo "All $(find "$root/current/" -type f | wc -l) files have the checksums from before the update."
run "3. The way back to version 1.0" 0 examples/installation/revert.sh "$root"
[ "$(running)" = 1.0 ] || fail "version 1.0 does not run"
