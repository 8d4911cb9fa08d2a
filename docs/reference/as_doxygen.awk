# Gives a public header to Doxygen: our comments as its own, and one that stands over several declarations as that of
# each. Indented lines are code or tables, "--- Title." opens a section.
BEGIN { section_open = 0 }

function escaped(text) {
    gsub(/[\\@&$#<>%]|::/, "\\\\&", text)
    return text
}

# A line of a comment: what stands behind its " * ".
function add_line(text) {
    if (text ~ /^     /) {
        if (!in_code) body = body " * @code{.c}\n"
        in_code = 1
        body = body " * " substr(text, 5) "\n"
        return
    }
    if (in_code && text ~ /^ *$/) { body = body " *\n"; return }
    if (in_code) body = body " * @endcode\n"
    in_code = 0
    body = body " *" escaped(text) "\n"
}

function end_comment(    title, rest, at) {
    if (in_code) body = body " * @endcode\n"
    in_code = 0
    in_comment = 0
    if (!described_file) {
        described_file = 1
        sub(/quill\/[a-z0-9_]*\.h: /, "", body)
        printf "/** @file quill/%s\n%s */\n", name, body
        comment = ""
    } else if (body ~ /^ \* --/) {
        rest = body
        sub(/^ \* -+ /, "", rest)
        at = match(rest, /[.:;\n]/)
        title = substr(rest, 1, at - 1)
        sub(/ -+$/, "", title)
        rest = substr(rest, at + 1)
        if (section_open) printf "/** @} */\n"
        printf "/** @name %s\n * @{ */\n", title
        section_open = 1
        comment = rest ~ /[a-z]/ ? "/**\n *" rest " */\n" : ""
        first_of_comment = 0
        return
    } else {
        comment = "/**\n" body " */\n"
        printf "%s", comment
    }
    first_of_comment = 1
}

FNR == 1 { name = FILENAME; sub(/.*\//, "", name) }

in_comment {
    text = $0
    ends = sub(/ *\*\/ *$/, "", text)
    sub(/^ *\*/, "", text)
    add_line(text)
    if (ends) end_comment()
    next
}
/^\/\*/ {
    in_comment = 1
    body = ""
    text = substr($0, 3)
    ends = sub(/ *\*\/ *$/, "", text)
    add_line(text)
    if (ends) end_comment()
    next
}
/^[ \t]+\/\*/ { sub(/\/\*/, "/**") }
/[^ \t].*\/\*[^*]/ {
    at = index($0, "/*")
    print substr($0, 1, at - 1) "/**<" escaped(substr($0, at + 2))
    next
}
/^(extern )?QUILL_API/ {
    if (!first_of_comment) printf "%s", comment
    first_of_comment = 0
}
/^$/ { comment = "" }
/^QUILL_END_DECLS/ && section_open { print "/** @} */"; section_open = 0 }
{ print }
