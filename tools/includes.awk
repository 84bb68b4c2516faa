# Reads the includes of C++ files. The variable FILES names a file that lists every file of the project.
#
# With PAIRS=1 it prints "FILE INCLUDED" for each include of another file of the project, both without
# extension, because a header and its .cpp are one file. Otherwise it prints the includes that the layout does
# not allow.

BEGIN {
    while ((getline file <FILES) > 0) known[file] = 1
    allowed["src"] = "src"
    allowed["machine"] = "machine src"
    allowed["simulation"] = "simulation machine src"
    split("tests rehearsal sandbox tools", users)
    for (i in users) allowed[users[i]] = users[i] " simulation machine src"
}

# The file that an include of FILENAME names, searched in the order of the include folders; empty when the
# project has none.
function resolved(name, place, folder) {
    folder = FILENAME
    sub(/[^\/]*$/, "", folder)
    place[1] = folder; place[2] = "src/"; place[3] = ""; place[4] = top(FILENAME) "/"
    for (folder = 1; folder <= 4; ++folder)
        if ((place[folder] name) in known) return place[folder] name
    return ""
}

function top(file) {
    sub(/\/.*/, "", file)
    return file
}

function stem(file) {
    sub(/\.[^.\/]*$/, "", file)
    return file
}

function complain(what) {
    if (!PAIRS) print FILENAME ":" FNR ": " what
}

/^[ \t]*#[ \t]*include[ \t]*["<]/ {
    match($0, /["<][^">]*/)
    quoted = substr($0, RSTART, 1) == "\""
    name = substr($0, RSTART + 1, RLENGTH - 1)
    target = resolved(name)
    if (target == "") {
        if (quoted) complain("there is no file " name)
    } else if (!quoted) {
        complain("a file of the project is included in angle brackets: " name)
    } else if (index(" " allowed[top(FILENAME)] " ", " " top(target) " ") == 0) {
        complain(top(FILENAME) " does not include " top(target) ": " name)
    } else if (PAIRS && stem(target) != stem(FILENAME)) {
        print stem(FILENAME), stem(target)
    }
}
