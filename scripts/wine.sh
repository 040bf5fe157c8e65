#!/usr/bin/env bash
# Runs a Windows program under Wine: scripts/wine.sh PROGRAM [ARGUMENTS]. It has a processor, with the Wine server there,
# for itself among all calls of this script: while all of them are taken it waits.
# scripts/environment.sh must have been sourced and its start_wine called.
set -euo pipefail

wine=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/build/wine
own=
for processor in $LSDK_PROCESSORS; do
    exec {lock}>"$wine/$processor.lock"
    if flock --nonblock "$lock"; then
        own=$processor
        break
    fi
    exec {lock}>&-
done
if [ -z "$own" ]; then
    own=$processor
    exec {lock}>"$wine/$own.lock"
    flock "$lock"
fi

# What the program leaves behind, such as Wine's desktop, must hold neither the lock nor a pipe whose end somebody waits for.
run() { WINEPREFIX="$wine/$own" taskset -c "$own" wine "$@" {lock}>&-; }
if [ -p /dev/stdout ]; then
    output=$(mktemp -d)
    # On a busy machine Wine now and then fails to start a program, which then has not written a word.
    for attempt in first second; do
        status=0
        run "$@" >"$output/stdout" 2>"$output/stderr" || status=$?
        [ "$status" -eq 0 ] || [ -s "$output/stdout" ] || [ -s "$output/stderr" ] || {
            echo "The $attempt attempt ended with $status and without a word." >&2
            continue
        }
        break
    done
    cat "$output/stdout"
    cat "$output/stderr" >&2
    rm -r "$output"
    exit $status
fi
run "$@"
