# Sourced by the other scripts: the one environment in which programs of this project run under Wine.
# Sets `root` (the checkout) and makes a Wine prefix under build/ on first use.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

export WINEPREFIX="$root/build/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES=winedbg.exe=d
# Non-ASCII paths need a UTF-8 locale; a POSIX zone text is the only one that the C runtime reads right.
export LC_ALL=C.UTF-8 TZ=UTC0
unset DISPLAY

# Names with a leading point must not look hidden, and windows need no display.
make_wine_prefix() {
    [ -f "$WINEPREFIX/.ready" ] && return
    echo "Making a Wine prefix in build/wineprefix ..."
    mkdir -p "$WINEPREFIX"
    wineboot -i >/dev/null 2>&1
    wine reg add 'HKCU\Software\Wine' /v ShowDotFiles /t REG_SZ /d Y /f >/dev/null 2>&1
    wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /t REG_SZ /d null /f >/dev/null 2>&1
    wineserver -w
    touch "$WINEPREFIX/.ready"
}

# A server that stays, and one program run beforehand, so that no test waits for Wine's start.
start_wine() {
    make_wine_prefix
    wineserver -p
    wine cmd /c exit >/dev/null 2>&1
}

stop_wine() {
    wineserver -k || true
}
