#compdef quill
# Completion for zsh. The program prints what can follow the words before the cursor.
local -a choices=(${(f)"$(quill --complete ${words[2,CURRENT-1]} 2>/dev/null)"})
[[ $PREFIX == -* ]] || choices=(${choices:#-*})
choices=("${choices[@]/$'\t'/:}")
_describe quill choices || _files
