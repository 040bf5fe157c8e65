#!/usr/bin/env bash
# Builds the executables and packs them into build/LSDKConfigurator-VERSION.zip, with their symbols, the log reader, the
# documents that an administrator needs, licences, and checksums. The same commit gives the same bytes.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/build.sh release LSDKConfigurator LSDKConfiguratorHelper lsdk-log
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' build/release/CMakeCache.txt)
file="build/LSDKConfigurator-$version.zip"
python3 scripts/pack_release.py build/release "$file" "$(git log -1 --format=%ct)"
echo "$file"
