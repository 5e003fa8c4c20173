# expected_devices.awk OUTCOMES SNAPSHOT SNAPSHOT - what the outcomes mean for a snapshot. With answer=gone the things that
# are to be gone, with answer=changed the values with the data that they are to have, with answer=unknown the names for
# which the snapshot has nothing.
#
# A device goes with its key, the software key of its driver, and the hardware's key when no instance is left. A package
# goes with its files and its catalog, and devices that stay lose its driver. A device below one that goes is absent.

BEGIN {
    FS = OFS = "\t"
    control = "hkey_local_machine\\system\\currentcontrolset\\"
    enum = control "enum\\"
    class = control "control\\class\\"
    packages = "hkey_local_machine\\software\\bench packages\\"
    catalogs = "c:\\windows\\system32\\catroot\\{f750e6c3-38ee-11d1-85e5-00c04fc295ee}\\"
}

function text(data) {
    gsub(/^"|"$/, "", data)
    gsub(/\\\\/, "\\", data)
    return data
}
function parent(path) { return sub(/\\[^\\]*$/, "", path) ? path : "" }

# The best of the device's other drivers whose package stays; they are numbered from the best down.
function nextDriver(device,    key, number, best) {
    best = ""
    for (key in node) {
        number = substr(key, length(device "\\bench\\drivers\\") + 1)
        if (index(key, device "\\bench\\drivers\\") != 1 || node[key] in packageGoes) continue
        if (best == "" || number < best) best = number
    }
    return best
}

function placeOf(what, name) {
    if (what == "device") return enum name
    if (what == "package") return "c:\\windows\\inf\\" name
    if (what == "service") return control "services\\" name
    return name
}

function hasPart(path, set) {
    for (; path != ""; path = parent(path)) if (path in set) return 1
    return 0
}

FNR == 1 { pass++ }

pass == 1 {
    name = tolower($2)
    outcome[$1, name] = $3
    asked[placeOf($1, name)] = $2
    if ($3 != "gone") next
    goes[placeOf($1, name)]
    if ($1 == "package") {
        packageGoes[name]
        stem = name
        sub(/\.inf$/, "", stem)
        goes["c:\\windows\\inf\\" stem ".pnf"]
        goes[catalogs stem ".cat"]
        goes[packages name]
    }
    next
}

{ place = tolower($2) }

pass == 2 {
    delete asked[place]
    if (index(place, enum) != 1) next
    id = substr(place, length(enum) + 1)
    if ($1 == "key" && split(id, part, "\\") == 3) instances[parent(place)] = instances[parent(place)] " " place
    if ($1 != "value") next
    if ($3 == "Driver") driver[place] = tolower(text($4))
    if ($3 == "Installed") installed[parent(place)] = tolower(text($4))
    if ($3 == "Parent") parentId[parent(place)] = tolower(text($4))
    if ($3 == "Inf") {
        inf = tolower(text($4))
        sub(/.*\\/, "", inf)
        node[place] = inf
    }
    next
}

pass == 3 && FNR == 1 {
    for (device in driver) if (device in goes) goes[class driver[device]]
    for (hardware in instances) {
        count = split(instances[hardware], instance, " ")
        left = 0
        for (i = 1; i <= count; i++) if (!(instance[i] in goes)) left++
        if (!left) goes[hardware]
    }
    for (key in node) {
        device = key
        sub(/\\bench\\drivers\\[^\\]*$/, "", device)
        if (!(node[key] in packageGoes) || device in goes) continue
        goes[key]
        if (key != device "\\bench\\drivers\\" installed[device]) continue
        number = nextDriver(device)
        if (number != "") {
            next_driver[device "\\bench"] = number
            continue
        }
        goes[class driver[device]]
        goesValue[device, "Driver"]
        goesValue[device "\\bench", "Installed"]
        driverless[device "\\bench"]
    }
    for (device in parentId) if (enum parentId[device] in goes) hidden[device "\\bench"]
    if (answer == "unknown") for (place in asked) print asked[place]
    if (answer == "unknown") exit
}

hasPart(place, goes) || ($1 == "value" && (place, $3) in goesValue) {
    if (answer == "gone") print $1, $2, $3
    next
}
answer == "changed" && $1 == "value" {
    if (place in hidden && $3 == "Present") print $1, $2, $3, "dword:00000000"
    if (place in next_driver && $3 == "Installed") print $1, $2, $3, "\"" next_driver[place] "\""
    if (place in driverless && $3 == "Problem") print $1, $2, $3, "dword:0000001c"
    if (place in driverless && $3 == "Status" && sub(/dword:0180200a/, "dword:0180240a")) print
}
