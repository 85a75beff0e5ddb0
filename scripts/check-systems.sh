#!/usr/bin/env bash
# Tries the project on other systems, each in a fresh root of its own:
#
#   bookworm, trixie    a bare Debian 12, a bare Debian 13: both commands of the README, with warnings as errors, and
#                       the same with clang++
#   i386                a Debian 12 of 32 bits, which the processor runs by itself: everything
#   arm64, armhf        cross-compiled; the tests of the library and the demonstration run by an emulator
#
# Needs root, debootstrap, a package archive (MIRROR names one, the default is debootstrap's own), 4 GB in TMPDIR and,
# for the last two, qemu-user-static. Packages are kept in DOWNLOADS (/var/cache/qvpost-systems) for the next time.
#
#   scripts/check-systems.sh [PART...]     without a part, all of them
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

parts=("$@")
[ $# -gt 0 ] || parts=(bookworm trixie i386 arm64 armhf)
downloads=${DOWNLOADS:-/var/cache/qvpost-systems}
child=
formats=/proc/sys/fs/binfmt_misc

# Each part has mounts and processes of its own, so that none is left behind however it ends. This here waits for it,
# and puts away what is not of that kind.
supervise() {
    local part failed=()
    [ "$(id -u)" = 0 ] || fail "needs root"
    command -v debootstrap >/dev/null || fail "needs debootstrap"
    for part in "${parts[@]}"; do
        case $part in
            bookworm | trixie | i386) ;;
            arm64 | armhf) [ -e "$(emulator "$part")" ] || fail "needs qemu-user-static" ;;
            *) fail "there is no part '$part'" ;;
        esac
    done
    mkdir -p "$downloads"
    downloads=$(cd "$downloads" && pwd)
    work=$(mktemp -d "${TMPDIR:-/tmp}/qvpost-systems.XXXXXX")
    finish() {
        [ -z "$child" ] || kill -KILL "$child" 2>/dev/null || true  # and with it everything in its namespace
        wait
        unshare --mount bash -c "mount -t binfmt_misc none $formats
            for format in $formats/qvpost-*; do [ ! -e \"\$format\" ] || echo -1 >\"\$format\"; done"
        rm -rf --one-file-system "$work"
    }
    trap finish EXIT
    trap 'exit 1' INT TERM HUP
    for part in "${parts[@]}"; do
        say "$part"
        SECONDS=0
        work=$work DOWNLOADS=$downloads unshare --mount --pid --fork --kill-child --mount-proc \
            "$BASH" scripts/check-systems.sh --inside "$part" &
        child=$!
        local code=0
        wait "$child" || code=$?
        child=
        say "$part: $([ $code = 0 ] && echo "done" || echo FAILED) after $SECONDS s"
        [ $code = 0 ] || failed+=("$part")
        rm -rf --one-file-system "$work"/*
    done
    [ ${#failed[@]} = 0 ] || fail "failed: ${failed[*]}"
}

# make_root SUITE [OPTION...]: a bare system with a copy of the sources, in $root.
make_root() {
    root=$work/root
    debian_root "$root" "$1" "$downloads" "${@:2}"
    cp /etc/resolv.conf "$root/etc/resolv.conf"
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount --bind "$downloads" "$root/var/cache/apt/archives"
    mkdir "$root/project"
    tar -c --exclude=./.git --exclude='./build*' . | tar -x -C "$root/project"
}

inside() { $personality chroot "$root" /usr/bin/env -i -C /project PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root \
    DEBIAN_FRONTEND=noninteractive "$@"; }

# quietly COMMAND...: what it says is shown when it fails.
quietly() { "$@" >"$work/log" 2>&1 || { tail -n 40 "$work/log"; return 1; }; }

get() { quietly inside apt-get -q -y --no-install-recommends install "$@"; }

# tests COMMAND...: the end of what it says, or all that is not about a success.
tests() {
    "$@" >"$work/log" 2>&1 || { grep -v '^ *Start\|Passed' "$work/log"; return 1; }
    tail -n 12 "$work/log"
}

suite() { tests inside scripts/test.sh -DQVPOST_WERROR=ON "$@"; }
demo() { check_demo inside "$@" scripts/demo.sh; }

bare() {
    make_root "$1"
    demo
    suite
    get clang
    # For debugging: without the C library's checked forms of calls, which the tests' linker can't catch on each system.
    suite -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug
}

native() {
    make_root bookworm --arch="$1"
    demo
    suite
}

emulator() { echo "/usr/lib/binfmt.d/qemu-${1/%arm64/aarch64}.conf" | sed 's/armhf/arm/'; }

# A system of this machine's kind with the compiler and the libraries of the other one; programs of both kinds run.
emulated() {  # ARCHITECTURE TRIPLET
    [ -e $formats/register ] || mount -t binfmt_misc none $formats
    sed "s/^:qemu-/:qvpost-$$-/" "$(emulator "$1")" >$formats/register
    make_root bookworm
    inside dpkg --add-architecture "$1"
    quietly inside apt-get -q update
    get cmake ninja-build "g++-$2" g++ "libgtest-dev:$1" "libstdc++6:$1" python3
    demo env CXX="$2-g++"
    quietly inside env CXX="$2-g++" cmake -S . -B build -G Ninja -DBUILD_TESTING=ON -DQVPOST_WERROR=ON
    quietly inside cmake --build build --target qvpost tests/common/all
    # Left out is one whose child aborts: the emulator says so on the same stream.
    tests inside ctest --test-dir build/tests/common --parallel "$(nproc)" --output-on-failure --no-tests=error \
        -E '^Process.IsWatchedJudgedAndEnded$'
}

if [ "${1-}" != --inside ]; then
    supervise
    exit
fi
personality=
case $2 in
    i386) personality='setarch i386'; native i386 ;;
    arm64) emulated arm64 aarch64-linux-gnu ;;
    armhf) emulated armhf arm-linux-gnueabihf ;;
    *) bare "$2" ;;
esac
