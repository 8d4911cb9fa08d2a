# as_doxygen.awk MAP HEADER: gives a public header to Doxygen. Our comments become its own; one over several
# declarations is that of the first, to which the others refer. Indented lines are code or tables, "--- Title." opens a
# section. Exported names, which are those in MAP, become links.
BEGIN { section_open = 0 }

FILENAME ~ /\.map$/ {
    if (match($0, /^    [A-Za-z0-9_]+;/)) exported[substr($0, 5, RLENGTH - 5)] = 1
    next
}

function escaped(text) {
    gsub(/[\\@&$#<>%]|::/, "\\\\&", text)
    return text
}

# Prose, with a link for each exported name.
function linked(text,    out, word) {
    text = escaped(text)
    while (match(text, /[A-Za-z_][A-Za-z0-9_]*/)) {
        word = substr(text, RSTART, RLENGTH)
        out = out substr(text, 1, RSTART - 1) (word in exported ? "@ref " word " \"" word "\"" : word)
        text = substr(text, RSTART + RLENGTH)
    }
    return out text
}

function name_declared(line) {
    sub(/ *[(;[].*/, "", line)
    sub(/.*[ *]/, "", line)
    return line
}

# A line of a comment: what follows its " * ".
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
    body = body " *" linked(text) "\n"
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
        is_printed = 0
    } else {
        comment = "/**\n" body " */\n"
        printf "%s", comment
        is_printed = 1
    }
    first = ""
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
/^(extern )?QUILL_(API|INLINE)/ {
    if (comment != "" && first != "") {
        print "/** See @ref " first " \"" first "\". */"
    } else {
        if (!is_printed) printf "%s", comment
        first = name_declared($0)
    }
}
/^$/ { comment = "" }
/^QUILL_END_DECLS/ && section_open { print "/** @} */"; section_open = 0 }
{ print }
