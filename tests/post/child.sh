#!/bin/bash
# Server, setup script and client of the tests, in the directory of an installation. Each call is written down in the file
# "calls" (in "progress" that of the progress client, with the values that it reads), and what it was given (open
# descriptors, blocked and ignored signals, a niceness and an input other than the tests') in "given". What it does
# then is in PLAN:
#
#     <first argument, or what follows --post> <command> <value> <command> <value>...; <the next child>...
#
# The commands are below; another word is a file that is waited for until it holds the value, where "_" is a blank. A
# wait ends when the program, PROGRAM, has gone, and the progress client's when the run has failed.

run_failed() {
    local value
    [ -n "$channel" ] && read -r -t 0 -u "$channel" && ! { read -r -d '' -u "$channel" value && [[ $value != -* ]]; }
}

await() { # FILE TEXT
    local parent
    until grep -qsF -e "$2" "$1"; do
        read -r _ _ _ parent _ </proc/$$/stat
        if [ "$parent" != "$PROGRAM" ] || run_failed; then break; fi
        sleep 0.001
    done
}

kind=$1 channel=
[ "$kind" != --post ] || kind=$2
if [ "$kind" = progress ]; then
    channel=$4
    printf '%s:' "${0##*/} ${*/#$4/#}" >>progress
else
    printf '%s; ' "${0##*/} $*" >>calls
fi

given=
read -ra numbers </proc/$$/stat
[[ ${numbers[18]} = @(0|"$NICENESS") ]] || given+=" nice ${numbers[18]}"
[ -c /proc/$$/fd/0 ] || given+=" no device as input"
for descriptor in /proc/$$/fd/*; do # and that of this directory, which is closed by now, and 255, which is this text
    if [ -e "$descriptor" ] && [[ ${descriptor##*/} != @(255|"$channel") ]]; then given+=" ${descriptor##*/}"; fi
done
while read -r name value; do # this shell always ignores SIGQUIT, 4
    if [[ $name = Sig[BI]* ]] && ((0x$value & ~4)); then given+=" $name$((0x$value & ~4))"; fi
done </proc/$$/status
printf '%s; ' "$given" >>given

IFS=';' read -ra plans <<<"$PLAN;progress until 100"
for plan in "${plans[@]}"; do
    read -r planned words <<<"$plan"
    [ "$planned" = "$kind" ] || continue
    while read -r command value words <<<"$words" && [ -n "$command" ]; do
        case $command in
            until) # a value or a failure; for 0 the end of the channel
                while read -r -d '' -u "$channel" got; do
                    printf ' %s' "$got" >>progress
                    if [ "$value" != 0 ] && [[ $got = "$value" || $got = -* ]]; then break; fi
                done
                ;;
            close) exec {channel}>&- && channel='' && printf ' %s' "$value" >>progress ;;
            # Until the progress thread has reported how its client ended, where there is that thread.
            report) ! grep -q 'Created the progress' log || await log 'context [A' ;;
            signal) kill -"$value" $PPID ;;
            die) kill -"$value" $$ ;;
            exit) exit "$value" ;;
            *) await "$command" "${value//_/ }" ;;
        esac
    done
    break
done
