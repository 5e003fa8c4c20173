# products.sh - real installer products on a bench machine, made at run time from data/products.tsv and product.wxs.
# Sourced after machine.sh and leftovers.sh. The packages go from the machine once they are installed, so that only the
# installer's own copies can serve a repair or a removal.
#
#   products_make MANIFEST FOLDER            makes the packages; upgrade codes come from the manifest
#   products_install MACHINE FOLDER WHOSE    installs the maker's or others' products (WHOSE is `maker` or `others`)
#   products_of WHOSE                        their rows, each with its product code before it
#   products_present SNAPSHOT                the names of the products that the installer knows, one a line
#   products_list=FILE                       takes other products than those of data/products.tsv
#   products_repair MACHINE                  takes the file of each product of others away, and lets the installer put it
#                                            back: `NAME<TAB>works` or `NAME<TAB>broken`

products_here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
products_list=$products_here/data/products.tsv

products_of() {
    grep -v '^#' "$products_list" | awk -F'\t' -v whose="$1" '
        { code = sprintf("{C0000000-0000-4000-8000-%012d}", NR) }
        whose == "all" || (whose == "others") == ($5 == "-") { print code FS $0 }'
}

products_make() {
    local manifest=$1 folder code package name maker place behind removal upgrade_code
    mkdir -p "$2"
    folder=$(cd "$2" && pwd)
    while IFS=$'\t' read -r code package name maker place behind removal; do
        upgrade_code=${code/C0000000/C1000000}
        if [ "$behind" != - ]; then
            upgrade_code=$(jq -er --arg name "$behind" '.Packages.ORVApplications[$name].Info.UpgradeID' "$manifest") ||
                { echo "products: the manifest has no application $behind" >&2; return 1; }
        fi
        printf 'The file of %s.\n' "$name" >"$folder/$package.txt"
        # wixl finds a payload below the folder that it runs in.
        (cd "$folder" && wixl -a x64 -D "ProductName=$name" -D "ProductCode=$code" -D "UpgradeCode=$upgrade_code" \
            -D "ComponentCode=${code/C0000000/C2000000}" -D "Maker=$maker" -D "Folder=$place" \
            -D "Payload=$package.txt" -o "$package.msi" "$products_here/product.wxs") || return 1
        products_set_removal "$folder/$package.msi" "$package" "$removal" || return 1
    done < <(products_of all)
}

# What happens when the product is removed, as steps of the package.
products_set_removal() {
    local steps=()
    case $3 in
        works | no-package) return 0 ;;
        restart) steps=("$(products_step ScheduleReboot 6500)") ;;
        always-fails)
            steps=("INSERT INTO CustomAction (Action, Type, Source, Target) VALUES ('Fail', 19, '', 'It fails.')"
                "$(products_step Fail 1550)") ;;
        fails\ *)
            steps=("INSERT INTO Property (Property, Value) VALUES ('Failing', 'C:\\bench\\failing_program.exe')"
                "INSERT INTO CustomAction (Action, Type, Source, Target) VALUES ('Fail', 50, 'Failing', 'C:\\bench\\$2.failures')"
                "$(products_step Fail 1550)") ;;
        *) echo "products: no such removal: $3" >&2; return 1 ;;
    esac
    local step
    for step in "${steps[@]}"; do
        msibuild "$1" -q "$step" || return 1
    done
}

products_step() {
    printf "INSERT INTO InstallExecuteSequence (Action, Condition, Sequence) VALUES ('%s', 'REMOVE=\"ALL\"', %s)" "$1" "$2"
}

products_install() {
    local bench code package name maker place behind removal copy
    bench=$(machine_drive "$1")/bench
    # All in one batch, since a machine takes a while to start.
    while IFS=$'\t' read -r code package name maker place behind removal; do
        cp "$2/$package.msi" "$bench/"
        printf '@msiexec /i C:\\bench\\%s.msi /qn\r\n' "$package"
    done < <(products_of "$3") >"$bench/install.cmd"
    machine_wine "$1" cmd.exe /c 'C:\bench\install.cmd' && machine_settle "$1" || return 1
    while IFS=$'\t' read -r code package name maker place behind removal; do
        rm "$bench/$package.msi"
        copy=$(products_cached "$1" "$2/$package.msi")
        [ -n "$copy" ] || { echo "products: $name could not be installed" >&2; return 1; }
        case $removal in
            fails\ *) head -c "${removal#fails }" /dev/zero >"$bench/$package.failures" ;;
            no-package) rm "$copy" ;;
        esac
    done < <(products_of "$3")
}

# products_cached MACHINE PACKAGE - the installer's copy of a package.
products_cached() {
    local copy
    for copy in "$(machine_drive "$1")"/windows/Installer/*.msi; do
        if cmp -s "$copy" "$2"; then printf '%s' "$copy"; fi
    done
}

products_present() {
    awk -F'\t' '$1 == "value" && $3 == "DisplayName" && $2 ~ /\\UserData\\[^\\]*\\Products\\[^\\]*\\InstallProperties$/ {
        gsub(/^"|"$/, "", $4); print $4 }' "$1" | LC_ALL=C sort
}

products_repair() {
    local code package name maker place behind removal file
    while IFS=$'\t' read -r code package name maker place behind removal; do
        file="$(machine_drive "$1")/Program Files/$maker/$place/payload.txt"
        if rm "$file" && machine_wine "$1" 'C:\bench\repair_product.exe' "$code" >&2 &&
            [ "$(cat "$file" 2>/dev/null)" = "The file of $name." ]; then
            printf '%s\tworks\n' "$name"
        else
            printf '%s\tbroken\n' "$name"
        fi
    done < <(products_of others)
    machine_settle "$1"
}
