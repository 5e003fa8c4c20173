# plant_list.awk - makes from rows (leftovers.jq) the list of what is to be planted: for each row the thing itself, with
# something in it where it can hold something, and beside it neighbours that no row means: the same name with another last
# character in the same place, a value beside a key, a key beside a value, a file beside a folder.
# Called with programs=the Start Menu's Programs folder of all users; with alone=1 the neighbours are left out.

BEGIN { FS = OFS = "\t" }

function near(name,    last) {
    last = substr(name, length(name))
    return substr(name, 1, length(name) - 1) (last == "x" ? "y" : "x")
}
function parent(path) { sub(/\\[^\\]*$/, "", path); return path }
function leaf(path) { sub(/.*\\/, "", path); return path }
function matching(path, text) { gsub(/\*/, text, path); return path }

/^#/ || NF < 3 { next }

# The things themselves.
$2 == "file" {
    print "file", matching($3, "1")
    if ($3 ~ /\*/) print "file", matching($3, "-second ")
}
$2 == "folder" {
    print "file", $3 "\\leftover.txt"
    print "file", $3 "\\Two words\\deeper\\leftover.bin"
    print "read-only-file", $3 "\\Two words\\read only.txt"
    print "folder", $3 "\\empty"
}
$2 == "key" {
    print "value", $3, "", "The default value of " $3
    print "value", $3, "Text", "Text of " $3
    print "number", $3, "Number", 4711
    print "texts", $3 "\\Below\\Deeper", "Texts", "one|two"
    print "key", $3 "\\Below\\Empty"
}
$2 == "empty-key" || $2 == "bare-key" { print "key", $3 }
$2 == "value" { print "value", parent($3), leaf($3), "Value of " $3 }
$2 == "task" { print "task", $3 }
$2 == "service" { print "service", $3, "C:\\bench\\service_program.exe" }
$2 == "shortcut" {
    print "shortcut", programs "\\" $3, "C:\\windows\\notepad.exe"
    print "file", programs "\\" parent($3) "\\Read me.txt"
}

alone { next }

# Their neighbours.
$2 == "file" { print "file", near(matching($3, "1")) }
$2 == "folder" {
    print "file", near($3) "\\neighbour.txt"
    print "file", parent($3) "\\" leaf($3) ".neighbour.txt"
}
$2 == "key" {
    print "value", near($3), "Text", "Neighbour of " $3
    # A root takes no values of ours; only below it is there a place beside the key.
    if (parent($3) ~ /\\/) print "value", parent($3), leaf($3) " value", "Neighbour of " $3
}
$2 == "value" {
    print "value", parent($3), near(leaf($3)), "Neighbour of " $3
    print "key", $3
}
$2 == "task" { print "task", near($3) }
$2 == "service" { print "service", near($3), "C:\\bench\\service_program.exe" }
$2 == "shortcut" {
    print "shortcut", programs "\\" near(parent($3)) "\\" leaf($3), "C:\\windows\\notepad.exe"
    print "shortcut", programs "\\" leaf($3), "C:\\windows\\notepad.exe"
}
