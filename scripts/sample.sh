#!/usr/bin/env bash
# Runs the release executable on a stand-in machine with an older package and users' data, and shows its log, its exit
# code and what changed on the machine.
#     scripts/sample.sh               one user logged on, the run under another account
#     scripts/sample.sh enterprise    three users, one of them without a loaded hive
#     scripts/sample.sh again         one more run on the machine that the last call left
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

kind=${1:-typical}
case "$kind" in typical | enterprise | again) ;; *)
    echo "usage: scripts/sample.sh [typical|enterprise|again]" >&2
    exit 2
    ;;
esac

scripts/build.sh release LSDKConfigurator LSDKConfiguratorHelper launcher sample-machine
. scripts/environment.sh
start_wine
trap stop_wine EXIT

binaries="$root/build/release"
sample="$root/build/sample"
mkdir -p "$sample"
cd "$sample"

# The folder of the sample on the stand-in's drive C:.
folder='C:\lsdk'
installer="$WINEPREFIX/drive_c/lsdk/Installer"
log="$installer/lsdkConfiguratorLog.txt"

if [ "$kind" = again ]; then
    [ -f arguments ] || {
        echo "There is no machine yet: run scripts/sample.sh first." >&2
        exit 2
    }
else
    echo "Making a stand-in machine ($kind) ..."
    wine "$binaries/sample-machine.exe" make "$kind" "$folder" machine.json
    cp "$binaries/LSDKConfigurator.exe" "$binaries/LSDKConfiguratorHelper.exe" "$installer/"
    [ "$kind" = enterprise ] && flag=' true' || flag=''
    echo "40.1.0.0 Velta.QK QK.exe ZRKL$flag" >arguments
fi
show() { wine "$binaries/sample-machine.exe" show "$folder" machine.json | tr -d '\r'; }

show >before.txt
lines_before=0
if [ -f "$log" ]; then lines_before=$(wc -l <"$log"); fi
echo "Running LSDKConfigurator.exe $(cat arguments)"
# shellcheck disable=SC2046 # the arguments are words
wine "$binaries/launcher.exe" --machine machine.json --trace trace.jsonl \
    --environment "USERPROFILE=$folder\\admin" -- "$folder\\Installer\\LSDKConfigurator.exe" $(cat arguments) |
    tr -d '\r' >result.txt
show >after.txt

printf '\n== The log, %s ==\n' 'C:\lsdk\Installer\lsdkConfiguratorLog.txt'
tail -n "+$((lines_before + 1))" "$log" | tr -d '\r\0' | iconv -f latin1 -t utf-8
printf '\n== Exit code ==\n'
sed -n 's/^exit_code=//p' result.txt
printf '\n== What changed (- before, + after) ==\n'
diff -U 0 before.txt after.txt | grep -v -e '^@@' -e '^---' -e '^+++' | grep -v 'lsdkConfiguratorLog.txt' || true
printf '\nThe whole of it: before.txt, after.txt and trace.jsonl in build/sample.\n'
