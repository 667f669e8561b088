# Completion of simhost's command line for bash: the program itself tells what may come.

_simhost() {
    local program=$1 word trimmed i
    local -a words=() answer=()
    # Bash takes ':' and '=' for words of their own; the program does not.
    for ((i = 1; i <= COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if ((${#words[@]})) && [[ $word == [:=]* || -n $word && ${COMP_WORDS[i - 1]} == [:=] ]]; then
            words[${#words[@]} - 1]+=$word
        else
            words+=("$word")
        fi
    done
    mapfile -t answer < <("${program/#\~/$HOME}" --complete "${words[@]}" 2>/dev/null)
    word=${COMP_WORDS[COMP_CWORD]}
    [[ $word == [:=] ]] && word=
    # What stands in front of the part that bash replaces.
    trimmed=${words[-1]%"$word"}
    COMPREPLY=()
    for ((i = 1; i < ${#answer[@]}; ++i)); do
        answer[i]=${answer[i]%%$'\t'*}
        COMPREPLY+=("${answer[i]#"$trimmed"}")
    done
    case ${answer[0]} in
        files) mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word") ;;
        directories) mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -d -- "$word") ;;
    esac
}

complete -o filenames -F _simhost simhost
