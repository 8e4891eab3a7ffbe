# Completes the command lines of orvane-client, which knows what fits. Installed where bash looks for it.
_orvane_client() {
    local cur prev words cword
    _init_completion -n := || return
    mapfile -t COMPREPLY < <(orvane-client --complete "${words[@]:1:cword}")
    # The shell takes these two for the end of a word, too, and replaces what comes behind.
    COMPREPLY=("${COMPREPLY[@]#"${cur%"${cur##*[:=]}"}"}")
    [[ ${COMPREPLY-} != *= ]] || compopt -o nospace
}
complete -o default -F _orvane_client orvane-client
