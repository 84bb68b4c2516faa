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
    local netcfg='HKCR\CLSID\{5B035261-40F9-11D1-AAEC-00805FC1270E}\InprocServer32'
    sandbox_stop
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    sandbox_wine wineboot -i >/dev/null 2>&1
    for build; do
        mkdir -p "$drive/sandbox/${build##*/}"
        cp "$build/norvane64.exe" "$drive/sandbox/${build##*/}/"
    done
    cp "$build"/sandbox/*.dll sandbox/sample_*.txt "$drive/sandbox/"
    sandbox_set 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs'
    # For this one program: with the stand-in, Wine's own services would not start.
    sandbox_set 'HKCU\Software\Wine\AppDefaults\norvane64.exe\DllOverrides' /v ws2_32 /d native
    sandbox_set "$netcfg" /ve /d 'C:\sandbox\stand_in_netcfg.dll'
    sandbox_set "$netcfg" /v ThreadingModel /d Both
    sandbox_winsock update
}

# A class whose DLL something replaced, for restore-dll and the demo.
SANDBOX_CLASS='{0D5A2C40-6E3B-4F19-9C77-1B2E4A6F8D03}'

# sandbox_machine KIND: a sample machine of that kind, with three providers over one another, a shared DLL count, three
# network components, and two classes whose DLLs were replaced: one of its own and one of VBScript's.
sandbox_machine() {
    local drive=$WINEPREFIX/drive_c sample
    sandbox_winsock "$1"
    for sample in winsock netcfg; do
        cp "sandbox/sample_$sample.txt" "$drive/sandbox/$sample.txt"
    done
    for sample in examplelsp filterlsp guardlsp original; do
        echo "stands for a DLL" >"$drive/windows/system32/$sample.dll"
    done
    sandbox_set 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs' \
        /v 'C:\windows\system32\examplelsp.dll' /t REG_DWORD /d 1
    sandbox_replaced_dll "$SANDBOX_CLASS" '%SystemRoot%\system32\original.dll'
    sandbox_replaced_dll '{B54F3743-5B07-11cf-A4B0-00AA004A55E8}' '%SystemRoot%\system32\vbscript.dll'
}

# sandbox_replaced_dll CLASS DLL: makes a class whose DLL was replaced, with the old one kept.
sandbox_replaced_dll() {
    local key="HKCR\\CLSID\\$1\\InprocServer32"
    sandbox_set "$key" /ve /d 'C:\windows\system32\planted.dll'
    sandbox_set "$key" /v OriginalDll /t REG_EXPAND_SZ /d "$2"
}

# sandbox_set KEY WORDS...: writes a registry value.
sandbox_set() {
    sandbox_wine reg add "$@" /f >/dev/null
}
