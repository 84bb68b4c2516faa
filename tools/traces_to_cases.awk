# Turns the traces of a page into cases. A trace is a code block. The case runs the command line of the first
# message on the sample machine, and expects these messages.

function finish() {
    if (messages > 0) {
        printf "case trace_%d_of_%s\nsample\nrun %s\n", ++count, PAGE, words
        for (i = 1; i <= messages; ++i) print "| " message[i]
    }
    messages = 0
    words = ""
}

/^```/ {
    inside = !inside
    finish()
    next
}
inside && match($0, /^[0-9][0-9][0-9]+:[0-9a-f]+ [0-9][0-9]:[0-9][0-9]:[0-9][0-9]\.[0-9][0-9][0-9] /) {
    text = substr($0, RLENGTH + 1)
    if (text ~ /^64-bit utility started, params: /) {
        words = substr(text, index(text, "'") + 1)
        words = substr(words, 1, length(words) - 1)
    }
    gsub(/h=0x[0-9A-F]+ pid=[0-9]+/, "h=<handle> pid=<id>", text)
    message[++messages] = text
    next
}
inside && messages > 0 { message[messages] = message[messages] "<lf>" $0 }
