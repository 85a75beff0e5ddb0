#!/bin/bash
# Makes the previous version the current one again, by an update like any other.
#
#   revert.sh ROOT     the exit status is 0 when qvpost was started
#
# The previous version is the one that the current one replaced. A second call leads back again.
set -euo pipefail
. "$(dirname "$0")/versions.sh"
[ $# = 1 ] || fail "usage: revert.sh ROOT"
begin "$1"
[ -n "$previous" ] || fail "'$root' has no previous version"
remove_others
start "$previous"
