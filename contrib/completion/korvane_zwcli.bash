# Completion of korvane_zwcli for bash. What can stand where, the program itself knows.
_korvane_zwcli() {
    local line=${COMP_LINE:0:COMP_POINT} words=() word files quotes
    # Bash replaces $2 alone; what the word has before it (as "pci=0000:") stays as it is.
    local kept=${line%"$2"}
    kept=${kept##*[[:blank:]]}
    quotes=${kept//[^\"\']/}
    kept=${kept//[\"\'\\]/}
    while IFS= read -r word; do
        if [[ $word == $'\tfiles\t'* ]]; then
            files=${word#$'\tfiles\t'}
            word=$kept${2//\\/}
            while IFS= read -r word; do
                [[ -d ${word/#\~\//$HOME/} ]] && word+=/
                words+=("$files$word")
            done < <(compgen -f -- "${word#"$files"}")
        else
            words+=("${word%%$'\t'*}")
        fi
    done < <("${1/#\~\//$HOME/}" --complete "$line" 2>/dev/null)
    for word in "${words[@]}"; do
        word=${word:${#kept}}
        [[ ! $quotes && $word == *[^[:alnum:]_.,:=@/%+~-]* ]] && printf -v word %q "$word"
        COMPREPLY+=("$word")
    done
    [[ ${#words[@]} -eq 1 && $words == *[=/] ]] && compopt -o nospace
}
complete -F _korvane_zwcli korvane_zwcli
