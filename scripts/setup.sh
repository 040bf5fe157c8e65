#!/usr/bin/env bash
# Installs what building and testing need on Debian 12. Does nothing where all of it is there; needs root or sudo.
set -euo pipefail

packages=(
    cmake ninja-build g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64   # the build
    g++ git                                                                  # the log reader's own; second builds
    wine wine64                                                              # test programs run under it
    googletest nlohmann-json3-dev python3                                    # the tests and the stand-in machine
    wixl msitools                                                            # the example installer
    clang-14 clang-format clang-tidy cppcheck                                # formatting and lint
    strace                                                                   # the benches count host calls
)

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
echo "Installing: ${missing[*]}"
"${as_root[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
