# unexplained_changes.awk ALLOWED CHANGES - the changes that no pattern allows. A pattern is a line `added|changed what
# place [name]`, cut at tabs; * stands for any characters but a backslash. Lines that begin with # give the reasons.

function expression(text) {
    gsub(/[.+?^${}()|\[\]\\]/, "\\\\&", text)
    gsub(/\*/, "[^\\\\\\\\]*", text)
    return "^" text "$"
}

FNR == NR {
    if (/^#/ || /^$/) next
    count++
    kind[count] = $1 FS $2
    place[count] = expression(tolower($3))
    name[count] = expression(tolower($4))
    next
}
{
    for (i = 1; i <= count; i++) {
        if (kind[i] == $1 FS $2 && tolower($3) ~ place[i] && tolower($4) ~ name[i]) next
    }
    print
}
