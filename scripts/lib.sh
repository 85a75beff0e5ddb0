# Shared by the scripts: sourced by bash, not run. The caller has set -euo pipefail.
# shellcheck shell=bash

say() { printf '== %s\n' "$*"; }
fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Whether what a Debian package brings is there, however it was installed.
has_package() {
    case $1 in
        g++ | cmake | git | python3 | black | clang | clang-tidy | clang-format | pkg-config | gcovr | strace | rsync | patch)
            command -v "$1" >/dev/null ;;
        gnuplot-nox) command -v gnuplot >/dev/null ;;
        ninja-build) command -v ninja >/dev/null ;;
        libbenchmark-dev) [ -e /usr/include/benchmark/benchmark.h ] ;;
        libspdlog-dev) [ -e /usr/include/spdlog/spdlog.h ] ;;
        python3-clang) /usr/bin/python3 -c 'import clang.cindex; clang.cindex.Index.create()' 2>/dev/null ;;
        libgtest-dev)  # the headers alone may be those of an unbuilt copy: compile and link
            printf '#include <gtest/gtest.h>\nint main() { testing::InitGoogleTest(); }\n' |
                "${CXX:-g++}" -std=c++20 -x c++ - -o /dev/null -lgtest -pthread >/dev/null 2>&1 ;;
        libclang-rt-14-dev) compgen -G '/usr/lib/llvm-14/lib/clang/14*/lib/linux/libclang_rt.fuzzer-x86_64.a' >/dev/null ||
            dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null | grep -qx installed ;;
        *) fail "has_package: don't know how to look for '$1'" ;;
    esac
}

# install_packages PACKAGE...: Debian packages, as root. An index that can't be had, while its archive is renewed for
# instance, need not be the one that matters: whether the packages can be had is for the installation to say.
install_packages() {
    local as_root=()
    [ "$(id -u)" = 0 ] || as_root=(sudo)
    "${as_root[@]}" apt-get -q update || true
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y --no-install-recommends install "$@"
} </dev/null

# need PACKAGE...: installs those Debian packages that are missing, or says what to install.
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
    local log
    log=$(mktemp)
    if ! install_packages "${missing[@]}" >"$log" 2>&1; then
        tail -n 15 "$log" >&2
        rm -f "$log"
        fail "could not install: ${missing[*]}"
    fi
    rm -f "$log"
    for package in "${missing[@]}"; do
        has_package "$package" || fail "'$package' was installed, and still doesn't work"
    done
}

# build_folder [CMAKE-ARGUMENT...]: the folder of a build with these arguments, so that different ones keep apart.
# -DQVPOST_SANITIZE=address,undefined gives build-address-undefined, -DQVPOST_WERROR=ON gives build-werror.
build_folder() {
    local argument name value folder=build
    for argument; do
        value=${argument#*=} name=${argument%%=*} name=${name#-D} name=${name%:*}
        case $value in
            ON) value=${name##*_} ;;
            OFF) value=no-${name##*_} ;;
        esac
        folder+=-$(printf %s "$value" | tr '[:upper:]' '[:lower:]' | tr -cs '[:alnum:]' - | sed 's/^-//; s/-$//')
    done
    echo "$folder"
}

# build FOLDER [CMAKE-ARGUMENT...]: configures and builds; what the tools say is shown when they fail.
build() {
    local folder=$1 log
    shift
    log=$(mktemp)
    if ! { cmake -S . -B "$folder" -G Ninja "$@" && cmake --build "$folder"; } >"$log" 2>&1; then
        grep -v '^\[[0-9]*/[0-9]*\] \(Building\|Linking\|Scanning\)' "$log" | tail -n 100 >&2 || true
        rm -f "$log"
        fail "the build in '$folder' failed"
    fi
    rm -f "$log"
}

# check_demo COMMAND...: runs the demonstration with this command; two of its updates succeed, one fails.
check_demo() {
    local text
    text=$("$@") || { echo "$text"; return 1; }
    grep 'qvpost exited' <<<"$text"
    [ "$(grep -c 'qvpost exited with [05]\.' <<<"$text")" = 3 ]
}

# debian_root FOLDER SUITE DOWNLOADS [OPTION...]: a small Debian, by debootstrap with these options. Its packages are
# kept in DOWNLOADS for the next time; MIRROR names another archive than debootstrap's own.
debian_root() {
    local log
    log=$(mktemp)
    if ! debootstrap --variant=minbase --cache-dir="$3" "${@:4}" "$2" "$1" ${MIRROR:+"$MIRROR"} >"$log" 2>&1; then
        tail "$log" >&2
        rm -f "$log"
        fail "debootstrap could not make a $2"
    fi
    rm -f "$log"
}
