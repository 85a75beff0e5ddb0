#!/bin/bash
# Power cuts on real file systems: copies the image of one, atomically, while qvpost works in it, mounts each copy, has
# qvpost-list recover it, and checks that every file is there, whole, and all of one version.
#
# Needs root, loop devices, mkfs.xfs for the file system that holds the images (a copy shares its blocks), and the mkfs
# of each file system that is tried.
#
#   scripts/check-power-cut.sh BUILD [COPIES [FILESYSTEM...]]     the directory of a build; 100; ext4 xfs btrfs
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh
qvpost=$(realpath "$1/post/qvpost") list_program=$(realpath "$1/list/qvpost-list") copies=${2-100}
filesystems=("${@:3}")
[ $# -gt 2 ] || filesystems=(ext4 xfs btrfs)
need_root losetup mkfs.xfs "${filesystems[@]/#/mkfs.}"

work=$(mktemp -d)
pool=$work/pool disk=$work/disk
clean() {
    rm -f "$work/runs"
    wait
    umount -q "$disk" "$pool" || true  # what is mounted
    rm -rf "$work"
}
trap clean EXIT
trap 'exit 1' INT TERM
mkdir "$pool" "$disk"

# An installation with all that was found to be hard: several directories, files of several sizes, a leftover.
prepare() {
    rm -rf "${disk:?}/app"
    mkdir -p "$disk"/app/{a,b,new/a,new/b}
    # So many that the run takes longer than a copy.
    python3 - "$disk/app" "$1" <<'PYTHON'
import sys
for i in range(600):
    name = f"{'ab'[i % 2]}/file{i}"
    for version, path in (("old", name), ("new", "new/" + name)):
        open(f"{sys.argv[1]}/{path}", "w").write(f"{version} {name} {sys.argv[2]}\n" * (1 + i % 97 * 5))
PYTHON
    (cd "$disk/app" && find a b new -type f -exec md5sum {} +) >"$disk/old.md5"
    (cd "$disk/app/new" && find a b -type f -exec md5sum {} +) >"$disk/new.md5"
    echo leftover >"$disk/app/a/file0.temporary3"
    sync -f "$disk"
}

# is_whole VERSION: every file of the copy that is mounted, and none too much.
is_whole() {
    (cd "$disk/app" && md5sum --quiet -c "../$1.md5") >"$work/differs" 2>&1 &&
        [ "$(find "$disk/app" -path '*/file*' ! -name 'file0.temporary3' | wc -l)" = "$(wc -l <"$disk/$1.md5")" ]
}

# Recovers a copy and prints what that was: lost, not recovered, or the outcome.
judge() {
    local version
    if ! $list_program recover "$disk/app/update.list.record" >"$work/steps" 2>&1; then
        echo "not recovered"
        return
    fi
    version=$(tail -n 1 "$work/steps")
    # A run removes its record after the last flush.
    [ "$version" != "nothing to recover" ] || version="new version"
    if ! is_whole "${version% version}"; then
        echo "LOST"
    elif grep -q '^renaming' "$work/steps"; then
        echo "recovered to the old version"
    elif grep -q "^removing '.*temporary" "$work/steps"; then
        echo "backups removed, new version"
    else
        echo "$version already"
    fi
}

# Copies the image until the run is over. The disk is flushed now and then, as other programs do it.
copy_run() {
    local type=$1 run=$2 number=0 other
    prepare "$run"
    $list_program make "$disk/app/new" "$disk/app" >/dev/null 2>&1
    : >"$work/runs"
    (while [ -e "$work/runs" ]; do sync -f "$disk"; sleep "0.0$((RANDOM % 9))"; done) &
    other=$!
    QV_SYSTEM= $qvpost -f "$disk/app/update.list" 2>"$disk/app/update.log" &
    local program=$! running=true
    while $running; do
        sleep "0.0$((RANDOM % 4))"
        kill -0 $program 2>/dev/null || running=false
        cp --reflink=always "$pool/$type" "$pool/$type.$((number++))"
    done
    wait $program
    rm "$work/runs"
    wait $other
    umount "$disk"
    for ((; number > 0; --number)); do
        mount -o "loop$([ "$type" != xfs ] || echo ,nouuid)" -t "$type" "$pool/$type.$((number - 1))" "$disk"
        judge
        umount "$disk"
        rm "$pool/$type.$((number - 1))"
    done
    mount -o loop -t "$type" "$pool/$type" "$disk"
}

truncate -s 8G "$work/images"
mkfs.xfs -q -m reflink=1 "$work/images"
mount -o loop "$work/images" "$pool"
result=0
for type in "${filesystems[@]}"; do
    truncate -s 512M "$pool/$type"
    "mkfs.$type" -q "$pool/$type" >/dev/null
    mount -o loop -t "$type" "$pool/$type" "$disk"
    : >"$work/judged"
    for ((run = 0; $(wc -l <"$work/judged") < copies; ++run)); do
        copy_run "$type" $run >>"$work/judged"
    done
    umount "$disk"
    rm "$pool/$type"
    say "$type: $(wc -l <"$work/judged") copies"
    sort "$work/judged" | uniq -c
    ! grep -qE 'LOST|not recovered' "$work/judged" || result=1
done
exit $result
