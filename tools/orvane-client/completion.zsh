#compdef orvane-client
# Completes the command lines of orvane-client, which knows what fits. Installed where zsh looks for it.
local -a fitting keys
fitting=(${(f)"$(orvane-client --complete "${(@)words[2,CURRENT]}")"})
keys=(${(M)fitting:#*=})
compadd -S '' -a keys
compadd -- ${fitting:#*=} || { (( ${#fitting} )) || _files }
