# Completes command lines of orvane-client from its help. Installed where bash looks for it.
_orvane_client() {
    local cur prev words cword help command='' found='' i
    _init_completion -n := || return
    help=$(orvane-client --help)
    for ((i = 1; i < cword; i++)); do
        case ${words[i]} in
        -*) [[ $help != *"${words[i]} <"* ]] || ((++i)) ;; # with a value
        watch | help) ;;
        *) command=${words[i]} && break ;;
        esac
    done
    if [[ $cur == -* ]]; then
        found=$(grep -oE -e '--[a-z-]+' <<< "$help")
    elif [[ $prev == --profile ]]; then
        found=$(sed -n 's/^\[\(.*\)\]$/\1/p' "${XDG_CONFIG_HOME:-$HOME/.config}/orvane-client/profiles.ini" 2> /dev/null)
    elif [[ $prev == -* && $help == *"$prev <"* ]]; then
        return # mostly a file
    elif [ -z "$command" ]; then
        found="check watch help $(orvane-client help | grep -oE '^[A-Za-z]+')"
    elif [[ $cur == subsplit:* ]]; then
        found=$(orvane-client help "$command" | grep -oE '[:,][a-z]+=' | sed "s/^./${cur%"${cur##*[:,]}"}/")
    elif [[ $cur != *=* ]]; then
        found=$(orvane-client help "$command" | grep -oE ' (subsplit:)?[a-z]+=')
    fi
    mapfile -t COMPREPLY < <(compgen -W "$found" -- "$cur")
    # For the shell these two also end a word: it replaces only what follows.
    COMPREPLY=("${COMPREPLY[@]#"${cur%"${cur##*[:=]}"}"}")
    [[ ${COMPREPLY-} != *= ]] || compopt -o nospace 2> /dev/null
}
complete -o default -F _orvane_client orvane-client
