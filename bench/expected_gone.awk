# expected_gone.awk ROWS SNAPSHOT - of the things in a snapshot, those that a full run has to remove: `what<TAB>place<TAB>
# name`, as in the snapshot. Whatever is not named here has to stay. Called with programs=the Start Menu's Programs folder
# of all users.
#
# A row means what it names and all that lies in it. What a `kept` row names stays with all that lies in it, and so does
# every folder and key around it, since they are not empty. Windows does not tell names apart by case.
#
# With unused=1 it names instead the `listed` rows that mean nothing in the snapshot.

BEGIN { FS = OFS = "\t" }

function registryPlace(key) {
    sub(/^hkey_classes_root\\/, "hkey_local_machine\\software\\classes\\", key)
    sub(/^hkey_users\\s-1-5-21-0-0-0-1000\\/, "hkey_current_user\\", key)
    sub(/^hkey_local_machine\\software\\wow6432node\\classes\\/, "hkey_local_machine\\software\\classes\\wow6432node\\", key)
    return key
}
function parent(path) { return sub(/\\[^\\]*$/, "", path) ? path : "" }

function pattern(path) {
    gsub(/[.+?^${}()|\[\]\\]/, "\\\\&", path)
    gsub(/\*/, "[^\\\\\\\\]*", path)
    return "^" path "$"
}

# True when a row of the set names the place. Rows that named something are remembered.
function named(set, where) {
    if (!((set, where) in row)) return 0
    used[set, where]
    return 1
}

# True when a row of the set names the place or one around it.
function within(set, where,    found) {
    for (; where != ""; where = parent(where)) if (named(set, where)) found = 1
    return found
}

function isListed(kind, where, name,    found, one) {
    if (kind == "key") return within("listed key", where)
    if (kind == "value") return named("listed value", where "\\" name) + within("listed key", where)
    found = within("listed folder", where)
    if (kind == "folder") return found
    found += named("listed file", where)
    for (one in wildcard) {
        if (where ~ wildcard[one]) {
            used["listed file", one]
            found = 1
        }
    }
    return found
}
function isKept(kind, where, name) {
    if (kind == "key") return within("kept key", where)
    if (kind == "value") return named("kept value", where "\\" name) + within("kept key", where)
    return named("kept file", where) + within("kept folder", where)
}

FNR == NR {
    if (/^#/ || NF < 3) next
    where = tolower($3)
    set = $2
    if (set ~ /key|value/) where = registryPlace(where)
    if (set == "path-value") { set = "value"; where = where "\\" tolower($4) }
    if (set == "service") { set = "key"; where = "hkey_local_machine\\system\\currentcontrolset\\services\\" where }
    if (set == "task") { set = "file"; where = "c:\\windows\\system32\\tasks\\" where }
    if (set == "shortcut") { set = "folder"; where = tolower(programs) "\\" parent(where) }
    if (set == "empty-key" || set == "bare-key") { emptyKey[where] = set; next }
    if (set == "process") next
    row[$1 " " set, where] = $0
    if (set == "file" && where ~ /\*/) wildcard[where] = pattern(where)
    next
}

{
    lines++
    line[lines] = $1 OFS $2 OFS $3
    what[lines] = $1
    place[lines] = tolower($2)
    goes[lines] = isListed($1, tolower($2), tolower($3)) && !isKept($1, tolower($2), tolower($3))
}

END {
    if (unused) {
        for (one in row) if (row[one] ~ /^listed/ && !(one in used)) print row[one]
        exit
    }
    for (i = 1; i <= lines; i++) {
        if (goes[i]) continue
        # What stays keeps what lies around it, and a value the key that holds it.
        nearest = what[i] == "value" ? place[i] : parent(place[i])
        for (around = nearest; around != "" && !(around in holds); around = parent(around)) holds[around]
        if (what[i] == "value") valueIn[place[i]]
        if (what[i] == "value" || !(place[i] in emptyKey)) {
            for (around = parent(place[i]); around != "" && !(around in keyBelow); around = parent(around)) {
                keyBelow[around]
            }
        }
    }
    for (key in emptyKey) {
        mayGo[key] = !(key in keyBelow) && (emptyKey[key] == "empty-key" || !(key in valueIn))
    }
    for (i = 1; i <= lines; i++) {
        if ((what[i] == "key" || what[i] == "value") && place[i] in mayGo) goes[i] = goes[i] || mayGo[place[i]]
        else if (what[i] != "value" && place[i] in holds) goes[i] = 0
        if (goes[i]) print line[i]
    }
}
