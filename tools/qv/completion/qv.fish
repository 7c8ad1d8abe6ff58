# fish completion of qv: the program itself knows what may come next; where it names nothing, files are meant.
function __qv_complete
    set -l words (commandline -opc) (commandline -ct)
    set -l candidates ($words[1] complete -- $words[2..-1] 2>/dev/null)
    if set -q candidates[1]
        printf '%s\n' $candidates
    else
        __fish_complete_path (commandline -ct)
    end
end
complete -c qv -f -a '(__qv_complete)'
