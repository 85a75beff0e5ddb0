#!/bin/sh
# A server program, installed as <root>/bin/qvserver.
#
#   qvserver --shutdown     stops the server; returns when it has stopped, or wasn't running
#   qvserver --startup      starts it; returns when it is up
#
# The exit status is 0, or the number of an error (errno) that says what went wrong: it becomes the exit code of the
# update and is told to the client.
root=$(cd "$(dirname "$0")/.." && pwd)
pid_file=$root/run/pid
ready_file=$root/run/ready      # the service makes it when it is up
io_error=5

echo "server: called with $*"

# A process that has ended and wasn't waited for yet has no program any more.
running() { [ -f "$pid_file" ] && readlink "/proc/$(cat "$pid_file")/exe" >/dev/null; }

# wait_while COMMAND: until it fails, for five seconds at most.
wait_while() {
    tries=100
    while "$@" && [ $tries -gt 0 ]; do
        sleep 0.05
        tries=$((tries - 1))
    done
    ! "$@"
}

coming_up() { running && [ ! -f "$ready_file" ]; }

case $1 in
    --shutdown)
        running || exit 0
        kill "$(cat "$pid_file")"
        wait_while running || exit $io_error
        rm -f "$pid_file" "$ready_file"
        ;;
    --startup)
        running && exit 0
        mkdir -p "$root/run"
        rm -f "$ready_file"
        # A service that lives on must let go of the streams that it was started with.
        "$root/lib/service" "$ready_file" </dev/null >>"$root/run/log" 2>&1 &
        echo $! >"$pid_file"
        wait_while coming_up && [ -f "$ready_file" ] && exit 0
        rm -f "$pid_file"
        echo "server: the service did not come up: $(tail -n 1 "$root/run/log")"
        exit $io_error
        ;;
    *)
        echo "usage: $0 --startup | --shutdown" >&2
        exit 22
        ;;
esac
