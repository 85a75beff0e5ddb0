#!/bin/bash
# Started by an updater, in a session of its own: runs qvpost, and recovers the installation when qvpost is killed.
#
#   run.sh ROOT PID     begins once the updater, process PID, has exited; its output goes to ROOT/qvpost.log
#
# The lock of the installation, descriptor 9, belongs to this shell alone: a program that it starts may keep running.
root=$1
export QV_SYSTEM=$root

(
    trap - INT QUIT # a shell has its background jobs ignore them
    exec setsid "${QVPOST:-/usr/libexec/qvpost}" -p "$2" -s "$root/bin/qvserver" -c "$root/bin/qvclient" \
        -f "$root/update.list" 9>&-
) &
post=$!
wait $post && exit # the new server runs: a backup that could not be deleted then is left to the next updater
# What a killed qvpost was waiting for is in its process group: a setup script, a server program, a client.
[ $? -le 128 ] || kill -KILL -- -$post

# Such a process may hold the record for a moment (status 3).
tries=50
until settled=$(qvpost-list recover "$root/update.list.record" 9>&-); do
    [ $? = 3 ] && [ $tries -gt 0 ] || exit 1
    tries=$((tries - 1))
    sleep 0.1
done
# A run that ended by itself leaves nothing to recover, and has reported its outcome.
[ "$settled" != 'nothing to recover' ] || exit 0
echo "$settled"
case ${settled##*$'\n'} in
    'new version')
        "$root/bin/qvserver" --startup 9>&-
        "$root/bin/qvclient" --post success 9>&-
        ;;
    'old version')
        "$root/bin/qvclient" --post update --error 4 9>&- # EINTR
        ;;
esac
