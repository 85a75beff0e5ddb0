#!/bin/sh
# Started by updater.sh and revert.sh: runs qvpost, and recovers the installation when qvpost is killed.
#
#   run.sh ROOT NAME PID     NAME becomes the current version once process PID has gone
#
# The lock of the installation, descriptor 9, belongs to this shell alone: a program that it starts may keep running.
root=$1 name=$2
export QV_SYSTEM="$root"

setsid "$QVPOST" -p "$3" -s "$root/bin/qvserver" -c "$root/bin/qvclient" -f "$root/update.list" 9>&- &
wait $!
code=$?
# What a killed qvpost was waiting for is in its process group: a setup script, a server program, a client.
[ $code -le 128 ] || kill -KILL -- -$! 2>/dev/null

# Such a process may hold the record for a moment (status 3).
tries=50
until settled=$(qvpost-list recover "$root/update.list.record" 9>&-); do
    [ $? = 3 ] && [ $tries -gt 0 ] || exit 1
    tries=$((tries - 1))
    sleep 0.1
done
[ $code -gt 128 ] || [ "$settled" != 'nothing to recover' ] || exit 0

# The outcome that qvpost could not report. 4 is EINTR.
echo "$settled"
if [ "$root/current" -ef "$root/versions/$name" ]; then
    "$root/bin/qvserver" --startup 9>&-
    "$root/bin/qvclient" --post success 9>&-
else
    "$root/bin/qvclient" --post update --error 4 9>&-
fi
