# Sourced by the other scripts: the one environment in which programs of this project run under Wine.
# Sets `root` (the checkout) and, on first use, makes Wine prefixes under build/, one for each processor.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# A program and the Wine server that it asks for nearly everything wake each other all the time, which takes more than
# twice as long from one processor to another. So each processor has a server, and with it a prefix, of its own; a
# program runs where its server does (scripts/wine.sh).
LSDK_PROCESSORS=$(python3 -c 'import os; print(*sorted(os.sched_getaffinity(0)))')
prefix_of() { echo "$root/build/wine/$1"; }

WINEPREFIX=$(prefix_of "${LSDK_PROCESSORS%% *}")
export LSDK_PROCESSORS WINEPREFIX WINEDEBUG=-all WINEDLLOVERRIDES=winedbg.exe=d
# Non-ASCII paths need a UTF-8 locale; a POSIX zone text is the only one that the C runtime reads right.
export LC_ALL=C.UTF-8 TZ=UTC0
unset DISPLAY

# Names with a leading point must not look hidden, and windows need no display.
make_first_prefix() {
    [ -f "$WINEPREFIX/.ready" ] && return
    echo "Making a Wine prefix in ${WINEPREFIX#"$root/"} ..."
    mkdir -p "$WINEPREFIX"
    wineboot -i >/dev/null 2>&1
    wine reg add 'HKCU\Software\Wine' /v ShowDotFiles /t REG_SZ /d Y /f >/dev/null 2>&1
    wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /t REG_SZ /d null /f >/dev/null 2>&1
    wineserver -w
    touch "$WINEPREFIX/.ready"
}

# The others share the files of the first by hard links; Wine replaces what it changes.
make_wine_prefixes() {
    make_first_prefix
    local processor prefix
    for processor in $LSDK_PROCESSORS; do
        prefix=$(prefix_of "$processor")
        [ -f "$prefix/.ready" ] && continue
        rm -rf "$prefix"
        cp -al "$WINEPREFIX" "$prefix"
    done
}

# Servers that stay, and one program run beforehand on each, so that no test waits for Wine's start.
start_wine() {
    make_wine_prefixes
    local processor
    for processor in $LSDK_PROCESSORS; do
        WINEPREFIX=$(prefix_of "$processor") taskset -c "$processor" wineserver -p || true # it runs already
        WINEPREFIX=$(prefix_of "$processor") taskset -c "$processor" wine cmd /c exit >/dev/null 2>&1
    done
}

stop_wine() {
    local processor
    for processor in $LSDK_PROCESSORS; do
        WINEPREFIX=$(prefix_of "$processor") wineserver -k || true
    done
}
