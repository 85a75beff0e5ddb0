#!/bin/bash
# An updater: unpacks the new files beside the installed ones, writes the update list, starts qvpost and exits.
#
#   updater ROOT QVPOST ARCHIVE     the installation, the program qvpost, a tar archive of files below the root
#
# The shortest one, to show the steps. It trusts its archive: every file must be installed already, and none may have a
# name that a list can't hold. The updaters of docs/recipes.md look at that, and leave the service that they stop.
set -euo pipefail
root=$1 qvpost=$2 archive=$3

# In the values of a list, and nowhere else, ',' '=' and ' ' are written as the bytes 30, 29 and 31.
escape() { printf %s "$1" | tr ',= ' '\036\035\037'; }

# On the file system of the installation: files are moved by renames alone.
mkdir -p "$root/new"
tar -xf "$archive" -C "$root/new"

list=$root/new/update.list
: >"$list"
(cd "$root/new" && find . -type f ! -name update.list -printf '%P\0') | while IFS= read -r -d '' file; do
    printf 'source=%s,destination=%s\n' "$(escape "$root/new/$file")" "$(escape "$root/$file")" >>"$list"
done

# qvpost goes on when this process, $$, has gone.
export QV_SYSTEM=$root
"$qvpost" -p $$ -s "$root/bin/qvserver" -c "$root/bin/client" -f "$list" &
echo "updater: unpacked, listed and started qvpost; exits"
