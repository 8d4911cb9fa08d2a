# Gives a guide to Doxygen: a page of its own name, with links between guides and to headers; other links as their text.
function name_of(path) {
    sub(/.*\//, "", path)
    sub(/#.*/, "", path)
    sub(/\.md$/, "", path)
    gsub(/-/, "_", path)
    return path
}

FNR == 1 {
    print $0 " {#" name_of(FILENAME) "}"
    next
}
/^```/ {
    in_code = !in_code
    print "~~~"
    next
}
in_code { print; next }
{
    out = ""
    left = $0
    while (match(left, /\[[^][]*\]\([^()]*\)/)) {
        link = substr(left, RSTART, RLENGTH)
        out = out substr(left, 1, RSTART - 1)
        left = substr(left, RSTART + RLENGTH)
        text = target = link
        sub(/\]\(.*/, "", text)
        sub(/^\[/, "", text)
        sub(/.*\]\(/, "", target)
        sub(/\)$/, "", target)
        gsub(/`/, "", text)
        if (target ~ /^https?:/)
            out = out "[" text "](" target ")"
        else if (target ~ /include\/quill\/[a-z0-9_]*\.h$/)
            out = out "@ref " substr(target, match(target, /[a-z0-9_]*\.h$/)) " \"" text "\""
        else if (target ~ /^[a-z-]*\.md/)
            out = out "@ref " name_of(target) " \"" text "\""
        else
            out = out text
    }
    print out left
}
