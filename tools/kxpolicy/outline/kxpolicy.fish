# Completion of kxpolicy for fish. Whatever path it is called by, the one in PATH is asked.

function __kxpolicy_candidates
    set -l before (commandline -opc)
    set -l typed (commandline -ct)
    set -l name (string match -r -- '^-[^=]*=' $typed) # of "--name=value"
    set -l value (string replace -- "$name" '' $typed)
    for line in (command kxpolicy "--complete=$typed" $before[2..-1] 2>/dev/null)
        switch $line
            case :files
                string replace -r -- '^' "$name" (__fish_complete_path "$value")
            case :folders
                string replace -r -- '^' "$name" (__fish_complete_directories "$value" '')
            case '*'
                echo $line
        end
    end
end

complete -c kxpolicy -f -a '(__kxpolicy_candidates)'
