# shellcheck shell=bash
# Completion for bash. Commands and options are what the program says of itself.
_quill() {
    local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} choices
    if [ "$COMP_CWORD" -eq 1 ] || { [ "$COMP_CWORD" -eq 2 ] && [ "$command" = help ]; }; then
        choices=$(quill --help 2>/dev/null | sed -n 's/^  \([a-z][a-z0-9-]*\) .*/\1/p')
        [ "$COMP_CWORD" -eq 2 ] || choices="$choices help --help --version"
    elif [ "${word#-}" != "$word" ]; then
        choices=$(quill help "$command" 2>/dev/null | grep -E '^(usage:|       quill|  --)' |
            grep -oE -e '--[a-z][a-z-]*')
        choices=$(printf '%s\n' --help $choices | sort -u)
    elif [ "$COMP_CWORD" -eq 2 ]; then # what a command can do: "quill fqln split|build …"
        choices=$(quill help "$command" 2>/dev/null |
            sed -nE "s/^(usage:|      ) quill $command ([a-z|]+) .*/\2/p" | tr '|' '\n')
    fi
    # shellcheck disable=SC2207 # no choice holds a blank
    COMPREPLY=($(compgen -W "${choices-}" -- "$word"))
}
complete -o default -F _quill quill
