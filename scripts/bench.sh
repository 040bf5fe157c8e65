#!/usr/bin/env bash
# Measures speed and size of the release executable and prints one table; fails if a gated goal is missed.
#     scripts/bench.sh [--quick]        small sizes, less than three minutes
#     scripts/bench.sh --full           all sizes
#     scripts/bench.sh --only B1,B5     these rows alone; --seed N for the order of the processes
# Host calls are counted where strace is installed. docs/performance.md tells how to read the table.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/environment.sh"

"$root/scripts/build.sh" release benches
# One processor, and a prefix of its own: the benches write profiles into its registry.
LSDK_PROCESSORS=${LSDK_PROCESSORS%% *}
prefix_of() { echo "$root/build/bench/wine/$1"; }
WINEPREFIX=$(prefix_of "$LSDK_PROCESSORS")
start_wine
trap stop_wine EXIT
taskset -c "$LSDK_PROCESSORS" python3 -B "$root/bench/bench.py" "$@" "$root/build/release"
