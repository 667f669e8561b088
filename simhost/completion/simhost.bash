# Completion for simhost. It asks "simhost COMMAND --help", so that it knows what the program knows.
# shellcheck shell=bash

_simhost_commands() {
    sed -n '/^Commands:/,/^$/s/^  \([a-z]\{1,\}\) .*/\1/p' <<<"$1"
}

_simhost() {
    local program=${COMP_WORDS[0]} current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local -a command=()
    local help word i
    COMPREPLY=()
    help=$("$program" --help 2>/dev/null) || return
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        grep -qx -e "$word" <<<"$(_simhost_commands "$help")" || break
        command+=("$word")
        help=$("$program" "${command[@]}" --help 2>/dev/null) || return
    done

    # What the option before takes stands behind it in the help: "-c,--config-dir DIR".
    if [[ $previous == -* ]]; then
        word=$(sed -n "s/^  \(-[a-z],\)\{0,1\}$previous \([A-Z]\{1,\}\).*/\2/p; s/^  $previous,--[a-z-]* \([A-Z]\{1,\}\).*/\1/p" <<<"$help")
        case $word in
            FILE | PATH) mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
            DIR) mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
            ?*) return ;;
        esac
    fi
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(grep -o -e '^  [-a-z,]*--[a-z-]*' <<<"$help" | grep -o -e '--[a-z-]*')" -- "$current")
        return
    fi
    word=$(_simhost_commands "$help")
    if [[ -n $word ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$word" -- "$current")
    elif grep -q -E '^  (FILE|PLUGIN|PATH|A) ' <<<"$help"; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -o filenames -F _simhost simhost
