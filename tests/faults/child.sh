#!/bin/sh
# The server, the setup script and the client of the fault matrix. FAIL names the calls that end with status 7; with
# "early" the progress client ends while another child runs, else once its channel has ended. A child waits for what the
# progress thread reports meanwhile, so that the lines of two threads don't meet.
Until() { i=0; until grep -q -e "$1" "$2" || [ $((i += 1)) = 100 ]; do :; done; }
echo "$*" >>calls
case "$1$2 $FAIL $FAULT" in
    --postprogress*early*) Until 'auto\|startup' calls ;;
    --postprogress*) read -r values <&"$4"; echo "$values" >values ;;
    --update*early* | --startup*early* | --update*[kpd]' 2 '*) Until 'context \[A' log ;;
esac
case $FAIL in *"$1$2"*) exit 7 ;; esac
