# Functions for a throwaway Wine prefix that stands for a machine. To be sourced; WINEPREFIX names the prefix.

export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all} DISPLAY= WINEDLLOVERRIDES="mscoree,mshtml="

# The loader itself: Debian's wrapper looks for a 32-bit Wine first and complains.
sandbox_wine() {
    /usr/lib/wine/wine64 "$@"
}

# Ends what still runs in the prefix.
sandbox_stop() {
    /usr/lib/wine/wineserver64 -k 2>/dev/null || true
}

# sandbox_winsock KIND: puts the stand-in of that kind, "update" or "plain", in the place of the system's.
sandbox_winsock() {
    cp -f "$WINEPREFIX/drive_c/sandbox/ws2_32_$1.dll" "$WINEPREFIX/drive_c/windows/system32/ws2_32.dll"
}

# sandbox_make BUILD...: makes the prefix afresh. The folder C:\sandbox gets the executable of each build folder, in a
# folder named as the build, and both kinds of stand-in ws2_32.dll from the last build.
sandbox_make() {
    local build drive=$WINEPREFIX/drive_c
    sandbox_stop
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    sandbox_wine wineboot -i >/dev/null 2>&1
    for build; do
        mkdir -p "$drive/sandbox/${build##*/}"
        cp "$build/norvane64.exe" "$drive/sandbox/${build##*/}/"
    done
    cp "$build"/sandbox/*.dll sandbox/sample_*.txt "$drive/sandbox/"
    sandbox_wine reg add 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs' /f >/dev/null
    # For this one program: with the stand-in, Wine's own services would not start.
    sandbox_wine reg add 'HKCU\Software\Wine\AppDefaults\norvane64.exe\DllOverrides' /v ws2_32 /d native /f >/dev/null
    sandbox_winsock update
}

# sandbox_machine KIND: a sample machine of that kind, with three providers over one another and a shared DLL count.
sandbox_machine() {
    local drive=$WINEPREFIX/drive_c sample
    sandbox_winsock "$1"
    cp sandbox/sample_winsock.txt "$drive/sandbox/winsock.txt"
    for sample in examplelsp filterlsp guardlsp; do
        echo "stands for a DLL" >"$drive/windows/system32/$sample.dll"
    done
    sandbox_wine reg add 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs' \
        /v 'C:\windows\system32\examplelsp.dll' /t REG_DWORD /d 1 /f >/dev/null
}
