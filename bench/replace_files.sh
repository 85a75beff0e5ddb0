#!/bin/bash
# replace_files.sh LIST: what qvpost does with an update list, as a shell script would do it.
set -e
say() { printf '%s %s %(%H:%M:%S)T %s\n' "$$" "$$" -1 "$1" >&2; }

backups=()
while IFS= read -r line; do
    say "Parsing update line '$line'."
    source=${line#source=}
    source=${source%%,*}
    destination=${line#*,destination=}
    backup=$destination.temporary
    for leftover in "$backup" "$backup"{1..9}; do
        [ -e "$leftover" ] && rm "$leftover"
    done
    [ -e "$destination" ] && [ -e "$backup" ] && rm "$backup"
    say "Renaming '$destination' as '$backup'."
    mv "$destination" "$backup"
    say "Renaming '$source' as '$destination'."
    mv "$source" "$destination"
    backups+=("$backup")
done <"$1"
rm "$1"
for backup in "${backups[@]}"; do
    say "Removing '$backup'."
    rm "$backup"
done
