#!/bin/bash
# replace_files.sh LIST: works through an update list like qvpost, as a shell script.
set -e
log() { printf '%s %s %(%H:%M:%S)T %s\n' "$$" "$$" -1 "$1" >&2; }

backups=()
while IFS= read -r line; do
    log "Parsing update line '$line'."
    source=${line#source=}
    source=${source%%,*}
    destination=${line#*,destination=}
    backup=$destination.temporary
    for leftover in "$backup" "$backup"{1..9}; do
        [ -e "$leftover" ] && rm "$leftover"
    done
    [ -e "$destination" ] && [ -e "$backup" ] && rm "$backup"
    log "Renaming '$destination' as '$backup'."
    mv "$destination" "$backup"
    log "Renaming '$source' as '$destination'."
    mv "$source" "$destination"
    backups+=("$backup")
done <"$1"
rm "$1"
for backup in "${backups[@]}"; do
    log "Removing '$backup'."
    rm "$backup"
done
