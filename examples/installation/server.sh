#!/bin/sh
# A server program, installed as ROOT/bin/qvserver.
#
#   qvserver --shutdown     stops the server; returns when it has stopped, or was not running
#   qvserver --startup      starts it; returns when it is up, or was running
#
# The exit status is 0 or the number of an error (errno). It becomes the exit status of the update and reaches the
# client.
root=${QV_SYSTEM:-$(cd "$(dirname "$0")/.." && pwd)}
ready=$root/run/ready # the service makes it when it is up
io_error=5

echo "server: called with $*"
(umask 077 && mkdir -p "$root/run")
# The service inherits the lock, so the lock is free when no service runs.
exec 9>>"$root/run/lock"

stop() {
    stopped='' tries=100
    until flock -n 9; do
        pid=$(cat "$root/run/pid" 2>/dev/null)
        [ "$pid" = "$stopped" ] || kill "$pid"
        [ $tries -gt 0 ] || return 1
        sleep 0.05
        stopped=$pid tries=$((tries - 1))
    done
}

case $1 in
    --shutdown)
        stop || exit $io_error
        ;;
    --startup)
        flock -n 9 || exit 0
        rm -f "$ready" "$root/run/pid"
        # The service keeps running: it gets a session and streams of its own, and the files of one version.
        version=$(realpath "$root/current")
        # shellcheck disable=SC2016
        setsid sh -c 'echo $$ >"$1/run/pid" && exec "$2/lib/service" "$1"' sh "$root" "$version" \
            </dev/null >>"$root/run/log" 2>&1 &
        tries=100
        until [ -f "$ready" ]; do
            # A process that has ended has no program, even while it is a zombie.
            if [ $tries = 0 ] || ! readlink "/proc/$!/exe" >/dev/null; then
                echo "server: the service did not come up: $(tail -n 1 "$root/run/log")"
                exec 9>&- 9>>"$root/run/lock"
                stop
                exit $io_error
            fi
            sleep 0.05
            tries=$((tries - 1))
        done
        ;;
    *)
        echo "usage: $0 --startup | --shutdown" >&2
        exit 22
        ;;
esac
