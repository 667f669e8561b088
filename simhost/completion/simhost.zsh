#compdef simhost
# Completion of simhost's command line for zsh: the program itself tells what may come.

_simhost() {
    local -a answer names descriptions
    local line
    answer=("${(@f)$(${words[1]} --complete "${(@Q)words[2,CURRENT]}" 2>/dev/null)}")
    for line in "${(@)answer[2,-1]}"; do
        names+=("${line%%$'\t'*}")
        descriptions+=("${line/$'\t'/  -- }")
    done
    (($#names)) && compadd -l -d descriptions -a names
    case $answer[1] in
        files) _files ;;
        directories) _files -/ ;;
    esac
}

# Sourced by hand or found on the function path.
if [[ $funcstack[1] == _simhost ]]; then
    _simhost "$@"
else
    compdef _simhost simhost
fi
