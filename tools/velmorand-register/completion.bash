# SPDX-License-Identifier: Apache-2.0
#
# Completion for bash: commands, options, kinds, files, and the names of the settings in the directories that the
# command line gives.
_velmorand_register() {
    local cur prev words cword
    _init_completion -n := || return
    local -
    set -f # names are not patterns

    local places=() command='' command_at=0 i
    for ((i = 1; i < cword; i++)); do
        case ${words[i]} in
        --user | --global | --scope)
            places+=("${words[i]}" "${words[i + 1]/#\~/$HOME}")
            ((i++))
            ;;
        --wait) ((i++)) ;;
        --user=* | --global=* | --scope=*) places+=("${words[i]}") ;;
        -*) ;;
        *) [[ $command ]] || { command=${words[i]} command_at=$i; } ;;
        esac
    done

    case $prev in
    --user | --global)
        _filedir -d
        return
        ;;
    --scope)
        COMPREPLY=($(compgen -W 'user global temporary' -- "$cur"))
        return
        ;;
    --wait) return ;;
    esac

    local options='--user --global --scope --wait --help'
    case $command in
    '') options+=' --version' ;;
    list) options+=' --recursive --long' ;;
    import) options+=' --replace' ;;
    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
        return
    fi

    local names=''
    case $command in
    '')
        COMPREPLY=($(compgen -W 'list get set delete export import diff check restore watch' -- "$cur"))
        return
        ;;
    diff | check | import)
        _filedir
        return
        ;;
    set)
        if ((cword == command_at + 1)); then
            COMPREPLY=($(compgen -W 'string number integer boolean strings numbers integers booleans' -- "$cur"))
            return
        fi
        ((cword == command_at + 2)) || return
        names=properties
        ;;
    get) names=properties ;;
    delete) names=both ;;
    list | export) names=groups ;;
    restore)
        ((cword == command_at + 1)) || return
        # A line of the list: the time, the name, a colon.
        COMPREPLY=($(compgen -W "$(velmorand-register "${places[@]}" restore 2>/dev/null |
            cut -c 22- | cut -d : -f 1)" -- "$cur"))
        return
        ;;
    *) return ;;
    esac

    # A line of the list: the kind, the scope, the name, in columns.
    local IFS=$'\n' name candidates=()
    for name in $(velmorand-register "${places[@]}" list -r 2>/dev/null | cut -c 18-); do
        [[ $name != *\\* ]] || continue # shown with escapes, so this is not its name
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
