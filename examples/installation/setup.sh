#!/bin/sh
# A setup script, installed as <root>/scripts/setup/qvserver (or qvplayer, for an installation without a server).
#
#   qvserver --update --auto    everything that an update needs besides its files, without asking anybody
#
# It runs when the new files are in place and the server is stopped. The exit status is 0, or the number of an error
# (errno): the update is then rolled back, so whatever was done here must not keep the old files from working.
echo "setup: called with $*"
root=$(cd "$(dirname "$0")/../.." && pwd)

case "$*" in
    "--update --auto")
        # Here: convert data, renew caches, set permissions.
        chmod 755 "$root/lib/service"
        ;;
    *)
        echo "usage: $0 --update --auto" >&2
        exit 22
        ;;
esac
