# What a state file says about its catalogs, for each entry "CATALOG ID": "has", that it is there; "idle",
# that programs cannot use it, because its file is missing or an id of its chain leads to no entry that works;
# "named", that its path has a file name, or that it is a layered entry without an LSP if that name is empty;
# and "dll", the path of a named entry of the 64-bit catalog.
#   FILES  a file with the paths that exist, in lower case
#   NAME   the file name

function value(text, field) {
    if (!match(text, "(^| )" field "=(\"[^\"]*\"|[^ ]*)")) return ""
    text = substr(text, RSTART, RLENGTH)
    sub(/^ ?[^=]*=/, "", text)
    gsub(/"/, "", text)
    return text
}

# The file that programs of a catalog open.
function opened(key, file) {
    file = path[key]
    sub(/^%systemroot%/, "c:\\windows", file)
    if (key ~ /^32 /) sub(/^c:\\windows\\system32\\/, "c:\\windows\\syswow64\\", file)
    return file
}

function works(key, depth, count, ids, i) {
    if (depth > 7 || !(opened(key) in exists)) return 0
    count = split(chain[key], ids, ",")
    if (size[key] != "" && size[key] < count) count = size[key]
    for (i = 1; i <= count; ++i)
        if (!works(substr(key, 1, 3) ids[i], depth + 1)) return 0
    return 1
}

BEGIN { while ((getline line < FILES) > 0) exists[line] = 1 }
/^catalog / { catalog = $2 }
/^entry / {
    key = catalog " " $2
    path[key] = tolower(value($0, "path"))
    chain[key] = value($0, "chain")
    size[key] = value($0, "length")
}
END {
    for (key in path) {
        print "has " key
        hidden = chain[key] == "" && size[key] == ""
        if (!hidden && !works(key, 0)) print "idle " key
        name = path[key]
        sub(/.*\\/, "", name)
        split(chain[key], ids, ",")
        orphan = chain[key] != "" && !((substr(key, 1, 3) ids[1]) in path)
        if (NAME == "" ? orphan || name == "" : name == tolower(NAME)) {
            print "named " key
            if (key ~ /^64/ && NAME != "") print "dll " opened(key)
        }
    }
}
