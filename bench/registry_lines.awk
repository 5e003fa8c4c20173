# registry_lines.awk - turns a registry hive that Wine has saved as text into one line for each key and each value,
# without time stamps: `key<TAB>KEY<TAB><TAB>` and `value<TAB>KEY<TAB>NAME<TAB>DATA`. Called with root=HKEY_...
# The hive leaves out keys that hold nothing but subkeys; each key's ancestors are given here, so that every key shows.

function unescape(text) {
    gsub(/\\\\/, "\001", text)
    gsub(/\\/, "", text)
    gsub("\001", "\\", text)
    return text
}

function emitKey(key,    place) {
    for (place = key; place != root && !(place in emitted); place = parent(place)) {
        emitted[place] = 1
        print "key\t" place "\t\t"
    }
}

function parent(key) {
    sub(/\\[^\\]*$/, "", key)
    return key
}

function emitValue(line,    name) {
    if (line ~ /^@=/) {
        print "value\t" key "\t\t" substr(line, 3)
    } else if (match(line, /^"([^"\\]|\\.)*"=/)) {
        name = substr(line, 2, RLENGTH - 3)
        # Characters beyond ASCII are written as \xNNNN and stay so: only the escapes of quotes and backslashes go.
        gsub(/\\"/, "\"", name)
        gsub(/\\\\/, "\\", name)
        print "value\t" key "\t" name "\t" substr(line, RLENGTH + 1)
    }
}

BEGIN { OFS = "\t" }

# A list of bytes goes on over several lines, each but the last ending in a backslash.
continued != "" {
    sub(/^ +/, "")
    $0 = continued $0
    continued = ""
}
/,\\$/ && /^["@]/ {
    continued = substr($0, 1, length($0) - 1)
    next
}

/^\[/ {
    line = $0
    sub(/\] [0-9]+$/, "", line)
    key = root "\\" unescape(substr(line, 2))
    emitKey(key)
    next
}
/^["@]/ && key != "" { emitValue($0) }
