#!/bin/bash
# Builds the Debian packages, looks at them with lintian, and tries them in a fresh Debian 12: installs both, runs an
# update from one end to the other and the failure of one, builds and runs the example of the library, reads a manual
# page, removes both, and compares what is left with what was there before.
#
# Needs root, debootstrap, lintian, and a package archive (MIRROR names one, the default is debootstrap's own).
#
#   scripts/check-package.sh [FOLDER]     FOLDER keeps the packages and the system; without one, nothing is kept
set -euo pipefail
source_dir=$(cd "$(dirname "$0")/.." && pwd)
[ "$(id -u)" = 0 ] || { echo "check-package: needs root" >&2; exit 1; }
for tool in debootstrap lintian cpack mandoc; do
    command -v $tool >/dev/null || { echo "check-package: needs $tool" >&2; exit 1; }
done
if [ $# -gt 0 ]; then
    mkdir -p "$1"; work=$(cd "$1" && pwd)
else
    work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
fi
root=$work/root
step() { printf '\n== %s\n' "$*"; }
inside() { chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive "$@"; }
# Every path but the package manager's own books, and what programs may write anywhere at any time.
list_files() {
    (cd "$root" && find . -xdev \( -path ./proc -o -path ./tmp -o -path ./var/cache -o -path ./var/lib/apt -o \
        -path ./var/lib/dpkg -o -path ./var/log \) -prune -o -print | LC_ALL=C sort)
}

step "Build the packages"
cmake -S "$source_dir" -B "$work/build" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DBUILD_TESTING=OFF >/dev/null
cmake --build "$work/build" -j "${JOBS:-2}" >/dev/null
(cd "$work/build" && rm -f ./*.deb && cpack -G DEB >/dev/null)
ls -l "$work"/build/*.deb

step "lintian and mandoc"
lintian --allow-root --fail-on error,warning "$work"/build/*.deb
"$source_dir/scripts/check-docs.sh" --pages

step "A fresh system"
rm -rf "$root"
debootstrap --variant=minbase bookworm "$root" ${MIRROR:+"$MIRROR"} >"$work/debootstrap.log" || { tail "$work/debootstrap.log"; exit 1; }
cp /etc/resolv.conf "$root/etc/resolv.conf"
inside apt-get -qq -o Dpkg::Use-Pty=0 install -y --no-install-recommends g++ cmake make pkgconf mandoc >"$work/apt.log" 2>&1
list_files >"$work/before"

step "Install"
mkdir -p "$root/tmp/packages"
cp "$work"/build/*.deb "$root/tmp/packages"
inside sh -c 'apt-get -qq -o Dpkg::Use-Pty=0 install -y --no-install-recommends /tmp/packages/*.deb' >>"$work/apt.log" 2>&1 ||
    { tail "$work/apt.log"; exit 1; }
inside sh -c 'dpkg --verify qvpost libqvcommon-dev && qvpost-list --version && mandoc -T ascii /usr/share/man/man8/qvpost.8.gz | head -5'

step "An update, and one that fails"
cat >"$root/tmp/run.sh" <<'RUN'
set -eu
mkdir -p /tmp/app/bin /tmp/app/new /tmp/app/scripts/setup && cd /tmp/app
printf '#!/bin/sh\necho "${0##*/} $*" >>/tmp/app/calls\n[ "$2" != progress ] || cat <&$4 | tr "\\0" " " >/tmp/app/progress\n' >bin/child
chmod 755 bin/child
ln bin/child bin/server; ln bin/child bin/client; ln bin/child scripts/setup/qvserver
update() {
    printf old >bin/tool; printf new >new/tool
    printf 'source=/tmp/app/new/tool,destination=/tmp/app/bin/%s\n' "$1" >list
    QV_SYSTEM=/tmp/app /usr/libexec/qvpost -s /tmp/app/bin/server -c /tmp/app/bin/client -f /tmp/app/list 2>log
}
fail() { echo "FAILED: $*"; cat log calls; exit 1; }
update tool || fail "exit code $?"
[ "$(cat bin/tool)" = new ] || fail "tool is not the new one"
[ "$(cat progress)" = "1 33 66 100 " ] || fail "progress: $(cat progress)"
[ "$(sed 's/--fd [0-9]*/--fd N/' calls | LC_ALL=C sort | tr '\n' ';')" = \
    "client --post progress --fd N;qvserver --update --auto;server --shutdown;server --startup;" ] || fail "the children"
[ ! -e list ] && [ ! -e bin/tool.temporary ] || fail "leftovers"
rc=0; update missing || rc=$?
[ $rc = 2 ] || fail "exit code $rc instead of 2"
[ "$(cat bin/tool)" = old ] && grep -q "context \['AG'\]" log || fail "AG"
grep -q -- "--post update --error 2 --entry /tmp/app/bin/missing" calls || fail "client not told"
cat calls
RUN
inside sh /tmp/run.sh

step "The example of the library"
inside sh -c 'set -e; cp -r /usr/share/doc/libqvcommon-dev/examples /tmp/examples; cd /tmp/examples
cmake -S library -B build >/dev/null; cmake --build build
find build -maxdepth 1 -type f -perm -100 | while read -r program; do "./$program" || exit 1; done
printf "#include \"common/log/logger.h\"\nint main() { Log() << \"Found by pkg-config.\\\\n\"; }\n" >one.cpp
g++ -std=c++20 one.cpp $(pkg-config --cflags --libs qvcommon) -o one && ./one'

step "Remove"
rm -rf "$root"/tmp/*
inside apt-get -qq -o Dpkg::Use-Pty=0 purge -y qvpost libqvcommon-dev >>"$work/apt.log" 2>&1
list_files >"$work/after"
diff "$work/before" "$work/after" || { echo "check-package: the packages left these behind" >&2; exit 1; }
echo "Nothing is left. The packages are in order."
