#!/bin/bash
# An updater: unpacks the new files beside the installed ones, has the update list written, starts qvpost and exits.
#
#   updater ROOT QVPOST ARCHIVE     the installation, the program qvpost, a tar archive of files below the root
#
# The shortest one, to show the steps. The updaters of docs/recipes.md also mend an update that was stopped, and leave
# the service that they stop.
set -euo pipefail
root=$1 qvpost=$2 archive=$3

# On the file system of the installation: files are moved by renames alone.
mkdir -p "$root/new"
tar -xf "$archive" -C "$root/new"
qvpost-list make -a "$root/new" "$root"

# qvpost goes on when this process, $$, has gone.
export QV_SYSTEM=$root
"$qvpost" -p $$ -s "$root/bin/qvserver" -c "$root/bin/client" -f "$root/update.list" &
echo "updater: unpacked, listed and started qvpost; exits"
