# device_libraries.sh - gives one program of a bench machine the model of device installation, of System Restore and of the
# protection of Windows' own files (bench/devices). Sourced after machine.sh.
#
#   machine_give_devices MACHINE FOLDER PROGRAM   FOLDER holds the built libraries; PROGRAM is a file name
#
# The libraries lie in the system folder, where a program finds Windows' own, and are for that program alone: Windows' own
# services on the machine keep what they have. What the model hands on goes to the machine's own setupapi, which stays
# there under another name.
device_libraries=(setupapi cfgmgr32 newdev srclient sfc)

machine_give_devices() {
    local machine=$1 folder=$2 program=$3 system library
    mkdir -p "$(machine_drive "$machine")/bench"
    system=$(machine_drive "$machine")/windows/system32
    mv "$system/setupapi.dll" "$system/own_setupapi.dll"
    {
        printf 'REGEDIT4\n\n'
        printf '[HKEY_CURRENT_USER\\Software\\Wine\\AppDefaults\\%s\\DllOverrides]\n' "$program"
        for library in "${device_libraries[@]}"; do
            printf '"%s"="native,builtin"\n' "$library"
        done
    } >"$(machine_drive "$machine")/bench/devices.reg"
    for library in "${device_libraries[@]}"; do
        rm -f "$system/$library.dll"
        ln "$folder/$library.dll" "$system/$library.dll" 2>/dev/null || cp "$folder/$library.dll" "$system/$library.dll"
    done
    machine_wine "$machine" regedit /S 'C:\bench\devices.reg'
}
