#!/usr/bin/env bash
# Builds the Debian packages, looks at them with lintian, and tries them in a fresh Debian 12: installs both; makes a
# list, runs it and settles its record, does the same with a run that is killed, and has one fail; builds and runs the
# example of the library, reads the manual pages, removes both, and compares what is left with what was there before.
#
# Needs root, debootstrap, lintian, mandoc, and a package archive (MIRROR names one, the default is debootstrap's own).
# Packages are kept in DOWNLOADS (/var/cache/qvpost-systems) for the next time.
#
#   scripts/check-package.sh [FOLDER]     FOLDER keeps the packages and the system; without one, nothing is kept
set -euo pipefail
work=${1:+$(realpath -m "$1")}
cd "$(dirname "$0")/.."
. scripts/lib.sh

[ "$(id -u)" = 0 ] || fail "needs root"
for tool in debootstrap lintian cpack mandoc; do
    command -v $tool >/dev/null || fail "needs $tool"
done
need g++ cmake ninja-build
umask 022
downloads=$(realpath -m "${DOWNLOADS:-/var/cache/qvpost-systems}")
mkdir -p "$downloads"
if [ -n "$work" ]; then
    mkdir -p "$work"
else
    work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
fi
root=$work/root
inside() { chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive "$@"; }
# Every path but the package manager's own books, and what programs may write anywhere at any time.
list_files() {
    (cd "$root" && find . -xdev \( -path ./proc -o -path ./tmp -o -path ./var/cache -o -path ./var/lib/apt -o \
        -path ./var/lib/dpkg -o -path ./var/log \) -prune -o -print | LC_ALL=C sort)
}

say "Build the packages"
build "$work/build" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF
(cd "$work/build" && rm -f ./*.deb && cpack -G DEB >/dev/null)
ls -l "$work"/build/*.deb

say "lintian and mandoc"
lintian --allow-root --fail-on error,warning "$work"/build/*.deb
scripts/check-docs.sh --pages

say "A fresh system"
rm -rf "$root"
debian_root "$root" bookworm "$downloads"
cp /etc/resolv.conf "$root/etc/resolv.conf"
inside apt-get -qq -o Dpkg::Use-Pty=0 install -y --no-install-recommends g++ cmake make pkgconf mandoc >"$work/apt.log" 2>&1
list_files >"$work/before"

say "Install"
mkdir -p "$root/tmp/packages"
cp "$work"/build/*.deb "$root/tmp/packages"
inside sh -c 'apt-get -qq -o Dpkg::Use-Pty=0 install -y --no-install-recommends /tmp/packages/*.deb' >>"$work/apt.log" 2>&1 ||
    { tail "$work/apt.log"; exit 1; }
inside sh -c 'dpkg --verify qvpost libqvcommon-dev && qvpost-list --version
    for page in qvpost.8 qvpost-list.1 qvpost-list.5 qvpost-client.7; do
        mandoc -T ascii "/usr/share/man/man${page##*.}/$page.gz" | sed -n 1p
    done'

say "Updates: one that succeeds, one that is killed, one that fails"
cat >"$root/tmp/run.sh" <<'RUN'
set -eu
mkdir -p /tmp/app/bin /tmp/app/new/bin /tmp/app/scripts/setup && cd /tmp/app
cat >bin/child <<'CHILD'
#!/bin/sh
echo "${0##*/} $*" >>/tmp/app/calls
[ "$2" != progress ] || cat <&$4 | tr "\0" " " >/tmp/app/progress
[ "$1" != --update ] || [ ! -e /tmp/app/killed ] || kill -KILL $PPID
CHILD
chmod 755 bin/child
ln bin/child bin/server; ln bin/child bin/client; ln bin/child scripts/setup/qvserver
fail() { echo "FAILED: $*"; cat log calls; exit 1; }
is() { [ "$2" = "$3" ] || fail "$1 is '$2' rather than '$3'"; }
make() { printf old >bin/tool; printf new >new/bin/tool; qvpost-list make new . || fail "the list wasn't made"; }
run() {
    code=0
    QV_SYSTEM=/tmp/app /usr/libexec/qvpost -s /tmp/app/bin/server -c /tmp/app/bin/client -f /tmp/app/update.list 2>log ||
        code=$?
}
mend() { qvpost-list mend update.list.record || fail "it can't be mended"; }

make; run
is "the exit code" $code 0
is "the file" "$(cat bin/tool)" new
is "the progress" "$(cat progress)" "1 33 66 100 "
is "what was called" "$(sed 's/--fd [0-9]*/--fd N/' calls | LC_ALL=C sort | tr '\n' ';')" \
    "client --post progress --fd N;qvserver --update --auto;server --shutdown;server --startup;"
mend
is "the file, mended" "$(cat bin/tool)" new
is "what is left" "$(echo * bin/*)" "bin calls log new progress scripts bin/child bin/client bin/server bin/tool"

touch killed; make; run; rm killed
is "the exit code of a run that is killed" $code 137
is "the file of a run that is killed" "$(cat bin/tool bin/tool.temporary)" newold
mend
is "the file, mended after a kill" "$(cat bin/tool new/bin/tool)" oldnew

make; rm bin/tool; run
is "the exit code of a run that fails" $code 2
is "the new file" "$(cat new/bin/tool)" new
grep -q "context \['AG'\]" log || fail "the log doesn't have AG"
grep -q -- "--post update --error 2 --entry /tmp/app/bin/tool" calls || fail "the client wasn't told"
sed 's/^/  /' calls
RUN
inside sh /tmp/run.sh

say "The example of the library"
inside sh -c 'set -e; cp -r /usr/share/doc/libqvcommon-dev/examples /tmp/examples; cd /tmp/examples
cmake -S library -B build >/dev/null; cmake --build build
find build -maxdepth 1 -type f -perm -100 | while read -r program; do "./$program" || exit 1; done
printf "#include \"common/log/logger.h\"\nint main() { Log() << \"Found by pkg-config.\\\\n\"; }\n" >one.cpp
g++ -std=c++20 one.cpp $(pkg-config --cflags --libs qvcommon) -o one && ./one'

say "Remove"
rm -rf "$root"/tmp/*
inside apt-get -qq -o Dpkg::Use-Pty=0 purge -y qvpost libqvcommon-dev >>"$work/apt.log" 2>&1
list_files >"$work/after"
diff "$work/before" "$work/after" || fail "the packages left these behind"
echo "Nothing is left. The packages are in order."
