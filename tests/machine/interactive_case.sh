# interactive_case.sh - what the cases with windows share: a screen for the machine, a user at it, and checks of what the
# user has seen. Sourced behind machine_case.sh.
#
#   open_screen                      gives the machine a screen; it closes with the case
#   run_with_user WINDOWS [LINE]...  a sitting: the further lines, and a run of the program by a user who does what the list
#                                    WINDOWS says (bench/programs/window_driver.cpp)
#   expect_user_done                 the run and the user have come to their ends
#   windows_until_consent            what the user sees first in every run, up to the question for consent
#   window_consent                   that question
#   window_finish OUTCOME            the finish dialog with that text
#   window_restart                   the question about the restart, answered
#   expect_windows                   the user has seen what standard input says, and nothing else
#   expect_pictures NAME...          each shows the texts of its window

. "$case_root/bench/screen.sh"

open_screen() {
    trap 'screen_close; leave_case' EXIT
    screen_open "$work"
    screen_connect "$machine"
}

run_with_user() {
    cp "$1" "$drive/bench/windows.tsv"
    shift
    screen_pictures "$machine" "$work/pictures"
    {
        [ $# -eq 0 ] || printf '%s\n' "$@"
        printf 'start-driver\tC:\\bench\\window_driver.exe\n'
        printf 'run\tC:\\bench\\ORVCleanupUtility.exe\n'
        printf 'wait-process\tC:\\bench\\window_driver.exe\n'
    } | run_session
    screen_pictures_end
    without_the_screen "$work/before.tsv"
    without_the_screen "$work/after.tsv"
    mv "$drive/bench/windows_record.tsv" "$work/windows_found.tsv"
}

# without_the_screen SNAPSHOT - what Wine notes down about its graphics and its monitor gets new numbers whenever it looks at
# the screen anew.
without_the_screen() {
    grep -avF -e '\Enum\DISPLAY\Default_Monitor\' -e '\Enum\PCI\VEN_0000&DEV_0000&' "$1" >"$work/without_screen.tsv"
    mv "$work/without_screen.tsv" "$1"
}

expect_user_done() {
    expect_recorded "exit	0"
    expect_recorded 'ended	C:\bench\window_driver.exe	0'
}

windows_until_consent() {
    cat <<'WINDOWS'
window	safe-mode	ORV Cleanup Utility
control	6	&Yes
control	7	&No
control	-1	ORV Cleanup Utility has detected that your system is not currently in safe mode. Would you like to reboot and run in safe mode?
gone
WINDOWS
    window_consent
}

window_consent() {
    cat <<'WINDOWS'
window	consent	ORV Cleanup Utility
control	1	OK
control	2	Cancel
control	-1	This process will remove ORV drivers and applications such as graphics drivers, audio drivers, and ORV Software. This process will not remove or modify ORV chipset drivers.
WINDOWS
}

window_finish() {
    cat <<WINDOWS
window	finish	ORV Cleanup Utility
control	1	Finish
control	1000	View Report
control	1001	$1
WINDOWS
}

window_restart() {
    cat <<'WINDOWS'
window	restart	ORV Cleanup Utility
control	6	&Yes
control	7	&No
control	-1	Actions taken by ORV Cleanup Utility require a system reboot. Would you like to reboot now?
gone
WINDOWS
}

expect_windows() {
    cat >"$work/windows_expected.tsv"
    expect_same "the windows and what they show" "$work/windows_expected.tsv" "$work/windows_found.tsv"
}

# A text stands out from what is behind it: within each control that has one, light and dark are far apart. The frame of a
# control and the dots of its focus, which could be taken for one, are left out.
expect_pictures() {
    local name line contrast
    for name in "$@"; do
        [ -f "$work/pictures/$name.png" ] || { check_failed "there is no picture $name"; continue; }
        : >"$work/unreadable.txt"
        line=3
        while [ -n "$(sed -n "${line}p" "$work/pictures/$name.places")" ]; do
            screen_crop "$work/pictures" "$name" "$line" "$work/control.png"
            contrast=$(convert "$work/control.png" -shave 4x4 -colorspace Gray -format '%[fx:round(100*(maxima-minima))]' info:)
            [ "$contrast" -ge 50 ] ||
                printf '%s: contrast %s\n' "$(sed -n "${line}p" "$work/pictures/$name.places")" "$contrast" \
                    >>"$work/unreadable.txt"
            line=$((line + 1))
        done
        expect_empty "controls without a text in the picture $name" "$work/unreadable.txt"
        if [ "$line" -gt 3 ]; then check_passed; else check_failed "the window of the picture $name has no text"; fi
    done
}
