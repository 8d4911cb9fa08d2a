# Completion for fish. The program prints what can follow the words before the cursor.
function __quill_choices
    set -l choices (quill --complete (commandline -opc)[2..-1] 2>/dev/null)
    string match -q -- '-*' (commandline -ct); or set choices (string match -v -- '-*' $choices)
    printf '%s\n' $choices
end
complete -c quill -n __fish_is_first_token -f
complete -c quill -a '(__quill_choices)'
