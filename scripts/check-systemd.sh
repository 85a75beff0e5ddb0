#!/usr/bin/env bash
# Tries the units, and what docs/systemd.md shows, under a systemd: boots a Debian 12 as a container, with a small
# product in it whose server is a service, and updates that.
#
# Needs root, debootstrap, systemd-nspawn, a cgroup2 and 1 GB in TMPDIR. Packages are kept in DOWNLOADS
# (/var/cache/qvpost-systems), and so is the system where KEEP names a directory for it. KILLS is 100.
#
#   scripts/check-systemd.sh [CASE...]     the functions below whose names begin with try_; without one, all of them
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

app=/opt/app unit=qvpost@opt-app.service recovery=qvpost-recover@opt-app.service dropins=/etc/systemd/system

# --- the machine ------------------------------------------------------------------------------------------------------

make_root() {
    root=${KEEP:-$work/root}
    umask 022
    if [ ! -e "$root/made" ]; then
        say "A Debian 12"
        mkdir -p "${DOWNLOADS:=/var/cache/qvpost-systems}"
        debian_root "$root" bookworm "$(realpath "$DOWNLOADS")" \
            --include=systemd,systemd-sysv,dbus,polkitd,libpam-systemd,libstdc++6
        chroot "$root" useradd --system app
        touch "$root/made"
    fi
    build build-systemd -DBUILD_TESTING=OFF -DCMAKE_INSTALL_PREFIX=/usr
    DESTDIR=$root cmake --install build-systemd --component program >"$work/log"
    rm -rf "${root:?}$dropins"/{app,qvpost}* "$root"/etc/polkit-1/rules.d/50-app.rules
    shown $'\n## The updater\n' /usr/local/bin/updater
    shown "A drop-in, \`$dropins/app.service.d" $dropins/app.service.d/update.conf
    printf '%s\n' '[Service]' Type=notify NotifyAccess=all ExecStart=$app/bin/server Restart=on-abnormal \
        '[Install]' WantedBy=multi-user.target >"$root$dropins/app.service"
    chroot "$root" systemctl --quiet enable app.service
}

