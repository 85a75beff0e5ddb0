#!/bin/sh
# A setup script, installed as ROOT/scripts/setup/qvserver (or qvplayer, for an installation without a server).
#
#   qvserver --update --auto     does what an update needs besides its files; it is non-interactive
#
# It runs when the new files are in place and the server is stopped. The exit status is 0 or the number of an error
# (errno). A failure, here or later, brings the old version back: it must be able to work with what this script leaves.
set -eu
root=${QV_SYSTEM:-$(cd "$(dirname "$0")/../.." && pwd)}

echo "setup: called with $*"
[ "$*" = '--update --auto' ] || {
    echo "usage: $0 --update --auto" >&2
    exit 22
}

# A version brings a default configuration. One that exists stays as it is, edited or not.
if [ -f "$root/current/share/app.conf" ] && [ ! -e "$root/etc/app.conf" ]; then
    mkdir -p "$root/etc"
    cp "$root/current/share/app.conf" "$root/etc/.app.conf.new"
    mv "$root/etc/.app.conf.new" "$root/etc/app.conf"
fi
# Here: convert data, renew caches.
