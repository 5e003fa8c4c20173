# device_tree.awk SNAPSHOT - the devices of a snapshot in the order of their tree: depth, id, class, description, present
# (1 or 0), package of the installed driver (- for none).

BEGIN {
    FS = OFS = "\t"
    enum = "hkey_local_machine\\system\\currentcontrolset\\enum\\"
}

function text(data) {
    gsub(/^"|"$/, "", data)
    gsub(/\\\\/, "\\", data)
    return data
}

# A device whose parent is gone stands at the root.
function upOf(device) { return parentId[device] in id ? parentId[device] : "" }

function show(up, depth,    i, device) {
    for (i = 1; i <= last; i++) {
        if (!(i in deviceAt)) continue
        device = deviceAt[i]
        if (upOf(device) != up) continue
        print depth, id[device], className[device], description[device], present[device], \
            (device, installed[device]) in inf ? inf[device, installed[device]] : "-"
        show(device, depth + 1)
    }
}

$1 == "value" && index(tolower($2), enum) == 1 {
    path = substr($2, length(enum) + 1)
    count = split(path, part, "\\")
    device = tolower(part[1] "\\" part[2] "\\" part[3])
    if (count == 3 && $3 == "Class") className[device] = text($4)
    if (count == 3 && $3 == "DeviceDesc") description[device] = text($4)
    if (count == 4 && $3 == "DevInst") {
        number = 0
        for (i = 7; i <= 14; i++) number = number * 16 + index("123456789abcdef", substr($4, i, 1))
        deviceAt[number] = device
        if (number > last) last = number
        id[device] = part[1] "\\" part[2] "\\" part[3]
    }
    if (count == 4 && $3 == "Parent") parentId[device] = tolower(text($4))
    if (count == 4 && $3 == "Present") present[device] = $4 == "dword:00000000" ? 0 : 1
    if (count == 4 && $3 == "Installed") installed[device] = text($4)
    if (count == 6 && $3 == "Inf") {
        file = text($4)
        sub(/.*\\/, "", file)
        inf[device, part[6]] = file
    }
}

END { show("", 0) }