# shown TEXT FILE: installs the first block behind this text of the document.
shown() {
    mkdir -p "$root${2%/*}"
    scripts/documents.py docs/systemd.md "$1" >"$root$2"
    [[ $2 != */bin/* ]] || chmod 755 "$root$2"
}

inside() {
    nsenter --target "$(head -n 1 "$group/payload/init.scope/cgroup.procs")" --all \
        env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin "$@" </dev/null
}
has_booted() { inside test -S /run/systemd/private -a -S /run/dbus/system_bus_socket; } 2>/dev/null
switch_on() {
    (
        echo $BASHPID >"$group/cgroup.procs"
        # shellcheck disable=SC2016
        SYSTEMD_NSPAWN_UNIFIED_HIERARCHY=1 exec unshare --mount sh -c 'mount --bind "$0" /sys/fs/cgroup && exec "$@"' \
            "${group%/*}" systemd-nspawn --quiet --register=no --keep-unit --private-network --console=pipe --boot \
            --directory="$root" </dev/null >"$work/console" 2>&1
    ) &
    disown
    wait_for "the start of the machine" has_booted
    inside systemctl is-system-running --wait >"$work/log" || true
}

is_off() { grep -qx 'populated 0' "$group/cgroup.events"; }
wait_until_off() {
    wait_for "the end of the machine" is_off
    find "$group" -mindepth 1 -depth -type d -exec rmdir {} +
}
cut_power() {
    echo 1 >"$group/cgroup.kill"
    wait_until_off
}

# --- the product ------------------------------------------------------------------------------------------------------

# product [OWNER]: a new installation of the old version, with the new one beside it and its list; the server runs.
product() {
    local directory=$root$app file owner=${1-root}
    inside systemctl stop app.service $unit $recovery
    inside systemctl reset-failed
    inside journalctl -n 0 --show-cursor | sed -n 's/^-- cursor: //p' >"$work/cursor"
    rm -rf "$directory"
    mkdir -p "$directory"/{bin,lib,scripts/setup,new/lib}
    cp scripts/check-systemd/{server,qvclient} "$directory/bin"
    cp scripts/check-systemd/setup "$directory/scripts/setup/qvserver"
    shown "server program, \`$app/bin/qvserver\`" $app/bin/qvserver
    mkfifo "$directory/ask"
    for file in f{001..200}; do
        echo old >"$directory/lib/$file"
        echo new >"$directory/new/lib/$file"
    done
    chroot "$root" chown -R "$owner" $app
    inside systemctl start app.service
    chroot "$root" setpriv --reuid "$owner" --clear-groups qvpost-list make $app/new $app >"$work/log"
}

# settings UNIT [LINE...]: a drop-in with these lines, or none.
settings() {
    mkdir -p "$root$dropins/$1.d"
    printf '%s\n' '[Service]' "${@:2}" >"$root$dropins/$1.d/check.conf"
    inside systemctl daemon-reload
}

run_held() {  # begins a run and waits until its setup script waits
    mkfifo "$root$app/hold"
    inside systemctl start $unit
    wait_for "the setup script" test -e "$root$app/held"
}

# --- what is expected -------------------------------------------------------------------------------------------------

# wait_for WHAT COMMAND...: until it succeeds.
wait_for() {
    local what=$1 end=$((SECONDS + 60))
    shift
    until "$@"; do
        [ $SECONDS -lt $end ] || fail "waited in vain for $what"
        sleep 0.05
    done
}

is() {  # WHAT ACTUAL EXPECTED
    [ "$2" = "$3" ] || fail "$(printf '%s is\n%s\nrather than\n%s' "$1" "$2" "$3")"
}

show() { inside systemctl show --value -P "$1" "$2"; }
has_state() { [[ $(show ActiveState "$1") = @($2) ]]; }
journal() { inside journalctl --quiet -o cat --after-cursor="$(cat "$work/cursor")"; }
journal_has() { journal | grep -- "$1" >/dev/null; }
refused() {  # COMMAND...: of the user
    ! inside setpriv --reuid app --regid app --clear-groups "$@" 2>"$work/log" || fail "the user may: $*"
    grep -q 'nteractive authentication required\|Access denied' "$work/log" || fail "$* failed: $(cat "$work/log")"
}

# ends VERSION TOLD: the run is over, this version is installed and runs, and this is the last that the client was told.
ends() {
    wait_for "the end of the run" has_state $unit 'inactive|failed'
    is "the installed version" "$(cat "$root$app"/lib/* | sort | uniq -c | xargs)" "200 $1"
    is "the version that runs" "$(show ActiveState app.service) $(show StatusText app.service)" "active $1"
    is "what was told" "$(tail -n 1 "$root$app/told")" "$2"
    [ ! -e "$root$app/mixed" ] || fail "the server was started on $(cat "$root$app/mixed")"
}
is_restored() { ends old "--post update --error 4 started"; }
is_new() { ends new "progress 1 33 66 100 "; }

# --- the cases --------------------------------------------------------------------------------------------------------

# The updater runs in the control group of the server that it stops.
try_updater() {
    product
    echo "/usr/local/bin/updater $app" >"$root$app/ask"
    wait_for "the run" journal_has 'Starting post application'
    is_new
    [ ! -e "$root$app/update.list.record" ] || fail "the record is there"
}

# kills [OWNER]: SIGKILL of qvpost at random moments.
kills() {
    local count=0 successes=0 slowest=0 begin span
    product "$@"
    begin=${EPOCHREALTIME/./}
    inside systemctl start $unit
    is_new
    span=$((${EPOCHREALTIME/./} - begin))
    while [ $count -lt "${KILLS:-100}" ]; do
        product "$@"
        # shellcheck disable=SC2016
        inside bash -c 'systemctl start "$1"; sleep "$2"; process=$(systemctl show -P MainPID "$1")
            [ "$process" = 0 ] || kill -KILL "$process"' - $unit \
            "$(printf '%d.%06d' $((span * RANDOM / 32768 / 1000000)) $((span * RANDOM / 32768 % 1000000)))"
        begin=${EPOCHREALTIME/./}
        wait_for "the end of the run" has_state $unit 'inactive|failed'
        begin=$((${EPOCHREALTIME/./} - begin))
        [ "$(show Result $unit)" = signal ] || continue
        count=$((count + 1)) slowest=$((begin > slowest ? begin : slowest))
        if [ "$(cat "$root$app/lib/f001")" = old ]; then
            is_restored
        else
            ends new "--post success"
            successes=$((successes + 1))
        fi
    done
    say "$count kills, $successes of them after the success; the slowest was settled within $((slowest / 1000)) ms"
    [ $slowest -lt 2000000 ] || fail "not settled within two seconds"
}
try_kills() { kills; }

# stops [OWNER]: an ordered stop, one that runs into its limit, and a run that does.
stops() {
    product "$@"
    run_held
    inside systemctl stop --no-block $unit
    wait_for "the stop" has_state $unit deactivating
    : >"$root$app/hold"
    is_restored
    settings $unit TimeoutStopSec=1s
    product "$@"
    run_held
    inside systemctl stop $unit
    is_restored
    settings $unit TimeoutStopSec=1s RuntimeMaxSec=1s
    product "$@"
    run_held
    is_restored
    is "the result" "$(show Result $unit)" timeout
    settings $unit
}
try_stops() { stops; }

power_cut() {  # [OWNER]
    product "$@"
    rm "$root$app/update.list.record"  # the unit makes another
    run_held
    cut_power
    rm "$root$app/hold"
    is "the version after the power cut" "$(cat "$root$app/lib/f001")" new
    switch_on
    echo none >"$root$app/told"
    ends old none
}
try_power_cut() { power_cut; }

try_shutdown() {
    product
    run_held
    inside systemctl poweroff
    wait_for "the stop" has_state $unit deactivating
    : >"$root$app/hold"
    wait_until_off
    switch_on
    ends old "--post update --error 4 not started"
}

# Files of two versions: the start by Restart= recovers them too, in a directory that may not be written.
try_start_of_the_server() {
    product
    mv "$root$app/lib/f100" "$root$app/lib/f100.temporary"
    mv "$root$app/new/lib/f100" "$root$app/lib/f100"
    chmod 555 "$root$app/lib"
    inside systemctl kill --signal=KILL app.service
    wait_for "the restart" journal_has "Scheduled restart job"
    wait_for "the server" has_state app.service active
    echo none >"$root$app/told"
    ends old none
}

try_files_that_cannot_be_recovered() {
    product
    run_held
    rm "$root$app/lib/f100" "$root$app/lib/f100.temporary"
    inside systemctl kill --signal=KILL $unit
    wait_for "the end of the run" has_state $unit failed
    ! grep -v progress "$root$app/told" || fail "the client was told"
    ! inside systemctl start app.service 2>"$work/log" || fail "the server was started"
    is "the recovery" "$(show Result $recovery)" exit-code
}

# What the service's user may have prepared is refused before the server is stopped.
try_planted() {
    local planted
    for planted in "chown app $app" "chown app $app/lib" "chmod 777 $app/new" "chmod 666 $app/update.list" \
        "mkdir -m 777 /tmp/planted; mv $app/lib /tmp/planted; ln -s /tmp/planted/lib $app/lib"; do
        product
        inside sh -c "$planted"
        ! inside systemctl start $unit 2>"$work/log" || fail "started after: $planted"
        is "the run" "$(show ExecMainStartTimestamp $unit)" ""
        is "the server" "$(show ActiveState app.service)" active
        [ ! -e "$root$app/told" ] || fail "the client was told: $(cat "$root$app/told")"
    done
}

try_names() {
    # shellcheck disable=SC2016
    local other='/opt/an ${HOME} 100%n "1' instance
    product
    shown "This one, \`" $dropins/$unit.d/update.conf
    inside systemctl daemon-reload
    inside systemctl start $unit
    is_new
    journal_has "Using post update version '2.1'" || fail "the options are others"
    rm "$root$dropins/$unit.d/update.conf"
    instance=$(inside systemd-escape --path "$other")
    rm -rf "$root$other"
    mkdir -p "$root$other"/{new,bin}
    ln -s /bin/true "$root$other/bin/qvserver"
    ln -s /bin/true "$root$other/bin/qvclient"
    echo old >"$root$other/tool"
    echo new >"$root$other/new/tool"
    inside qvpost-list make "$other/new" "$other"
    inside systemctl start "qvpost-recover@$instance.service" "qvpost@$instance.service"
    wait_for "the end of the run" journal_has "Removing 1 updated entries"
    is "the file" "$(cat "$root$other/tool")" new
}

# More lines than the journal takes from another unit.
try_journal() {
    product
    mkdir "$root$app"/{,new/}many
    touch "$root$app"/{,new/}many/{1..10000}
    inside qvpost-list make $app/new $app
    inside systemctl start $unit
    is_new
    is "the lines" "$(journal | grep -c 'Parsing update line')" 10200
}

try_user() {
    local command bus='busctl call org.freedesktop.systemd1 /org/freedesktop/systemd1 org.freedesktop.systemd1.Manager'
    settings app.service User=app
    shown "A drop-in for both units" $dropins/$unit.d/user.conf
    shown "A drop-in for both units" $dropins/$recovery.d/user.conf
    inside systemctl daemon-reload
    product app
    refused systemctl start $unit
    shown "A rule for polkit" /etc/polkit-1/rules.d/50-app.rules
    echo "/usr/local/bin/updater $app" >"$root$app/ask"
    wait_for "the run" journal_has 'Starting post application'
    is_new
    is "the owner of what the client wrote" "$(inside stat -c %U $app/told)" app
    for command in "systemctl "{"restart app.service","kill app.service","start $recovery","stop polkit.service"} \
        "systemctl "{daemon-reload,"start dbus.service","set-environment LD_PRELOAD=/tmp/x"} "systemd-run true" \
        "$bus BindMountUnit sssbb app.service /tmp /etc false true" \
        "$bus SetUnitProperties sba(sv) app.service true 1 CPUWeight t 10"; do
        # shellcheck disable=SC2086
        refused $command
    done
    stops app
    power_cut app
    kills app
    rm -rf "$root$dropins"/qvpost*.d "$root"/etc/polkit-1/rules.d/50-app.rules
    settings app.service
}

# --- all of it --------------------------------------------------------------------------------------------------------

need_root debootstrap systemd-nspawn
need g++ cmake ninja-build python3
group=$(findmnt -n -o TARGET -t cgroup2 | head -n 1)/qvpost-systemd.$$
mkdir "$group"
work=$(mktemp -d "${TMPDIR:-/tmp}/qvpost-systemd.XXXXXX")
trap 'cut_power; rmdir "$group"; rm -rf --one-file-system "$work"' EXIT
trap 'exit 1' INT TERM HUP
make_root
switch_on
# shellcheck disable=SC2046
[ $# -gt 0 ] || set -- $(declare -F | sed -n 's/^declare -f try_//p')
failed=()
for name; do
    say "$name"
    SECONDS=0
    set +e
    (set -e; "try_$name")
    code=$?
    set -e
    [ $code != 0 ] || continue
    failed+=("$name")
    inside journalctl --quiet -n 40 -u app.service -u 'qvpost*' >&2 || true
done
[ ${#failed[@]} = 0 ] || fail "failed: ${failed[*]}"
say "$# cases"
