#!/usr/bin/env bash
# Tries the project on other systems, each in a fresh root of its own:
#
#   bookworm, trixie    a bare Debian 12, a bare Debian 13: both commands of the README, with warnings as errors, and
#                       the tests with clang++
#   i386                a Debian 12 of 32 bits, whose programs the processor runs by itself: the same with g++
#   arm64, armhf        cross-compiled; the tests of the library and the demonstration run by an emulator
#   package             a Debian 12 in which both packages, checked by lintian, are installed, used and removed
#
# Needs root, a package archive (MIRROR names one, the default is that of debootstrap) and 4 GB in TMPDIR. Packages of
# Debian are kept in DOWNLOADS (/var/cache/qvpost-systems) for the next time.
#
#   scripts/check-systems.sh [PART...]     without a part, all of them
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

child=
formats=/proc/sys/fs/binfmt_misc

# Each part has mounts and processes of its own, so that none is left behind however it ends. This function waits for
# it, and removes what is of another kind.
supervise() {
    local part failed=()
    [ $# -gt 0 ] || set -- bookworm trixie i386 arm64 armhf package
    need_root
    for part; do
        case $part in
            arm64 | armhf) need debootstrap qemu-user-static ;;
            package) need debootstrap g++ cmake ninja-build lintian ;;
            *) need debootstrap ;;
        esac
    done
    umask 022
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
    for part; do
        say "$part"
        work=$work unshare --mount --pid --fork --kill-child --mount-proc \
            "$BASH" scripts/check-systems.sh --inside "$part" &
        child=$!
        wait "$child" || failed+=("$part")
        child=
        rm -rf --one-file-system "${work:?}"/*
    done
    [ ${#failed[@]} = 0 ] || fail "failed: ${failed[*]}"
}

# make_root SUITE [OPTION...]: a bare system with a copy of the sources, in $root.
make_root() {
    root=$work/root
    debian_root "$root" "$@"
    cp /etc/resolv.conf "$root/etc/resolv.conf"
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount --bind "$DOWNLOADS" "$root/var/cache/apt/archives"
    mkdir "$root/project"
    tar -c --exclude=./.git --exclude='./build*' . | tar -x -C "$root/project"
}

inside() { $personality chroot "$root" /usr/bin/env -i -C /project PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root \
    DEBIAN_FRONTEND=noninteractive "$@"; }

get() { quietly inside apt-get -q -y --no-install-recommends install "$@"; }

# tests COMMAND...: everything that it prints, but what is about a success.
tests() { "$@" 2>&1 | { grep -v '^ *Start\|Passed' || true; }; }

demo() { check_demo inside "$@" scripts/demo.sh; }

native() {
    make_root "$@"
    demo
    tests inside scripts/test.sh release -DQVPOST_WERROR=ON
    [ -n "$personality" ] || tests inside scripts/test.sh clang
}

# A system of this machine's kind with the compiler and the libraries of the other one; programs of both kinds run.
emulated() {  # ARCHITECTURE TRIPLET EMULATOR
    [ -e $formats/register ] || mount -t binfmt_misc none $formats
    sed "s/^:qemu-/:qvpost-$$-/" "/usr/lib/binfmt.d/qemu-$3.conf" >$formats/register
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

# Every path but those of the package manager, and of what any program may write at any time.
list_files() {
    (cd "$root" && find . -xdev \( -path ./proc -o -path ./tmp -o -path ./var/cache -o -path ./var/lib/apt -o \
        -path ./var/lib/dpkg -o -path ./var/log \) -prune -o -print | LC_ALL=C sort)
}

package() {
    build "$work/build" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF
    (cd "$work/build" && cpack -G DEB >/dev/null)
    lintian --allow-root --fail-on error,warning "$work"/build/*.deb
    make_root bookworm
    get g++ cmake make pkgconf mandoc
    list_files >"$work/before"

    cp "$work"/build/*.deb "$root/tmp"
    inside sh -euc 'apt-get -q -y --no-install-recommends install /tmp/*.deb >/dev/null
        dpkg --verify qvpost libqvcommon-dev; qvpost-list --version
        for page in qvpost.8 qvpost-list.1 qvpost-list.5 qvpost-client.7; do
            mandoc -T ascii "/usr/share/man/man${page##*.}/$page.gz" | sed -n 1p
        done'
    inside sh -eu scripts/try-update.sh

    say "The example of the library"
    inside sh -euc 'cd /tmp; cp -r /usr/share/doc/libqvcommon-dev/examples/library .
        cmake -S library -B build >/dev/null; cmake --build build; build/qvcommon-example example.log
        g++ -std=c++20 library/main.cpp $(pkg-config --cflags --libs qvcommon) -o example; ./example example.log'

    rm -rf "$root"/tmp/*
    quietly inside apt-get -q purge -y qvpost libqvcommon-dev
    list_files >"$work/after"
    diff "$work/before" "$work/after" || fail "the packages left these behind"
    echo "The packages leave nothing behind."
}

if [ "${1-}" != --inside ]; then
    supervise "$@"
    exit
fi
personality=
case $2 in
    i386) personality='setarch i386'; native bookworm --arch=i386 ;;
    arm64) emulated arm64 aarch64-linux-gnu aarch64 ;;
    armhf) emulated armhf arm-linux-gnueabihf arm ;;
    package) package ;;
    *) native "$2" ;;
esac
