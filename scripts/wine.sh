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

# The lock is this shell's alone: what the program leaves behind must not hold it.
WINEPREFIX="$wine/$own" taskset -c "$own" wine "$@" {lock}>&-
