#!/usr/bin/env bash
# Tries the units, and what docs/systemd.md shows, under a systemd: boots a Debian 12 as a container, in which the server
# of a small installation is a service, and updates this installation, as root and with User=.
#
# Needs root, debootstrap, systemd-nspawn, a cgroup2 and 1 GB in TMPDIR. DOWNLOADS keeps the packages. KILLS is 100.
#
#   scripts/check-systemd.sh [CASE...]     the functions both_*, root_* and app_* below; without a CASE, all of them
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

app=/opt/app unit=qvpost@opt-app.service recovery=qvpost-recover@opt-app.service dropins=/etc/systemd/system

# shown MODE FILE [TEXT]: installs the block of the document behind the name of the file, or behind the text.
shown() { scripts/documents.py docs/systemd.md "${3-\`$2\`}" | install -D -m "$1" /dev/stdin "$root$2"; }

inside() {
    nsenter --target "$(head -n 1 "$group/payload/init.scope/cgroup.procs")" --all \
        env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin "$@" </dev/null
}
switch_on() {
    (
        echo $BASHPID >"$group/cgroup.procs"
        # shellcheck disable=SC2016
        SYSTEMD_NSPAWN_UNIFIED_HIERARCHY=1 exec unshare --mount sh -c 'mount --bind "$0" /sys/fs/cgroup && exec "$@"' \
            "${group%/*}" systemd-nspawn --quiet --register=no --keep-unit --private-network --console=pipe --boot \
            --directory="$root" </dev/null >"$work/console" 2>&1
    ) &
    disown
    wait_for "the start of the machine" inside test -S /run/systemd/private -a -S /run/dbus/system_bus_socket
    inside systemctl is-system-running --wait >"$work/log" || true
}
wait_until_off() {
    wait_for "the end of the machine" grep -qx 'populated 0' "$group/cgroup.events"
    find "$group" -mindepth 1 -depth -type d -exec rmdir {} +
}
cut_power() { echo 1 >"$group/cgroup.kill" && wait_until_off; }

# product [LINE...]: installs and starts the old version, with the new one beside it; LINE is a setting of the unit.
product() {
    local directory=$root$app
    printf '%s\n' '[Service]' "$@" | install -D -m 644 /dev/stdin "$root$dropins/$unit.d/check.conf"
    inside sh -euc "systemctl daemon-reload; systemctl stop app.service $unit $recovery; systemctl reset-failed"
    rm -rf "$directory"
    mkdir -p "$directory"/{lib,new/lib}
    install -D -t "$directory/bin" scripts/check-systemd/{server,qvclient}
    install -D scripts/check-systemd/setup "$directory/scripts/setup/qvserver"
    shown 755 $app/bin/qvserver
    mkfifo "$directory/ask"
    echo old | tee "$directory"/lib/f{001..200} >"$work/log"
    echo new | tee "$directory"/new/lib/f{001..200} >"$work/log"
    chroot "$root" chown -R "$owner" $app
    inside systemctl start app.service
    chroot "$root" setpriv --reuid "$owner" --clear-groups qvpost-list make $app/new $app >"$work/log"
}

# held_run [LINE...]: starts a run without a record, which the unit writes, and waits until its setup script waits.
held_run() {
    product "$@"
    rm "$root$app/update.list.record"
    mkfifo "$root$app/hold"
    inside systemctl start $unit
    wait_for "the setup script" test -e "$root$app/held"
}

# wait_for WHAT COMMAND...: until it succeeds.
wait_for() {
    local end=$((SECONDS + 60))
    until "${@:2}" 2>"$work/log"; do
        [ $SECONDS -lt $end ] || fail "waited in vain for $1"
        sleep 0.05
    done
}
is() { [ "$2" = "$3" ] || fail "$1: '$2' rather than '$3'"; }
show() { inside systemctl show --value -P "$1" "$2"; }
has() { [[ $(show "$1" "$2") = @($3) ]]; }  # PROPERTY UNIT PATTERN

