# Completion of polar for bash. What there is comes from polar itself, so it is never out of date.
_polar() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
    local words
    if [ "$COMP_CWORD" = 1 ]; then
        words="unwrap wrap compare info help --help --version"
    elif [ "$command" = help ]; then
        words="unwrap wrap compare info"
    elif [[ $before == --* ]] && words=$(polar "$command" --help 2>/dev/null |
        sed -n "s/^ *$before \([a-z0-9]*|[a-z0-9|]*\).*/\1/p" | tr '|' ' ') && [ "$words" ]; then
        :
    elif [[ $word == -* ]]; then
        words=$(polar "$command" --help 2>/dev/null | grep -oE '^ +(-[a-z],?)?(--[a-z-]+)?' | tr ',' ' ')
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o filenames -F _polar polar
