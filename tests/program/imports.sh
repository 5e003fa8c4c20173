#!/usr/bin/env bash
# imports.sh PROGRAM - the libraries that Windows loads with the program, before its first line, are known ones, which it
# takes from the system folder whatever lies beside the program. Every other library is loaded later (add_delayed_library in
# src/CMakeLists.txt).
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"

# Of the machine's own list, HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\KnownDLLs, what has been there from
# Windows 10 1809 on. ntdll is in every process before anything is looked for.
known=(advapi32 clbcatq combase comdlg32 coml2 difxapi gdi32 gdiplus imagehlp imm32 kernel32 msctf msvcrt normaliz nsi ntdll
    ole32 oleaut32 psapi rpcrt4 sechost setupapi shcore shell32 shlwapi user32 wldap32 ws2_32)

mapfile -t imported < <(x86_64-w64-mingw32-objdump -p "$1" | sed -n 's/^[[:space:]]*DLL Name: \(.*\)\.[dD][lL][lL]$/\L\1/p')
# A program that calls nothing was not read.
[[ " ${imported[*]} " == *" kernel32 "* ]] || fail "no imports were found in $1" "look at what objdump -p prints"
status=0
for library in "${imported[@]}"; do
    if [[ " ${known[*]} " != *" $library "* ]]; then
        echo "FAILED: $library.dll is loaded with the program, and a file of that name beside it would be" >&2
        status=1
    fi
done
exit "$status"