# ends VERSION TOLD: the run is over, this version is installed and runs, and the client was last started with TOLD.
ends() {
    wait_for "the end of the run" has ActiveState $unit 'inactive|failed'
    is "the installed version" "$(cat "$root$app"/lib/* | sort | uniq -c | xargs)" "200 $1"
    is "the version that runs" "$(show ActiveState app.service) $(show StatusText app.service)" "active $1"
    is "the client" "$(tail -n 1 "$root$app/told" 2>"$work/log")" "$2"
    [ ! -e "$root$app/mixed" ] || fail "the server was started on $(cat "$root$app/mixed")"
}
is_restored() { ends old "--post update --error 4 started"; }
is_new() { ends new "progress 1 33 66 100 "; }

# --- the cases --------------------------------------------------------------------------------------------------------

# The updater runs in the control group of the server that it stops.
both_updater() {
    product
    echo "/usr/local/bin/updater $app" >"$root$app/ask"
    wait_for "the client" test -e "$root$app/told"
    is_new
}

# SIGKILL of qvpost at random moments.
both_kills() {
    local count=0 tries=0 slowest=0 begin span
    product
    begin=${EPOCHREALTIME/./}
    inside systemctl start $unit
    is_new
    span=$((${EPOCHREALTIME/./} - begin))
    while [ $count -lt "${KILLS:-100}" ]; do
        [ $((tries += 1)) -lt 1000 ] || fail "only $count of $tries runs were killed"
        product
        inside sh -c "systemctl start $unit; sleep $((SRANDOM % span))e-6
            systemctl kill --kill-whom=main --signal=KILL $unit" 2>"$work/log" || true
        begin=${EPOCHREALTIME/./}
        wait_for "the end of the run" has ActiveState $unit 'inactive|failed'
        begin=$((${EPOCHREALTIME/./} - begin))
        has Result $unit signal || continue
        count=$((count + 1)) slowest=$((begin > slowest ? begin : slowest))
        if [ "$(cat "$root$app/lib/f001")" = old ]; then is_restored; else ends new "--post success"; fi
    done
    say "$count kills; the slowest recovery took $((slowest / 1000)) ms"
    [ $slowest -lt 2000000 ] || fail "not recovered within two seconds"
}

# A stop, a stop that runs into its limit, and a run that does.
both_stops() {
    held_run
    inside systemctl stop --no-block $unit
    wait_for "the stop" has ActiveState $unit deactivating
    : >"$root$app/hold"
    is_restored
    held_run TimeoutStopSec=1s
    inside systemctl stop $unit
    is_restored
    held_run TimeoutStopSec=1s RuntimeMaxSec=1s
    is_restored
    is "the result" "$(show Result $unit)" timeout
}

both_reboots() {
    held_run
    cut_power
    rm "$root$app/hold"
    switch_on
    ends old ""
    held_run
    inside systemctl poweroff
    wait_for "the stop" has ActiveState $unit deactivating
    : >"$root$app/hold"
    wait_until_off
    switch_on
    ends old "--post update --error 4 not started"
}

# Files of two versions: the start by Restart= recovers them too, in a directory that may not be written.
root_restart() {
    product
    mv "$root$app/lib/f100" "$root$app/lib/f100.temporary"
    mv "$root$app/new/lib/f100" "$root$app/lib/f100"
    chmod 555 "$root$app/lib"
    inside systemctl kill --signal=KILL app.service
    wait_for "the restart" has NRestarts app.service 1
    wait_for "the server" has ActiveState app.service active
    ends old ""
}

root_unrecoverable() {
    held_run
    rm "$root$app/lib/f100" "$root$app/lib/f100.temporary"
    inside systemctl kill --signal=KILL $unit
    wait_for "the end of the run" has ActiveState $unit failed
    ! grep -v progress "$root$app/told" || fail "the client was started"
    ! inside systemctl start app.service 2>"$work/log" || fail "the server was started"
    is "the recovery" "$(show Result $recovery)" exit-code
}

