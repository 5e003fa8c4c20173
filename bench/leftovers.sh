# leftovers.sh - what the maker's software leaves on a machine, as data: rows from the cleanup manifest, what to plant for
# them, and what a full run has to remove. Sourced after machine.sh and snapshot.sh.
#
#   leftovers_rows MANIFEST FILE [FATES]         rows of the manifest's generic and exclusion lists (see leftovers.jq), and
#                                                with the fates of packages, as JSON, those of all packages
#   leftovers_devices MANIFEST                   a device and a driver package for each driver package of the manifest, and
#                                                a neighbour for each (see manifest_devices.jq)
#   leftovers_plant_list ROWS                    a plant list for rows, with neighbours that no row means (see
#                                                plant_list.awk)
#   leftovers_plant_list_alone ROWS              the same without the neighbours
#   leftovers_expected ROWS SNAPSHOT             the things of a snapshot that a full run removes (see expected_gone.awk)
#   leftovers_absent ROWS SNAPSHOT               the listed rows that mean nothing in a snapshot
#   leftovers_driver_services MANIFEST           the services of the driver packages that a run considers
#   leftovers_image_names ROWS                   the programs that a full run ends

leftovers_here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
leftovers_data=$leftovers_here/data
leftovers_programs='C:\ProgramData\Microsoft\Windows\Start Menu\Programs'

leftovers_rows() {
    local home
    home="C:\\users\\$(id -un)\\AppData"
    jq -r --arg local "$home\\Local" --arg roaming "$home\\Roaming" --arg sid S-1-5-21-0-0-0-1000 \
        --argjson packages "${3:-null}" -f "$leftovers_here/leftovers.jq" "$1" >"$2"
}

# leftovers_awk SCRIPT ... - a backslash in an assignment on awk's command line is an escape.
leftovers_awk() {
    local script=$1
    shift
    awk -v programs="${leftovers_programs//\\/\\\\}" -f "$leftovers_here/$script" "$@"
}

leftovers_plant_list() { leftovers_awk plant_list.awk "$1"; }
leftovers_plant_list_alone() { leftovers_awk plant_list.awk alone=1 "$1"; }
leftovers_expected() { leftovers_awk expected_gone.awk "$1" "$2" | LC_ALL=C sort -u; }
leftovers_absent() { leftovers_awk expected_gone.awk unused=1 "$1" "$2"; }

leftovers_devices() { jq -r -f "$leftovers_here/manifest_devices.jq" "$1"; }

leftovers_driver_services() {
    jq -r '(["DisplayDriver", "DisplayDriver64"] + .InclusionList.Drivers) as $considered
        | .Packages.ORVDrivers | to_entries[] | select(.key | IN($considered[])) | .value.Services[]' "$1" |
        LC_ALL=C sort -u
}

leftovers_image_names() { awk -F'\t' '$1 == "listed" && $2 == "process" { print $3 }' "$1"; }
