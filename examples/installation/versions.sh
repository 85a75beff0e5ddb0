# Sourced by updater.sh and revert.sh: another version of ROOT becomes the current one.
#
#   ROOT/versions/NAME     a version, complete and never changed; a name with a dot in front is half unpacked or removed
#   ROOT/current           a link to the version in use: the one file that an update replaces
#   ROOT/bin, ROOT/scripts links to current/bin and current/scripts
#   ROOT/previous/NAME     a link to the version that NAME replaced, or was to replace
#   ROOT/new/current       a link to the next version
#   ROOT/update.lock       locked by the updater, and then by run.sh until the run is over
#   ROOT/qvpost.log        the log of the last run
# shellcheck shell=bash
post=${QVPOST:-/usr/libexec/qvpost}
here=$(cd "$(dirname "$0")" && pwd)

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# begin ROOT: locks and recovers the installation; sets root, current and previous (empty: there is none).
begin() {
    root=$(realpath -e -- "$1") || exit 1
    case $root in
        *[,=[:cntrl:]]*) fail "the name '$root' holds a ',', a '=' or a control character" ;;
    esac
    [ -x "$post" ] || fail "cannot execute '$post'"
    umask 022
    # For a record that never exists this checks only the directories: others must not be able to write into ROOT.
    qvpost-list recover -n "$root/versions.record" >/dev/null || exit 1
    (umask 077 && : >>"$root/update.lock")
    exec 9>>"$root/update.lock"
    flock -n 9 || fail "'$root' is being updated"
    qvpost-list recover "$root/update.list.record" >/dev/null || fail "'$root' is being updated, or not in order"
    current=$(readlink -- "$root/current" || true) current=${current##*/}
    [ -n "$current" ] && [ "$root/versions/$current" -ef "$root/current" ] ||
        fail "'$root/current' is no link to versions/NAME"
    [ -O "$root/versions" ] || fail "'$root/versions' belongs to another user"
    previous=$(readlink -- "$root/previous/$current" || true) previous=${previous##*/}
    [ -d "$root/versions/$previous" ] || previous=
}

# Removes every version but the current and the previous one. A version loses its name first: what an updater that was
# killed has left running then works on nothing that a later one makes. So long a work also goes without the lock.
remove_others() {
    for version in "$root"/versions/*/; do
        old=${version%/} old=${old##*/}
        [ "$old" != "$current" ] && [ "$old" != "$previous" ] && [ -d "$version" ] || continue
        rm -f -- "$root/previous/$old"
        mv -T -- "${version%/}" "$root/versions/.old.$$.$old"
    done
    for version in "$root"/versions/.[!.]*; do discard "$version"; done
}

# discard DIRECTORY: removes it if it exists; a directory in it may be write-protected.
discard() {
    [ -d "$1" ] || return 0
    [ "$(id -u)" = 0 ] || find "$1" -type d ! -perm -700 -exec chmod u+rwx {} \; 9>&- || true
    rm -rf -- "$1" 9>&- || true
}

# start NAME: starts qvpost, which replaces the current version by this one once the caller has exited.
start() {
    rm -rf -- "$root/new"
    mkdir -p "$root/new" "$root/previous"
    ln -s "versions/$1" "$root/new/current"
    ln -sfT "../versions/$current" "$root/previous/$1"
    qvpost-list make "$root/new" "$root"
    (umask 077 && : >"$root/qvpost.log")
    (
        # A socket that the old server left open here would keep the new one from binding its port.
        for file in /proc/self/fd/*; do
            case ${file##*/} in [0129]) ;; *) eval "exec ${file##*/}>&-" ;; esac
        done
        trap - INT QUIT
        QVPOST=$post exec setsid bash "$here/run.sh" "$root" $$
    ) </dev/null >>"$root/qvpost.log" 2>&1 &
    echo "${0##*/}: started qvpost: $current -> $1"
}
