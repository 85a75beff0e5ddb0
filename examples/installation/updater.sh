#!/bin/bash
# An updater: makes the version in an archive the current one.
#
#   updater.sh ROOT ARCHIVE     NAME.tar, NAME.tar.gz, NAME.tgz or NAME.tar.xz, with the files of the version at its top
#
# The exit status is 0 when qvpost was started. It takes the program qvpost from $QVPOST, else /usr/libexec/qvpost, and
# qvpost-list from PATH. Where ARCHIVE.sha256 exists, as sha256sum writes it, the archive must match it. The first
# version of an installation is put there by hand:
#
#   mkdir -p ROOT/versions/NAME ROOT/etc ROOT/data
#   tar --acls --xattrs --xattrs-include='*' -xpf ARCHIVE -C ROOT/versions/NAME
#   ln -s versions/NAME ROOT/current
#   ln -s current/bin current/scripts ROOT
#   ROOT/scripts/setup/qvserver --update --auto && ROOT/bin/qvserver --startup
set -euo pipefail
. "$(dirname "$0")/versions.sh"
[ $# = 2 ] || fail "usage: updater.sh ROOT ARCHIVE"
begin "$1"

name=${2##*/}
case $name in
    *.tar) name=${name%.tar} ;;
    *.tar.gz) name=${name%.tar.gz} ;;
    *.tgz) name=${name%.tgz} ;;
    *.tar.xz) name=${name%.tar.xz} ;;
    *) fail "'$2' is no .tar, .tar.gz, .tgz or .tar.xz" ;;
esac
case $name in
    '' | [.-]* | *[[:cntrl:]]*) fail "'$name' cannot be the name of a version" ;;
    "$current" | "$previous") fail "version '$name' is the current or the previous one" ;;
esac
[ ${#name} -le 200 ] || fail "the name '$name' is too long"

archive=$(realpath -e -- "$2") || exit 1
if [ -e "$2.sha256" ]; then
    wanted=$(grep -o '^\\\?[0-9a-f]\{64\}' <"$2.sha256" || true)
    found=$(exec 9>&-; sha256sum <"$archive")
    [ "${wanted#\\}" = "${found%% *}" ] || fail "'$2' does not match '$2.sha256'"
fi
# With -R tar tells the end that it was written with from one where it was cut off.
last_line=$(exec 9>&-; { LC_ALL=C tar --force-local -tRf "$archive" || echo cut; } | tail -n 1)
case $2:$last_line in
    *.tar:*'** Block of NULs **') [ $(($(wc -c <"$archive") % 512)) = 0 ] ;;
    *) [ "${last_line%'** Block of NULs **'}" != "$last_line" ] ;;
esac || fail "'$2' is damaged or cut off"

remove_others
new=$root/versions/.new.$$
trap 'discard "$new"' EXIT
mkdir "$new"
tar --force-local --acls --xattrs --xattrs-include='*' -xpf "$archive" -C "$new" 9>&-
[ -x "$new/bin/qvserver" ] && [ -x "$new/bin/qvclient" ] || fail "'$2' has no bin/qvserver or bin/qvclient at its top"
# A version that has its name is whole, also after a power cut.
sync -f "$new" 9>&-
mv -T -- "$new" "$root/versions/$name"
sync -f "$root/versions" 9>&-
start "$name"
