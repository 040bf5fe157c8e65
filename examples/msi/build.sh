#!/usr/bin/env bash
# Builds the example installer with wixl: examples/msi/build.sh VERSION BINARIES FILE.msi
#     VERSION   of the package, four numbers: 40.1.0.0. The installer's own has the first three: upgrades look at those
#     BINARIES  the folder with LSDKConfigurator.exe and LSDKConfiguratorHelper.exe
set -euo pipefail
[ $# -eq 3 ] || {
    sed -n '2,4s/^# //p' "$0"
    exit 2
}
version=$1
binaries=$(realpath "$2")
output=$(realpath -m "$3")

# wixl takes files by names relative to its source alone.
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
cp "$(dirname "$0")/product.wxs" "$binaries/LSDKConfigurator.exe" "$binaries/LSDKConfiguratorHelper.exe" "$stage"
mkdir -p "$(dirname "$output")"
cd "$stage"
wixl --arch x64 -D "Version=${version%.*}" -D "PackageVersion=$version" --output "$output" product.wxs
