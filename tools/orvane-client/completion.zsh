#compdef orvane-client
# Completes command lines of orvane-client from its help. Installed where zsh looks for it.
local help=$(orvane-client --help) command word start
local -a fitting keys
local -i i
for (( i = 2; i < CURRENT; i++ )); do
    case $words[i] in
    -*) [[ $help != *"$words[i] <"* ]] || (( ++i )) ;; # with a value
    watch | help) ;;
    *) command=$words[i] && break ;;
    esac
done
word=$words[CURRENT]
if [[ $word == -* ]]; then
    fitting=(${(f)"$(grep -oE -e '--[a-z-]+' <<< $help)"})
elif [[ $words[CURRENT-1] == --profile ]]; then
    fitting=(${(f)"$(sed -n 's/^\[\(.*\)\]$/\1/p' ${XDG_CONFIG_HOME:-$HOME/.config}/orvane-client/profiles.ini 2> /dev/null)"})
elif [[ $words[CURRENT-1] == -* && $help == *"$words[CURRENT-1] <"* ]]; then
    _files
elif [[ -z $command ]]; then
    fitting=(check watch help ${(f)"$(orvane-client help | grep -oE '^[A-Za-z]+')"})
elif [[ $word == subsplit:* ]]; then
    start=${word%${word##*[:,]}}
    keys=($start${^${(f)"$(orvane-client help $command | grep -oE '[:,][a-z]+=' | cut -c2-)"}})
elif [[ $word != *=* ]]; then
    keys=(${=$(orvane-client help $command 2> /dev/null | grep -oE ' (subsplit:)?[a-z]+=')})
fi
compadd -S '' -a keys
compadd -a fitting
