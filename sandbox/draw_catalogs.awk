# Draws the catalogs of a Winsock state file: each provider with its DLL, each chain from the top down to the base, and
# ids in chains that no entry has any more.
function field(name,    at, rest) {
    at = index($0, " " name "=")
    if (!at) return ""
    rest = substr($0, at + length(name) + 2)
    if (substr(rest, 1, 1) == "\"") { rest = substr(rest, 2); return substr(rest, 1, index(rest, "\"") - 1) }
    return index(rest, " ") ? substr(rest, 1, index(rest, " ") - 1) : rest
}

function draw(    i, k, n, ids, line) {
    if (title != "") printf "\n  %s-bit catalog\n", title
    for (i = 1; i <= count; ++i) {
        if (chain[i] == "") {
            printf "    %-6s %-8s %-26s %s\n", id[i], kind[i], name[id[i]], dll[i]
            continue
        }
        n = split(chain[i], ids, ",")
        line = name[id[i]]
        for (k = 1; k <= n; ++k)
            line = line (k == 1 ? "   [" : " > ") (ids[k] in name ? ids[k] " " name[ids[k]] : "!! " ids[k] " is gone")
        printf "    %-6s %-8s %s]\n", id[i], "  chain", line
    }
    count = 0
    split("", name)
}

/^catalog / { draw(); title = $2 }
/^entry / {
    id[++count] = $2
    name[$2] = field("name")
    chain[count] = field("chain")
    kind[count] = field("length") == "1" ? "base" : "LSP"
    dll[count] = field("path")
}
END { draw() }
