# shellcheck shell=bash
# Completion for bash. The program prints what can follow the words before the cursor.
_quill() {
    local word=${COMP_WORDS[COMP_CWORD]} choices
    choices=$(quill --complete "${COMP_WORDS[@]:1:COMP_CWORD-1}" 2>/dev/null | cut -f 1)
    [ "${word#-}" != "$word" ] || choices=$(grep -v '^-' <<<"$choices")
    # shellcheck disable=SC2207 # no choice contains a blank
    COMPREPLY=($(compgen -W "$choices" -- "$word"))
}
complete -o default -F _quill quill
