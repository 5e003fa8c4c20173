# snapshot.sh - what a bench machine holds, as sorted text, and what differs between two such texts.
# Sourced after machine.sh. The machine must have settled: the registry is read from the files that it leaves.
#
#   snapshot_take MACHINE FILE         four columns, cut at tabs: what, place, name, details
#       file    C:\path     -       size, mode and SHA-256
#       folder  C:\path     -       mode
#       link    C:\path     -       where it points, in the host's notation
#       key     HKEY_...    -
#       value   HKEY_...    name    data
#   snapshot_removed BEFORE AFTER      the first three columns of what is there no more
#   snapshot_added BEFORE AFTER        the lines of what has come
#   snapshot_changed BEFORE AFTER      the new lines of what is the same thing with other details
#   snapshot_texts SNAPSHOT KEY NAME   the texts of a value that holds a list of them, one a line
#
# The folder C:\bench is the bench's own and no part of a snapshot.

snapshot_here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

snapshot_take() {
    { snapshot_files "$1"; snapshot_registry "$1"; } | LC_ALL=C sort -u >"$2"
}

snapshot_files() {
    local drive
    drive=$(machine_drive "$1")
    {
        (cd "$drive" && find . -path ./bench -prune -o -type f -print0 | xargs -0 -r sha256sum)
        echo "--"
        (cd "$drive" && find . -path ./bench -prune -o -mindepth 1 -printf '%y\t%p\t%s %m\t%l\n')
    } | awk -F'\t' '
        function place(path) { gsub("/", "\\", path); return "C:" substr(path, 2) }
        $0 == "--" { listing = 1; next }
        !listing { hash[substr($0, 67)] = substr($0, 1, 64); next }
        $1 == "f" { print "file\t" place($2) "\t\t" $3 " " hash[$2]; next }
        $1 == "d" { split($3, part, " "); print "folder\t" place($2) "\t\t" part[2]; next }
        $1 == "l" { print "link\t" place($2) "\t\t" $4; next }
        { print "other\t" place($2) "\t\t" $1 }'
}

# Left out is what Wine writes by itself whenever a machine starts: the list of the host's fonts (values that name a file
# of the host), the date of its display driver, and the driver keys of the display and monitor classes, of which it keeps
# none but its own.
snapshot_registry() {
    {
        awk -v root=HKEY_LOCAL_MACHINE -f "$snapshot_here/registry_lines.awk" "$1/system.reg"
        awk -v root=HKEY_CURRENT_USER -f "$snapshot_here/registry_lines.awk" "$1/user.reg"
        awk -v root='HKEY_USERS\\.Default' -f "$snapshot_here/registry_lines.awk" "$1/userdef.reg"
    } | grep -avF -e '"\\??\\unix\\' -e '	DriverDateData	' |
        grep -aviE '\\Control\\Class\\\{4D36E96[8E]-E325-11CE-BFC1-08002BE10318\}\\'
}

snapshot_things() { cut -f1-3 "$1" | LC_ALL=C sort -u; }

snapshot_removed() { LC_ALL=C comm -23 <(snapshot_things "$1") <(snapshot_things "$2"); }

snapshot_added() {
    awk -F'\t' 'NR == FNR { was[$1 FS $2 FS $3]; next } !(($1 FS $2 FS $3) in was)' "$1" "$2"
}

snapshot_changed() {
    awk -F'\t' 'NR == FNR { was[$1 FS $2 FS $3] = $0; next }
        ($1 FS $2 FS $3) in was && was[$1 FS $2 FS $3] != $0' "$1" "$2"
}

snapshot_texts() {
    KEY=$2 NAME=$3 awk -F'\t' '$1 == "value" && $2 == ENVIRON["KEY"] && $3 == ENVIRON["NAME"] {
        text = $4
        sub(/^str\(7\):"/, "", text)
        sub(/(\\0)*"$/, "", text)
        gsub(/\\\\/, "\001", text)
        gsub(/\\0/, "\n", text)
        gsub("\001", "\\", text)
        print text }' "$1"
}
