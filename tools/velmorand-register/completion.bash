# SPDX-License-Identifier: Apache-2.0
#
# Completion for bash: commands, options, kinds, files, and the names of settings in the directories on the command line
# and in the catalogues.

# Prints the kind and the name of each declared setting, separated by a tab. Arguments: options for the program.
_velmorand_register_declared() {
    local line name
    # Columns: kind, scope, name and a colon. The temporary scope has no values, so the kind is the declared one.
    velmorand-register "$@" --scope temporary list -r --declared 2>/dev/null | while IFS= read -r line; do
        name=${line:17}
        printf '%s\t%s\n' "${line%% *}" "${name%%: *}"
    done
}

_velmorand_register() {
    local cur prev words cword
    _init_completion -n := || return
    [[ $cur == *[![:space:]]* ]] || cur='' # it is a space if another word follows
    local -
    set -f # names are not patterns

    local places=() catalogues=() command='' arguments=() declared='' i
    for ((i = 1; i < cword; i++)); do
        case ${words[i]} in
        --user | --global | --scope)
            places+=("${words[i]}" "${words[i + 1]/#\~/$HOME}")
            ((i++))
            ;;
        --catalogue)
            catalogues+=("${words[i]}" "${words[i + 1]/#\~/$HOME}")
            ((i++))
            ;;
        --wait | --from | --map) ((i++)) ;;
        --user=* | --global=* | --scope=*) places+=("${words[i]}") ;;
        --catalogue=*) catalogues+=("${words[i]}") ;;
        --declared) declared=1 ;;
        -*) ;;
        *) if [[ $command ]]; then arguments+=("${words[i]}"); else command=${words[i]}; fi ;;
        esac
    done

    case $prev in
    --user | --global)
        _filedir -d
        return
        ;;
    --catalogue | --map)
        _filedir
        return
        ;;
    --from)
        COMPREPLY=($(compgen -W 'ini kconfig dconf json' -- "$cur"))
        return
        ;;
    --scope)
        COMPREPLY=($(compgen -W 'user global temporary' -- "$cur"))
        return
        ;;
    --wait) return ;;
    esac

    local options='--user --global --scope --catalogue --wait --help'
    case $command in
    '') options+=' --version' ;;
    list) options+=' --recursive --long --declared' ;;
    set) options+=' --force' ;;
    import) options+=' --replace --from --map --overwrite --force --dry-run' ;;
    check) options+=' --declared' ;;
    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
        return
    fi

    local names='' kind name
    case $command in
    '')
        COMPREPLY=($(compgen -W 'list get set lock unlock delete export import diff check restore watch' -- "$cur"))
        return
        ;;
    diff | check | import)
        _filedir
        return
        ;;
    set)
        case ${#arguments[@]} in
        0)
            local kinds='string number integer boolean strings numbers integers booleans'
            # If the line already has the name of a declared setting, offers only its kind.
            while IFS=$'\t' read -r kind name; do
                [[ $name != "${words[cword + 1]:-}" ]] || kinds=$kind
            done < <(_velmorand_register_declared "${catalogues[@]}")
            COMPREPLY=($(compgen -W "$kinds" -- "$cur"))
            return
            ;;
        1) names=properties ;;
        *) return ;;
        esac
        ;;
    get) names=properties ;;
    delete | lock) names=both ;;
    unlock)
        # The locked names, one per line.
        local IFS=$'\n'
        for name in $(velmorand-register "${places[@]}" --scope global get velmorand/locked 2>/dev/null); do
            printf -v name %q "$name"
            [[ $name == "$cur"* ]] && COMPREPLY+=("$name")
        done
        __ltrim_colon_completions "$cur"
        return
        ;;
    list | export) names=groups ;;
    restore)
        ((${#arguments[@]} == 0)) || return
        # Columns: time, name and a colon.
        COMPREPLY=($(compgen -W "$(velmorand-register "${places[@]}" restore 2>/dev/null |
            cut -c 27- | cut -d : -f 1)" -- "$cur"))
        return
        ;;
    *) return ;;
    esac

    local IFS=$'\n' all=() candidates=()
    # Columns: kind, scope, name.
    [[ $declared ]] || all+=($(velmorand-register "${places[@]}" list -r 2>/dev/null | cut -c 18-))
    if [[ $declared || $names != groups ]]; then
        while IFS=$'\t' read -r kind name; do
            # "set" completes only names of the kind on the line.
            [[ $command == set && $kind != "${arguments[0]}" ]] || all+=("$name")
        done < <(_velmorand_register_declared "${catalogues[@]}")
    fi
    for name in "${all[@]}"; do
        [[ $name != *\\* ]] || continue # printed with escapes, so this is not the real name
        [[ $names == groups ]] || candidates+=("$name")
        while [[ $names != properties && $name == */* ]]; do
            name=${name%/*}
            candidates+=("$name")
        done
    done
    COMPREPLY=()
    for name in $(printf '%s\n' "${candidates[@]}" | sort -u); do
        printf -v name %q "$name"
        [[ $name == "$cur"* ]] && COMPREPLY+=("$name")
    done
    __ltrim_colon_completions "$cur"
} && complete -F _velmorand_register velmorand-register
