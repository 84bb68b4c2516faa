# Prints each text that the program can write, one a line, as in the code: the first string of every call of
# Trace, TraceAtLevel and fprintf, and of every exception. A string can have pieces on several lines.

{ sub(/^ *\/\/.*/, ""); code = code $0 "\n" }

END {
    while (match(code, /(Trace|TraceAtLevel|fprintf|ToWide|runtime_error)\([^";]*"|kFailure\[\] = "/)) {
        code = substr(code, RSTART + RLENGTH)
        text = ""
        while (match(code, /^([^"\\]|\\.)*"/)) {
            text = text substr(code, 1, RLENGTH - 1)
            code = substr(code, RLENGTH + 1)
            if (!match(code, /^[ \n]*"/)) break
            code = substr(code, RLENGTH + 1)
        }
        print text
    }
}
