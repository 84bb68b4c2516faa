# The rows of the tables of a page whose first column has expressions. Prints a line for each expression and
# each other cell, with tabs: table, number of the row, "any", "and" or "without", the expression; or
# "cell 2", the text. A table has the name of the heading above it.

function expressions(cell, group, name) {
    for (group = "any"; match(cell, /`[^`]*`|\*\*(and|without)\*\*/); cell = substr(cell, RSTART + RLENGTH)) {
        name = substr(cell, RSTART + 1, RLENGTH - 2)
        if (name ~ /^\*/) group = substr(name, 2, length(name) - 2)
        else print table "\t" row "\t" group "\t" name
    }
}

/^#/ { table = $0; sub(/^#+ /, "", table) }
/^\| (Look for|Expressions) \|/ { inside = 1; row = 0; next }
!/^\|/ { inside = 0 }
inside && /^\|--/ { next }
inside {
    ++row
    cells = split($0, cell, / ?\| ?/)
    expressions(cell[2])
    for (i = 3; i < cells; ++i) print table "\t" row "\tcell " (i - 1) "\t" cell[i]
}
