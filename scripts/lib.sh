# Shared by the scripts: sourced by bash, not run. The caller has set -euo pipefail.
# shellcheck shell=bash

say() { printf '== %s\n' "$*"; }
fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# quietly COMMAND...: what the command prints is shown on a terminal, and elsewhere when it fails.
quietly() {
    local log code=0
    if [ -t 1 ]; then
        "$@"
        return
    fi
    log=$(mktemp)
    "$@" >"$log" 2>&1 || code=$?
    # Ninja's lines about steps that succeeded tell nothing about one that failed.
    [ $code = 0 ] || grep -v '^\[[0-9]*/[0-9]*\] [BLS]' "$log" | tail -n 100 >&2 || true
    rm -f "$log"
    return $code
}

# Whether the contents of a Debian package are there, however they were installed.
has_package() {
    case $1 in
        ninja-build) command -v ninja >/dev/null ;;
        libbenchmark-dev) [ -e /usr/include/benchmark/benchmark.h ] ;;
        libspdlog-dev) [ -e /usr/include/spdlog/spdlog.h ] ;;
        libgtest-dev)  # the headers alone may be those of an unbuilt copy: compile and link
            printf '#include <gtest/gtest.h>\nint main() { testing::InitGoogleTest(); }\n' |
                "${CXX:-g++}" -std=c++20 -x c++ - -o /dev/null -lgtest -pthread >/dev/null 2>&1 ;;
        *) command -v "$1" >/dev/null || dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null | grep -qx installed ;;
    esac
}

# install_packages PACKAGE...: Debian packages, as root. An index that cannot be fetched may be one that is not needed:
# the installation decides.
install_packages() {
    local as_root=()
    [ "$(id -u)" = 0 ] || as_root=(sudo)
    "${as_root[@]}" apt-get -q update || true
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y --no-install-recommends install "$@"
} </dev/null

# need PACKAGE...: installs the missing Debian packages, or prints what to install.
need() {
    local package missing=()
    for package; do
        has_package "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    if [ "$(. /etc/os-release 2>/dev/null && echo "${ID-}")" != debian ]; then
        fail "please install what Debian calls: ${missing[*]} (on this distribution the names may differ)"
    fi
    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null ||
        fail "missing: ${missing[*]}; run this as root once, or install sudo"
    say "Installing ${missing[*]}"
    quietly install_packages "${missing[@]}" || fail "could not install: ${missing[*]}"
    for package in "${missing[@]}"; do
        has_package "$package" || fail "'$package' was installed, and still does not work"
    done
}

# need_root TOOL...: fails without root or one of these commands.
need_root() {
    local tool
    [ "$(id -u)" = 0 ] || fail "needs root"
    for tool; do
        command -v "$tool" >/dev/null || fail "needs $tool"
    done
}

# build DIRECTORY [CMAKE-ARGUMENT...]: configures and builds.
build() {
    say "Configuring $1"
    quietly cmake -S . -B "$1" -G Ninja "${@:2}" || fail "'$1' cannot be configured"
    say "Building $1"
    quietly cmake --build "$1" || fail "the build in '$1' failed"
}

# check_demo COMMAND...: runs the demonstration with this command; two of its updates succeed, one fails.
check_demo() {
    local text
    text=$("$@") || { echo "$text"; return 1; }
    grep 'qvpost exited' <<<"$text"
    [ "$(grep -c 'qvpost exited with [05]\.' <<<"$text")" = 3 ]
}

# debian_root DIRECTORY SUITE [OPTION...]: a small Debian, by debootstrap with these options. DOWNLOADS keeps its packages
# for the next time; MIRROR names another archive than that of debootstrap.
debian_root() {
    mkdir -p "${DOWNLOADS:=/var/cache/qvpost-systems}"
    quietly debootstrap --variant=minbase --cache-dir="$(realpath "$DOWNLOADS")" "${@:3}" "$2" "$1" \
        ${MIRROR:+"$MIRROR"} || fail "debootstrap could not make a $2"
}
