#!/bin/sh
# Writes down what it is told; after a failure it starts the server of the old version, as clients are expected to.
case "$*" in
    *progress*) echo "progress: $(tr '\0' ' ' <&"$4")" ;;
    *--error*)
        echo "outcome: $*"
        "${0%/*}/qvserver" --startup && echo "server started" || echo "server not started"
        ;;
esac >>"$QV_SYSTEM/told"
