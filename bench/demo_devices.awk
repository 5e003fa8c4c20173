# demo_devices.awk TREE - draws the devices of a tree (device_tree.awk) with what became of each. Called with after=the tree
# after the run and expected=devices_expected.tsv. Drawn are the devices that have become something else, those of the
# maker, and what these hang on; the others are counted. A line `differs<TAB>text` tells of an outcome that is not the
# expected one.

function outcomeOf(device) {
    if (!(device in there)) return "gone"
    if (inf[device] != "-" && infAfter[device] == "-") return "driverless"
    if (present[device] == 1 && presentAfter[device] == 0) return "hidden"
    return "stays"
}

BEGIN {
    FS = "\t"
    word["gone"] = "removed"
    word["stays"] = "kept"
    word["driverless"] = "no driver"
    word["hidden"] = "hidden"
    while ((getline <expected) > 0) {
        if ($1 != "device") continue
        expectedOutcome[$2] = $3
        reason[$2] = $6
    }
    while ((getline <after) > 0) {
        there[$2]
        presentAfter[$2] = $5
        infAfter[$2] = $6
    }
}

{
    count++
    depth[count] = $1
    id[count] = $2
    name[count] = $4
    present[$2] = $5
    inf[$2] = $6
    known[$2]
    above[$1] = count
    parent[count] = $1 > 0 ? above[$1 - 1] : 0
    outcome[count] = outcomeOf($2)
    if (outcome[count] != "stays" || $2 ~ /VEN_7A11|VEN_7A2E/)
        for (i = count; i > 0 && !(i in drawn); i = parent[i]) drawn[i]
}

# A device that is alone below one that stays is written behind it; those that fared alike are written in one line.
function line(i, text) {
    printf "  %-9s %-58s  %s\n", word[outcome[i]], text, reason[id[i]]
}

function indent(depth,    text) {
    text = ""
    while (depth-- > 0) text = text "  "
    return text
}

function children(i,    c) {
    only = 0
    amount = 0
    for (c = i + 1; c <= count; c++) if (parent[c] == i && c in drawn) { amount++; only = c }
    return amount
}

function draw(i, level,    text, c, last) {
    text = indent(level) name[i]
    last = i
    if (outcome[i] == "stays" && children(i) == 1 && outcome[only] == "stays" && reason[id[only]] == reason[id[i]]) {
        last = only
        text = text " > " name[last]
    }
    for (c = i + 1; c <= count; c++) {
        if (parent[c] != parent[i] || !(c in drawn) || outcome[c] != outcome[i] || reason[id[c]] != reason[id[i]]) continue
        if (children(c) > 0 || children(i) > 0) continue
        text = text ", " name[c]
        done[c]
    }
    line(last, text)
    for (c = last + 1; c <= count; c++) if (parent[c] == last && c in drawn && !(c in done)) draw(c, level + 1)
}

END {
    for (i = 1; i <= count; i++) {
        if (i in drawn && parent[i] == 0 && !(i in done)) draw(i, 0)
        if (!(i in drawn)) others++
        if (!(id[i] in expectedOutcome)) print "differs\t" name[i] " was not planted"
        else if (outcome[i] != expectedOutcome[id[i]])
            print "differs\t" name[i] " (" id[i] "): " word[outcome[i]] ", expected: " word[expectedOutcome[id[i]]]
    }
    for (device in expectedOutcome) if (!(device in known)) print "differs\t" device " was not on the machine"
    for (device in there) if (!(device in known)) print "differs\t" device " has come"
    printf "  %-9s %d other devices, of Windows and of other makers\n", word["stays"], others
}
