#!/usr/bin/env bash
# Tries the units and the updaters of the recipes under a systemd: boots a Debian 12 in namespaces of its own, with a
# small product in it whose server is a service, and updates that.
#
# Needs root, debootstrap, a cgroup2 and 1 GB in TMPDIR. Packages are kept in DOWNLOADS (/var/cache/qvpost-systems) for
# the next time, and so is the whole system where KEEP names a folder for it.
#
#   scripts/check-systemd.sh [CASE...]     the functions below whose names begin with try_; without one, all of them
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

app=/opt/app unit=app-update.service record=/opt/app/update.list.record

# --- the machine ------------------------------------------------------------------------------------------------------

# Everything runs in a process namespace, so that nothing is left behind however it ends. What is left to put away is
# the control group.
supervise() {
    [ "$(id -u)" = 0 ] || fail "needs root"
    command -v debootstrap >/dev/null || fail "needs debootstrap"
    need g++ cmake ninja-build python3
    local child='' code=0 mounted
    umask 022
    mounted=$(findmnt -n -o TARGET -t cgroup2 | head -n 1)
    [ -n "$mounted" ] || fail "needs a cgroup2"
    downloads=$(realpath -m "${DOWNLOADS:-/var/cache/qvpost-systems}")
    mkdir -p "$downloads"
    work=$(mktemp -d "${TMPDIR:-/tmp}/qvpost-systemd.XXXXXX")
    group=$mounted/${work##*/}
    mkdir "$group"
    finish() {
        [ -z "$child" ] || kill -KILL "$child" 2>/dev/null || true  # and with it everything in its namespace
        wait 2>/dev/null
        remove_groups "$group" && rmdir "$group"
        rm -rf --one-file-system "$work"
    }
    trap finish EXIT
    trap 'exit 1' INT TERM HUP
    work=$work downloads=$downloads group=$group unshare --mount --pid --fork --kill-child --mount-proc \
        "$BASH" scripts/check-systemd.sh --supervised "$@" &
    child=$!
    wait "$child" || code=$?
    child=
    exit "$code"
}

# Those of a machine that was switched off: what systemd has made below its own. The last process goes a moment after
# the one that it was waited for.
remove_groups() {
    wait_for "an empty control group" grep -qx 'populated 0' "$1/cgroup.events"
    find "$1" -mindepth 1 -depth -type d -exec rmdir {} +
}

# In the new namespaces: what a container's manager does before the container's first process runs.
boot_inside() {
    mount --bind "$1" "$1"
    cd "$1"
    mkdir -p .outside
    mount -t proc proc proc
    mount -t sysfs -o ro sysfs sys
    mount -t cgroup2 cgroup2 sys/fs/cgroup
    mount -t tmpfs -o mode=755 tmpfs dev
    local device
    for device in null zero full random urandom tty; do
        touch "dev/$device"
        mount --bind "/dev/$device" "dev/$device"
    done
    mkdir dev/pts dev/shm
    mount -t devpts -o newinstance,ptmxmode=0666,mode=620,gid=5 devpts dev/pts
    ln -s pts/ptmx dev/ptmx
    ln -s /proc/self/fd dev/fd
    mount -t tmpfs -o mode=755 tmpfs run
    pivot_root . .outside
    umount -l /.outside
    exec env -i container=lxc PATH=/usr/sbin:/usr/bin:/sbin:/bin /lib/systemd/systemd --show-status=no \
        </dev/null >/dev/null 2>&1
}

inside() { nsenter --target "$(cat "$work/init")" --all env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin "$@" </dev/null; }

has_booted() {
    local init
    init=$(tr -d ' ' <"/proc/$machine/task/$machine/children") || return
    # Until it has become that, it has the root of this system.
    [ "$(readlink "/proc/${init:-none}/exe")" = /usr/lib/systemd/systemd ] || return
    echo "$init" >"$work/init"
    inside test -S /run/systemd/private -a -S /run/dbus/system_bus_socket
} 2>/dev/null

switch_on() {
    (
        echo $BASHPID >"$group/cgroup.procs"
        exec unshare --pid --fork --kill-child --mount --uts --ipc --net --cgroup \
            "$BASH" scripts/check-systemd.sh --boot "$root"
    ) &
    machine=$!
    disown
    echo $machine >"$work/machine"
    wait_for "the start of the machine" has_booted
    inside systemctl is-system-running --wait >"$work/state" || [ "$(cat "$work/state")" = degraded ]
}

is_off() { ! [ -e "/proc/$(cat "$work/machine")/root/." ]; } 2>/dev/null
wait_until_off() {
    wait_for "the end of the machine" is_off
    remove_groups "$group"
}
power_off() {
    inside systemctl poweroff
    wait_until_off
}
cut_power() {
    kill -KILL "$(cat "$work/machine")"
    wait_until_off
}

make_root() {
    root=${KEEP:-$work/root}
    if [ ! -e "$root/made" ]; then
        say "A Debian 12"
        debian_root "$root" bookworm "$downloads" \
            --include=systemd,systemd-sysv,dbus,polkitd,libpam-systemd,python3-minimal,libstdc++6
        chroot "$root" useradd --system app
        mkdir -p "$root/var/log/journal"
        touch "$root/made"
    fi
    say "The package and the updaters of the recipes"
    build build-systemd -DBUILD_TESTING=OFF -DCMAKE_INSTALL_PREFIX=/usr
    (cd build-systemd && rm -f ./*.deb && cpack -G DEB) >"$work/log" 2>&1 || { tail "$work/log"; return 1; }
    cp build-systemd/qvpost_*.deb "$root/qvpost.deb"
    chroot "$root" dpkg -i /qvpost.deb >"$work/log" 2>&1 || { tail "$work/log"; return 1; }
    local updaters=$root/usr/local/lib/updaters recipes=docs/recipes.md library=build-systemd/common/libqvcommon.a alone
    mkdir -p "$updaters"
    scripts/documents.py $recipes $'\n### In shell\n' >"$updaters/shell"
    scripts/documents.py $recipes $'\n### In Python\n' >"$updaters/Python"
    scripts/documents.py $recipes $'\n### In C++\n' >"$work/updater.cpp"
    # The one that starts the unit has that line where the others start qvpost.
    { sed '/^post=/,$d' "$updaters/shell"; scripts/documents.py $recipes $'\n### With the unit qvpost@\n'; } \
        >"$updaters/unit"
    # What they do where there is no systemd.
    sed 's,/run/systemd/system,/none,' "$updaters/shell" >"$updaters/shell-alone"
    sed 's,/run/systemd/system,/none,' "$updaters/Python" >"$updaters/Python-alone"
    sed 's,/run/systemd/system,/none,' "$work/updater.cpp" >"$work/updater-alone.cpp"
    for alone in '' -alone; do
        c++ -std=c++20 -I . "$work/updater$alone.cpp" $library -pthread -o "$updaters/C++$alone"
    done
    chmod 755 "$updaters"/*
    cp scripts/check-systemd/app.service "$root/etc/systemd/system/app.service"
    chroot "$root" systemctl --quiet enable app.service
}

# --- the product ------------------------------------------------------------------------------------------------------

# product [HABIT...]: a new installation of the old version, with the new one beside it, that the user $owner owns; its
# server runs.
product() {
    local folder=$root$app sources=scripts/check-systemd
    inside systemctl stop app.service $unit 'qvpost@*.service' 'qvpost-mend@*.service' 2>/dev/null || true
    inside systemctl reset-failed
    inside journalctl -n 0 --show-cursor | sed -n 's/^-- cursor: //p' >"$work/cursor"
    rm -rf "$folder"
    mkdir -p "$folder"/{bin,lib,etc,scripts/setup,new/lib}
    cp $sources/daemon.py "$folder/bin/daemon"
    cp $sources/server.sh "$folder/bin/qvserver"
    cp $sources/client.sh "$folder/bin/qvclient"
    cp $sources/setup.sh "$folder/scripts/setup/qvserver"
    echo old >"$folder/lib/version"
    echo new >"$folder/new/lib/version"
    echo new >"$folder/new/lib/added"
    echo "$*" >"$folder/etc/daemon"
    chroot "$root" chown -R "${owner:-root}" $app
    inside systemctl start app.service
}

# settings UNIT LINE...: a drop-in for the unit with these lines; without one, no drop-in.
settings() {
    local folder=$root/etc/systemd/system/$1.d
    rm -rf "$folder"
    if [ $# -gt 1 ]; then
        mkdir -p "$folder"
        printf '%s\n' "${@:2}" >"$folder/check.conf"
    fi
    inside systemctl daemon-reload
}

# Lets the server start an updater, as its users would.
update() {
    inside bash -c 'exec 3<>/dev/tcp/127.0.0.1/4000 && echo "$*" >&3' - "/usr/local/lib/updaters/$1" "${2-$app}"
}

# hold STEP: makes the setup script or the start of the new server wait; let_go STEP ends that.
hold() { mkfifo "$root$app/hold-$1"; }
wait_until_held() { wait_for "the step '$1' to begin" test -e "$root$app/held-$1"; }
let_go() { : >"$root$app/hold-$1"; rm -f "$root$app/hold-$1" "$root$app/held-$1"; }

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

told() { sed 's/ *$//' "$root$app/told" 2>/dev/null || true; }
was_told() { [ "$(told | tail -n 1)" = "$1" ]; }
state_of() { inside systemctl show -P ActiveState "$1"; }
is_inactive() { [[ $(state_of "$1") = @(inactive|failed) ]]; }
is_stopping() { [ "$(state_of "$1")" = deactivating ]; }
# since the product was made
said() { inside journalctl --quiet -o cat --after-cursor="$(cat "$work/cursor")" -u "$@"; }
running_version() { inside systemctl show -P StatusText app.service; }
has_said() { grep -q -- "$2" <<<"$(said "$1")"; }  # UNIT PATTERN
# In the whole journal: a message of a program that ends at once may have no unit there.
was_refused() {  # PATTERN
    grep -q -- "$1" <<<"$(inside journalctl --quiet -o cat --after-cursor="$(cat "$work/cursor")")"
}
have_files() {  # VERSION
    is "the installed version" "$(cat "$root$app/lib/version")" "$1"
    is "the files beside it" "$(cd "$root$app/lib" && echo *)" "added version"
}

succeeds() {  # [UNIT]
    wait_for "word of the success" was_told "progress: 1 33 66 100"
    wait_for "the end of qvpost" is_inactive "${1-$unit}"
    is "what was told" "$(told)" "setup done
progress: 1 33 66 100"
    have_files new
    is "the version that runs" "$(running_version)" new
    is "the state of the server" "$(state_of app.service)" active
}

# A run that failed in the words that the client was told; its last line says what became of the server.
fails() {  # UNIT VERSION TOLD
    wait_for "word of the failure" was_told "${3##*$'\n'}"
    wait_for "the end of qvpost" is_inactive "$1"
    is "what was told" "$(told)" "$3"
    have_files "$2"
}

# --- the cases --------------------------------------------------------------------------------------------------------

# Every updater leaves the service, whatever its stop kills.
try_updaters() {
    local mode updater
    for mode in control-group mixed process; do
        settings app.service '[Service]' KillMode=$mode
        for updater in shell Python C++; do
            product
            update $updater
            succeeds
        done
    done
    settings app.service
}

# The new server doesn't start: the old version is back and its client starts it. A file that was added stays.
try_server_that_fails() {
    local updater
    for updater in shell Python C++; do
        product
        echo broken >"$root$app/new/lib/version"
        update $updater
        fails $unit old "setup done
progress: 1 33 66 -1
outcome: --post startup --error 1
server started"
        is "the version that runs" "$(running_version)" old
        is "the exit status" "$(said $unit | sed -n 's/.*Main process exited, code=exited, status=\([0-9]*\).*/\1/p' |
            tail -n 1)" 1
    done
}

# Nobody waits for the updater: qvpost does, until somebody stops the server.
try_updater_that_is_not_reaped() {
    product no-reap
    update shell
    wait_for "qvpost to wait" grep -qs 'Still waiting' "$root$app/update.log"
    inside systemctl stop app.service
    succeeds
}

# The server's socket is open in the updater, and must not be in qvpost.
try_leaked_socket() {
    local updater
    for updater in shell Python C++ unit; do
        product leaks
        update $updater
        if [ $updater = unit ]; then succeeds qvpost@opt-app; else succeeds; fi
    done
}

# Where qvpost is a child of the updater, the recipe closes what is open; KillMode=process lets it live.
try_leaked_socket_alone() {
    local updater
    settings app.service '[Service]' KillMode=process
    for updater in shell Python C++; do
        product leaks
        update $updater-alone
        succeeds none.service
    done
    settings app.service
}

# Without a unit of its own qvpost goes with the service. Whether its client is still started, and with that the old
# server, is a race; in the service's group such a start waits for the stop that waits for it, until the time is over.
try_no_unit() {
    settings app.service '[Service]' TimeoutStopSec=3s
    product
    update shell-alone
    wait_for "the stop of the server" grep -qs 'Stopping server' "$root$app/update.log"
    wait_for "the end of qvpost" eval '! pgrep -x qvpost >/dev/null'
    is "the installed version" "$(cat "$root$app/lib/version")" old
    ! grep -q 'Updating files' "$root$app/update.log" || fail "qvpost went on"
    settings app.service
}

try_folders_of_the_service() {
    settings app.service '[Service]' PrivateTmp=yes RuntimeDirectory=app
    product
    inside sh -c 'for folder in /run/app /tmp/systemd-private-*-app.service-*/tmp; do touch "$folder/file"; done'
    inside systemctl stop app.service
    is "what is left" "$(inside find /run/app /tmp -name file 2>/dev/null)" ""
    settings app.service
}

# A rename from one writable folder into another, on one disk.
try_writable_folders() {
    settings app.service '[Service]' ProtectSystem=strict "ReadWritePaths=$app/new $app/lib" \
        "ExecStartPost=-/usr/bin/python3 -c 'import os; os.rename(\"$app/new/lib/version\", \"$app/lib/other\")'"
    product
    wait_for "the failure" has_said app.service 'Errno 18'
    settings app.service
}

try_update_at_power_off() {
    product
    settings app.service '[Service]' "ExecStop=/usr/local/lib/updaters/shell $app"
    power_off
    is "what was told" "$(told)" ""
    have_files old
    switch_on
    was_refused 'is destructive'
    is "the version that runs" "$(running_version)" old
    settings app.service
}

try_second_run() {
    product
    hold setup
    update shell
    wait_until_held setup
    is "the second start" "$(inside /usr/local/lib/updaters/shell $app 2>&1 | tail -n 1)" \
        "qvpost-list: process $(inside systemctl show -P MainPID $unit) is a qvpost that works on '$app/update.list'"
    inside systemd-run --quiet --unit=$unit true 2>"$work/log" && fail "a second run was started"
    grep -q "$unit" "$work/log"
    let_go setup
    succeeds
}

# The stop of the server from outside means nothing to the run, which starts it.
try_stop_of_the_server_during_setup() {
    product
    hold setup
    update shell
    wait_until_held setup
    inside systemctl stop app.service
    let_go setup
    succeeds
}

# stop_during_setup UNIT UPDATER: qvpost is asked to end while the setup script runs, which ends first.
stop_during_setup() {
    product
    hold setup
    update "$2"
    wait_until_held setup
    inside systemctl stop --no-block "$1"
    wait_for "the stop of qvpost" is_stopping "$1"
    let_go setup
    fails "$1" old "setup done
progress: 1 33 -4
outcome: --post update --error 4
server started"
}
try_stop_during_setup() { stop_during_setup $unit shell; }
try_stop_of_the_unit_during_setup() { stop_during_setup qvpost@opt-app.service unit; }

# Once the server is being started, the update is complete.
try_stop_during_start() {
    product
    hold start
    update shell
    wait_until_held start
    inside systemctl stop --no-block $unit
    wait_for "the stop of qvpost" is_stopping $unit
    let_go start
    succeeds
}

# A shutdown asks qvpost to end, and refuses to start anything: the old version starts with the machine.
power_off_during() {  # STEP TOLD
    product
    hold "$1"
    update shell
    wait_until_held "$1"
    inside systemctl poweroff
    [ "$1" = start ] || { wait_for "the shutdown" is_stopping $unit; let_go "$1"; }
    wait_until_off
    rm -f "$root$app/hold-$1" "$root$app/held-$1"
    is "what was told" "$(told)" "$2"
    have_files old
    switch_on
    is "the state of the server" "$(state_of app.service)" active
    is "the version that runs" "$(running_version)" old
}

try_power_off_during_setup() {
    power_off_during setup "setup done
progress: 1 33 -4
outcome: --post update --error 4
server not started"
}
try_power_off_during_start() {
    power_off_during start "setup done
progress: 1 33 66 -1
outcome: --post startup --error 1
server not started"
}

try_unit() {
    product
    update unit
    succeeds qvpost@opt-app.service
    is "the last line of the log" "$(said qvpost@opt-app.service | grep -c 'Removing 1 updated entries')" 1
}

# Another root, whose names aren't the usual ones.
try_unit_with_other_names() {
    local other='/opt/an ${HOME} 100%n' instance
    product
    instance=$(inside systemd-escape --path "$other")
    rm -rf "$root$other"
    mkdir -p "$root$other/new"
    echo old >"$root$other/tool"
    echo new >"$root$other/new/tool"
    # shellcheck disable=SC2016
    printf '%s\n' 'server=/bin/true client=/bin/true list=$root/other.list options="-v 2"' >"$root$other/qvpost.conf"
    inside qvpost-list make -o "$other/other.list" "$other/new" "$other"
    inside systemctl start "qvpost@$instance.service"
    wait_for "the end of qvpost" is_inactive "qvpost@$instance.service"
    is "the file" "$(cat "$root$other/tool")" new
    inside systemctl start "qvpost-mend@$instance.service"
    is "the mending" "$(said "qvpost-mend@$instance.service" | grep version)" "new version"
    chmod g+w "$root$other"
    inside chgrp app "$other"
    inside systemctl start "qvpost@$instance.service" || true
    wait_for "the refusal" has_said "qvpost@$instance.service" \
        "^qvpost-unit: others may write to '$other'"
    rm -rf "${root:?}$other"
}

try_user_service() {
    local user=$root/etc/systemd/system/qvpost@opt-app.service.d rules=$root/etc/polkit-1/rules.d/50-app.rules
    local owner=app
    rm -rf "$user" "$rules"
    settings app.service '[Service]' User=app
    product
    update shell
    wait_for "the refusal" was_refused "No medium found"
    update unit
    wait_for "the refusal" was_refused "Interactive authentication required"

    scripts/documents.py docs/recipes.md "A rule for polkit" >"$rules"
    inside systemctl start qvpost@opt-app.service || true
    wait_for "the refusal of another's root" has_said "qvpost@opt-app.service" "root does not own"
    is "the version that runs" "$(running_version)" old

    mkdir -p "$user"
    scripts/documents.py docs/recipes.md "A drop-in" >"$user/user.conf"
    inside systemctl daemon-reload
    inside systemctl reset-failed
    update unit
    succeeds qvpost@opt-app.service
    is "the owner of the log" "$(inside stat -c %U $app/told)" app
    inside setpriv --reuid app --regid app --clear-groups systemctl restart dbus.service 2>"$work/log" &&
        fail "another unit may be restarted"
    grep -q 'Interactive authentication required' "$work/log"
    rm -rf "$user" "$rules"
    settings qvpost-mend@opt-app.service '[Service]' User=app
    inside systemctl start qvpost-mend@opt-app.service
    is "the mending" "$(said qvpost-mend@opt-app.service | grep version)" "new version"
    settings qvpost-mend@opt-app.service
    settings app.service
}

# The systemd of a user who is logged in.
try_user_manager() {
    local folder='/opt/my ${HOME} 100%n' number updater
    number=$(inside id -u app)
    inside loginctl enable-linger app
    wait_for "the user's systemd" inside test -S "/run/user/$number/systemd/private"
    for updater in shell Python C++; do
        rm -rf "$root$folder"
        mkdir -p "$root$folder/bin" "$root$folder/new"
        ln -s /bin/true "$root$folder/bin/qvserver"
        ln -s /bin/true "$root$folder/bin/qvclient"
        echo old >"$root$folder/tool"
        echo new >"$root$folder/new/tool"
        inside chown -R app "$folder"
        inside setpriv --reuid app --regid app --clear-groups env XDG_RUNTIME_DIR="/run/user/$number" \
            /usr/local/lib/updaters/$updater "$folder"
        wait_for "the end of the update" eval "grep -q 'No updates to free' '$root$folder/update.log' ||
            grep -q 'Removing .*temporary' '$root$folder/update.log'"
        is "the file" "$(cat "$root$folder/tool")" new
    done
    inside loginctl disable-linger app
    wait_for "the end of the user's systemd" is_inactive "user@$number.service"
    rm -rf "${root:?}$folder"
}

try_journal() {
    product
    hold setup
    update unit
    wait_until_held setup
    inside systemctl restart systemd-journald.service
    let_go setup
    succeeds qvpost@opt-app.service
    wait_for "the last line" has_said "qvpost@opt-app.service" "Removing 1 updated entries"
}

# More lines than the journal takes from another unit.
try_many_files() {
    local files=10000
    product
    mkdir "$root$app/many" "$root$app/new/many"
    (cd "$root$app/many" && seq $files | xargs touch)
    (cd "$root$app/new/many" && seq $files | xargs touch)
    update unit
    succeeds qvpost@opt-app.service
    wait_for "the last line" has_said "qvpost@opt-app.service" "Removing $((files + 1)) updated entries"
    is "the lines" "$(said qvpost@opt-app.service | grep -c 'Parsing update line')" $((files + 1))
}

try_sandbox() {
    settings app.service '[Service]' ProtectSystem=strict ReadWritePaths=$app PrivateTmp=yes
    local updater
    for updater in shell Python C++ unit; do
        product
        update $updater
        if [ $updater = unit ]; then succeeds qvpost@opt-app; else succeeds; fi
    done
    settings app.service '[Service]' ProtectSystem=strict
    product
    update shell
    wait_for "the updater's failure" has_said "app.service" "Read-only file system"
    is "the state of the server" "$(state_of app.service)" active
    settings app.service
}

mended=("[Unit]" Requires=qvpost-mend@opt-app.service After=qvpost-mend@opt-app.service)

# cut_off: a machine that stops while the setup script runs.
cut_off() {
    product
    hold setup
    update shell
    wait_until_held setup
    cut_power
    rm "$root$app/hold-setup" "$root$app/held-setup"
    is "the version after the power cut" "$(cat "$root$app/lib/version")" new
}

try_mend_at_boot() {
    settings app.service "${mended[@]}"
    cut_off
    switch_on
    have_files old
    is "the version that runs" "$(running_version)" old
    is "the state of the server" "$(state_of app.service)" active
    [ ! -e "$root$record" ] || fail "the record is there"
    update shell
    succeeds
    settings app.service
}

# Files of two versions: the server doesn't start on them.
try_mend_that_fails() {
    settings app.service "${mended[@]}"
    cut_off
    rm "$root$app/lib/version" "$root$app/lib/version.temporary"
    switch_on
    is "the state of the server" "$(state_of app.service)" inactive
    is "the state of the mending" "$(state_of qvpost-mend@opt-app.service)" failed
    settings app.service
}

# The unit that mends comes with an update: the start of the server has it run beside qvpost.
try_mend_beside_a_run() {
    product
    hold setup
    update shell
    wait_until_held setup
    settings app.service "${mended[@]}"
    let_go setup
    succeeds
    settings app.service
}

# --- all of it --------------------------------------------------------------------------------------------------------

case ${1-} in
    --boot) boot_inside "$2" ;;
    --supervised)
        shift
        make_root
        cases=("${@/#/try_}")
        [ $# -gt 0 ] || mapfile -t cases < <(declare -F | sed -n 's/^declare -f \(try_\)/\1/p')
        failed=()
        for name in "${cases[@]}"; do
            [ -s "$work/init" ] && kill -0 "$(cat "$work/init")" 2>/dev/null || switch_on
            say "${name#try_}"
            SECONDS=0
            set +e
            (set -e; "$name")
            code=$?
            set -e
            [ $code = 0 ] && continue
            failed+=("${name#try_}")
            inside journalctl -b -o cat -n 40 -u app.service -u $unit -u "qvpost*" >&2 || true
            tail -n 20 "$root$app/update.log" >&2 || true
            settings app.service || true
        done
        power_off
        [ ${#failed[@]} = 0 ] || fail "failed: ${failed[*]}"
        say "${#cases[@]} cases"
        ;;
    *) supervise "$@" ;;
esac
