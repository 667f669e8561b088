# Completion of simhost's command line for fish: the program itself tells what may come.

function __simhost_complete
    set -l words (commandline --tokenize --current-process --cut-at-cursor)
    set -l current (commandline --current-token --cut-at-cursor)
    set -l answer ($words[1] --complete $words[2..] "$current" 2>/dev/null)
    switch "$answer[1]"
        case files
            __fish_complete_path "$current"
        case directories
            __fish_complete_directories "$current" ""
    end
    if set -q answer[2]
        string join \n -- $answer[2..]
    end
end

complete --command simhost --no-files --arguments '(__simhost_complete)'