# What another user may have prepared is refused before the server is stopped.
root_planted() {
    for planted in "chown app $app" "chown app $app/lib" "chmod 777 $app/new" "chmod 666 $app/update.list" \
        "mkdir -m 777 /tmp/planted; mv $app/lib /tmp/planted; ln -s /tmp/planted/lib $app/lib"; do
        product
        inside sh -c "$planted"
        ! inside systemctl start $unit 2>"$work/log" || fail "started after: $planted"
        is "the run" "$(show ExecMainStartTimestamp $unit)" ""
        is "the server" "$(show ActiveState app.service)" active
        [ ! -e "$root$app/told" ] || fail "the client was started: $(cat "$root$app/told")"
    done
}

root_settings() {
    product "$(scripts/documents.py docs/systemd.md "This one, \`")"
    inside systemctl start $unit
    is_new
    wait_for "the log of -v" inside sh -c "journalctl -b -o cat -u $unit | grep -q \"update version '2.1'\""
}

# What the rule for polkit, once it is loaded, does not grant.
# shellcheck disable=SC2086
app_attacks() {
    local command user='setpriv --reuid app --regid app --clear-groups'
    local bus='busctl call org.freedesktop.systemd1 /org/freedesktop/systemd1 org.freedesktop.systemd1.Manager'
    wait_for "the rule" inside $user systemctl stop $unit
    for command in "systemctl "{"restart app.service","kill app.service","start $recovery","stop polkit.service"} \
        "systemctl "{daemon-reload,"start dbus.service","set-environment LD_PRELOAD=/tmp/x"} "systemd-run true" \
        "$bus BindMountUnit sssbb app.service /tmp /etc false true" \
        "$bus SetUnitProperties sba(sv) app.service true 1 CPUWeight t 10"; do
        ! inside $user $command 2>"$work/log" || fail "the user may: $command"
        grep -q 'nteractive authentication required\|Access denied' "$work/log" || fail "$command: $(cat "$work/log")"
    done
}

need_root debootstrap systemd-nspawn
need g++ cmake ninja-build python3
group=$(findmnt -n -o TARGET -t cgroup2 | head -n 1)/qvpost-systemd.$$
mkdir "$group"
work=$(mktemp -d "${TMPDIR:-/tmp}/qvpost-systemd.XXXXXX") root=$work/root
finish() {
    [ $? = 0 ] || inside journalctl --quiet -n 40 -u app.service -u 'qvpost*' >&2 || true
    cut_power
    rmdir "$group"
    rm -rf --one-file-system "$work"
}
trap finish EXIT
trap 'exit 1' INT TERM HUP

umask 022
build build-systemd -DBUILD_TESTING=OFF -DCMAKE_INSTALL_PREFIX=/usr
debian_root "$root" bookworm --include=systemd,systemd-sysv,dbus,polkitd,libpam-systemd,libstdc++6
chroot "$root" useradd --system app
DESTDIR=$root cmake --install build-systemd --component program >"$work/log"
shown 755 /usr/local/bin/updater $'\n## The updater\n'
shown 644 $dropins/app.service.d/update.conf
printf '%s\n' '[Service]' Type=notify NotifyAccess=all ExecStart=$app/bin/server Restart=on-abnormal \
    '[Install]' WantedBy=multi-user.target >"$root$dropins/app.service"
chroot "$root" systemctl --quiet enable app.service
switch_on
for owner in root app; do
    if [ $owner = app ]; then
        for name in {app,qvpost{,-recover}@opt-app}.service; do
            shown 644 "$dropins/$name.d/user.conf" $'\n## A service of an ordinary user\n'
        done
        shown 644 /etc/polkit-1/rules.d/50-app.rules
    fi
    for name in $(declare -F | sed -nE "s/^declare -f ((both|$owner)_)/\1/p"); do
        [[ " ${*:-$name} " = *" $name "* ]] || continue
        say "$name, $owner"
        "$name"
    done
done
say "Passed"
