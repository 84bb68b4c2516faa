# Prints each text that the program can write, as the code has it, a line each: the first string, whose pieces can go on over
# lines, of every call of Trace, TraceAtLevel and fprintf, and of what is thrown.

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
