# Three updates by the installed programs: one succeeds, one is killed and recovered, one fails. For sh -eu, as root.
mkdir -p /opt/app/bin /opt/app/new/bin /opt/app/scripts/setup
cd /opt/app
cat >bin/server <<'CHILD'
#!/bin/sh
echo "${0##*/} $*" >>/opt/app/calls
[ "$2" != progress ] || tr "\0" " " <&$4 >/opt/app/progress
[ "$1" != --update ] || [ ! -e /opt/app/killed ] || kill -KILL $PPID
CHILD
chmod 755 bin/server
ln bin/server bin/client
ln bin/server scripts/setup/qvserver

fail() { echo "FAILED: $*"; cat log calls; exit 1; }
is() { [ "$2" = "$3" ] || fail "$1 is '$2' rather than '$3'"; }
make() { echo old >bin/tool; echo new >new/bin/tool; qvpost-list make new . || fail "the list was not made"; }
run() {
    code=0
    QV_SYSTEM=$PWD /usr/libexec/qvpost -s "$PWD/bin/server" -c "$PWD/bin/client" -f "$PWD/update.list" 2>log || code=$?
}
recover() { is "the outcome" "$(qvpost-list recover update.list.record | tail -n 1)" "$1"; }

make
run
is "the exit code" $code 0
is "the file" "$(cat bin/tool)" new
is "the progress" "$(cat progress)" "1 33 66 100 "
is "the list of calls" "$(sed 's/--fd [0-9]*/--fd N/' calls | LC_ALL=C sort | tr '\n' ';')" \
    "client --post progress --fd N;qvserver --update --auto;server --shutdown;server --startup;"
recover "nothing to recover"
is "the directory" "$(echo * bin/*)" "bin calls log new progress scripts bin/client bin/server bin/tool"

touch killed
make
run
rm killed
is "the exit code of a killed run" $code 137
is "the files of a killed run" "$(cat bin/tool bin/tool.temporary | tr '\n' ' ')" "new old "
recover "old version"
is "the recovered files" "$(cat bin/tool new/bin/tool | tr '\n' ' ')" "old new "

make
rm bin/tool
run
is "the exit code of a failed run" $code 2
is "the new file" "$(cat new/bin/tool)" new
grep -q "context \['AG'\]" log || fail "the log has no AG"
grep -q -- "--post update --error 2 --entry /opt/app/bin/tool" calls || fail "the client was not notified"
cd /
rm -r /opt/app
