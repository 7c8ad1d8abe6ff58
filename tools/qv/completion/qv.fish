# fish completion of qv: the program itself knows what may come next; where it names nothing, files are meant.
function __qv_complete
    set -l words (commandline -opc) (commandline -ct)
    $words[1] complete -- $words[2..-1] 2>/dev/null
end
complete -c qv -a '(__qv_complete)'
