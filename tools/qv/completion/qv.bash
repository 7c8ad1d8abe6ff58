# bash completion of qv: the program itself knows what may come next.
_qv() {
    local IFS=$'\n' candidate
    COMPREPLY=()
    for candidate in $("${COMP_WORDS[0]}" complete -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null); do
        COMPREPLY+=("$(printf %q "$candidate")")
    done
}
complete -o default -F _qv qv
