#!/usr/bin/env bash
# The sweeps: the run with every platform call failed in turn, and ended behind every call.
#     scripts/sweep.sh 'typical #57=5'     one case again, as a failure names it
#     scripts/sweep.sh --list typical      the calls of the run without faults, with their numbers
#     scripts/sweep.sh --full [WORLD]      all cases of all worlds, or of one; takes many hours
#     scripts/sweep.sh --long              runs on worlds of a thousand profiles, 100,000 files and so on
# The last line counts the cases.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ $# -gt 0 ] || {
    sed -n '2,7s/^# //p' "$0"
    exit 2
}

scripts/build.sh release sweep long_runs
. scripts/environment.sh
start_wine
trap stop_wine EXIT
sweep() { "$root/scripts/wine.sh" "$root/build/release/sweep.exe" "$@" | tr -d '\r'; }
# A shell delete gone wrong empties the current folder.
mkdir -p build/scratch
cd build/scratch

case "$1" in
--list) sweep "$2" list ;;
--full)
    worlds=${2:-typical enterprise finished old-status usage}
    rm -f ../sweep-*.txt
    shares=0
    for world in $worlds; do
        for kind in faults kills; do
            echo "Sweeping $world, $kind ..."
            for part in $(seq 0 $(($(nproc) - 1))); do
                sweep "$world" "$kind" "$part" "$(nproc)" >"../sweep-$world-$kind-$part.txt" &
                shares=$((shares + 1))
            done
            wait || true
            grep -h -A 14 '^FAILED' "../sweep-$world-$kind-"*.txt || true
        done
    done
    # Each share ends with its count; one that did not come to its end has none.
    awk -v shares="$shares" '/^[0-9]+ passed, [0-9]+ failed$/ { ended++; passed += $1; failed += $3 }
        END { if (ended != shares) print shares - ended " of " shares " shares did not end"
              print passed + 0 " passed, " failed + 0 " failed"; exit failed > 0 || passed == 0 || ended != shares }' \
        ../sweep-*.txt
    ;;
--long) "$root/scripts/wine.sh" "$root/build/release/long_runs.exe" --gtest_brief=1 ;;
*) sweep "$1" && echo "1 passed, 0 failed" ;;
esac
