#!/usr/bin/env bash
# The checks that CI does not run, to be run as root before a release: scripts/check-release.sh [CHECK...]
#
#   power-cut    copies of file systems taken while qvpost runs, recovered and compared: loop devices, mkfs.xfs,
#                mkfs.btrfs; 10 minutes
#   systemd      the units and docs/systemd.md in a Debian that boots: debootstrap, systemd-container, a cgroup2, 1 GB;
#                10 minutes
#   systems      other Debian systems, compilers and processors, and the packages: debootstrap, qemu-user-static,
#                lintian, 4 GB; an hour
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh
need_root
[ $# -gt 0 ] || set -- power-cut systemd systems

run() {
    case $1 in
        power-cut)
            need g++ cmake ninja-build xfsprogs btrfs-progs
            build build-release --preset release -DBUILD_TESTING=OFF
            scripts/check-power-cut.sh build-release ;;
        systemd) need debootstrap systemd-container; scripts/check-systemd.sh ;;
        systems) need debootstrap qemu-user-static; scripts/check-systems.sh ;;
        *) fail "there is no check '$1'" ;;
    esac
}

failed=()
for check; do
    say "$check"
    (run "$check") || failed+=("$check")
done
[ ${#failed[@]} = 0 ] || fail "failed: ${failed[*]}"
say "Passed: $*"
