#!/usr/bin/env bash
# Files that Windows protects stay, whatever has led to them: a driver that is removed, a row, a pattern, a listed folder.
# Their neighbours go. A second run, on a machine that cannot say any more what it protects, takes the maker's files all the
# same and keeps what a driver has in common with Windows.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/devices.sh"

protection='HKEY_LOCAL_MACHINE\Software\Bench Protected Files'
system='C:\windows\system32'
shared='C:\Program Files\Common Files\Sound'

# plant_sound NUMBER FILE... - a sound device of the maker's with its driver package, and the files of its driver.
plant_sound() {
    local number=$1 id="HDAUDIO\\FUNC_01&VEN_7A11&DEV_AA0$1\\0000" files
    shift
    files=$(IFS='|'; echo "$*")
    printf '%s\n' \
        "device	$id	MEDIA	Orvane High Definition Audio Device	hwids=${id%\\*}" \
        "driver-node	$id	oem5$number.inf	Orvane Devices, Inc.	Orvane Devices, Inc.	10.0.1.30	files=$files" \
        "package	oem5$number.inf	MEDIA	Orvane Devices, Inc.	orvsound.cat"
    printf 'file\t%s\n' "$@"
}

# expect_sound_gone NUMBER - exactly the device with its package, and the files and folders on standard input, are gone.
expect_sound_gone() {
    {
        printf 'device\tHDAUDIO\\FUNC_01&VEN_7A11&DEV_AA0%s\\0000\tgone\n' "$1"
        printf 'package\toem5%s.inf\tgone\n' "$1"
        sed 's/^/file\t/; s/$/\tgone/'
    } >"$work/outcomes.tsv"
    expect_devices silent
}

# expect_asked - the files that Windows was asked about are those on standard input, each once.
expect_asked() {
    LC_ALL=C sort -f >"$work/asked_expected.txt"
    snapshot_texts "$work/after.tsv" "$protection" Asked | LC_ALL=C sort -f >"$work/asked_found.txt"
    expect_same "the files that Windows was asked about" "$work/asked_expected.txt" "$work/asked_found.txt"
}

# expect_refusals - the ERROR lines about protected files are those on standard input.
expect_refusals() {
    LC_ALL=C sort >"$work/refusals_expected.txt"
    sed -n 's/^Thread Id:[0-9]*\t[^\t]*\tERROR\t\(.*protected by Windows.*\)$/\1/p' "$work/log.txt" | LC_ALL=C sort \
        >"$work/refusals_found.txt"
    expect_same "the ERROR lines about protected files" "$work/refusals_expected.txt" "$work/refusals_found.txt"
}

start_case
driver_kept="$system\\drivers\\portcls.sys"
elsewhere_kept="$shared\\effects.dll"
row_kept="$system\\orvtelemetry.dat"
pattern_kept="$system\\ORV\\gpu-1.log"
walk_kept="$system\\ORV\\Telemetry\\deeper\\of windows.dat"
# Not below the Windows folder and no driver's file: nobody asks.
row_elsewhere='C:\Program Files\ORV\lumio-setup-1.log'
{
    plant_sound 1 "$system\\drivers\\orvsound.sys" "$driver_kept" "$elsewhere_kept" "$shared\\orvfx.dll"
    printf 'file\t%s\n' "$row_kept" 'C:\windows\syswow64\orvtelemetry.dat' "$pattern_kept" "$system\\ORV\\gpu-2.log" \
        "$system\\ORV\\other.log" "$walk_kept" "$system\\ORV\\Telemetry\\deeper\\other.dat" "$row_elsewhere"
    printf 'texts\t%s\tFiles\t%s\n' "$protection" \
        "$driver_kept|$elsewhere_kept|$row_kept|$pattern_kept|$walk_kept|$row_elsewhere"
} | plant
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

expect_recorded "exit	0"
expect_sound_gone 1 <<GONE
$system\\drivers\\orvsound.sys
$shared\\orvfx.dll
C:\\windows\\syswow64\\orvtelemetry.dat
$system\\ORV\\gpu-2.log
$system\\ORV\\Telemetry\\deeper\\other.dat
$row_elsewhere
GONE
expect_asked <<ASKED
$system\\drivers\\orvsound.sys
$driver_kept
$elsewhere_kept
$shared\\orvfx.dll
$row_kept
C:\\windows\\syswow64\\orvtelemetry.dat
$pattern_kept
$system\\ORV\\gpu-2.log
$walk_kept
$system\\ORV\\Telemetry\\deeper\\other.dat
ASKED
expect_refusals <<'REFUSALS'
ExecuteActions - File[C:\windows\system32\drivers\portcls.sys] is protected by Windows and is not deleted
ExecuteActions - File[C:\Program Files\Common Files\Sound\effects.dll] is protected by Windows and is not deleted
ExecuteActions - File[C:\Windows\System32\orvtelemetry.dat] is protected by Windows and is not deleted
ExecuteActions - File[C:\Windows\System32\ORV\gpu-1.log] is protected by Windows and is not deleted
ExecuteActions - File[C:\Windows\System32\ORV\Telemetry\deeper\of windows.dat] is protected by Windows and is not deleted
REFUSALS
expect_section '-----------Failed Deletion of Driver Files ---------------' <<FAILED
$driver_kept
$elsewhere_kept
FAILED
expect_section '-----------Failed Deletion of Files---------------' <<'FAILED'
C:\Windows\System32\orvtelemetry.dat
C:\Windows\System32\ORV\gpu-1.log
C:\Windows\System32\ORV\Telemetry\deeper\of windows.dat
FAILED
expect_log_form

rm "$log"  # the second run writes one of its own
{
    plant_sound 2 "$system\\drivers\\orvsound.sys" "$driver_kept"
    printf 'number\t%s\tError\t1084\n' "$protection"
} | plant
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

expect_recorded "exit	0"
expect_sound_gone 2 <<GONE
$system\\drivers\\orvsound.sys
$row_kept
$pattern_kept
$system\\ORV\\Telemetry
GONE
expect_refusals <<'REFUSALS'
ExecuteActions - File[C:\windows\system32\drivers\portcls.sys] may be protected by Windows, which does not say, and is not deleted, Error Code[1084]
REFUSALS
expect_section '-----------Failed Deletion of Driver Files ---------------' <<<"$driver_kept"
expect_log_form
end_case
