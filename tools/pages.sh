# Checks of Markdown pages. To be sourced.

# broken_links PAGE: its links to files or headings that do not exist. Links to other sites are not followed.
broken_links() {
    local link file
    { grep -oE '\]\([^) ]+\)' "$1" || true; } | sed 's/^](//; s/)$//' | sort -u | while IFS= read -r link; do
        [[ $link != http* ]] || continue
        file=${link%%#*}
        file=${file:+$(dirname "$1")/}${file:-$1}
        [ -e "$file" ] && { [[ $link != *'#'* ]] || has_heading "$file" "${link#*#}"; } || echo "$link"
    done
}

# has_heading PAGE ANCHOR: whether a heading of the page has that anchor.
has_heading() {
    sed -n 's/^#\+ //p' "$1" | tr '[:upper:]' '[:lower:]' | sed 's/[^a-z0-9 _-]//g; s/ /-/g' |
        grep -xF -- "$2" >/dev/null
}
