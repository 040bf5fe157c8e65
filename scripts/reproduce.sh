#!/usr/bin/env bash
# Builds the product a second time, from a copy of its sources in another folder, and compares: the same source gives
# the same bytes wherever and whenever it is built.
#     scripts/reproduce.sh                          both executables
#     scripts/reproduce.sh LSDKConfiguratorHelper   those that are named
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

[ $# -gt 0 ] || set -- LSDKConfigurator LSDKConfiguratorHelper
for name in "$@"; do
    [ -f "build/release/$name.exe" ] || {
        echo "There is no build/release/$name.exe: run scripts/build.sh first." >&2
        exit 2
    }
done

copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
cp -r CMakeLists.txt CMakePresets.json cmake src "$copy"
echo "Building $* in $copy ..."
(cd "$copy" && cmake --preset release -DLSDK_TESTS=OFF >configure.log && ninja -C build/release --quiet "$@")

status=0
for name in "$@"; do
    for file in "$name.exe" "$name.exe.debug"; do
        if cmp "build/release/$file" "$copy/build/release/$file"; then
            echo "$file: the same bytes"
        else
            status=1
        fi
    done
done
exit $status
