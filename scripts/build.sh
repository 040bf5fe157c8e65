#!/usr/bin/env bash
# Builds a preset (default: release) with all its targets, or with those named behind it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=${1:-release}
shift || true
scripts/setup.sh
echo "Building preset $preset ..."
mkdir -p "build/$preset"
cmake --preset "$preset" >"build/$preset/configure.log" 2>&1 || {
    cat "build/$preset/configure.log"
    exit 1
}
ninja -C "build/$preset" --quiet "$@"
