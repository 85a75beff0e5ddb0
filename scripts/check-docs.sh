#!/bin/bash
# Holds documents and program together: the log and the manual pages (check-docs.py), then the programs that the
# documents show (check-examples.py).
#
#   scripts/check-docs.sh QVPOST     everything, with this qvpost
#   scripts/check-docs.sh --pages    the codes and the manual pages alone
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

need python3
scripts/check-docs.py "${1:?}"
[ "$1" = --pages ] || scripts/check-examples.py "$1"
