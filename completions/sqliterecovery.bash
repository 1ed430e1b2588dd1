# Completion of sqliterecovery's command line for bash. It needs no other completion functions.

_sqliterecovery()
{
    local types="contacts messages call-history calendar notes bookmarks whatsapp safari-history
        ios9-notes wechat"
    local log_types="contacts messages calendar bookmarks"
    local current=${COMP_WORDS[COMP_CWORD]}
    local previous=${COMP_WORDS[COMP_CWORD - 1]}
    local words=() i
    COMPREPLY=()

    # bash takes "--format=html" for three words.
    if [[ $current == = ]]; then
        current=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    case $previous in
    --format)
        mapfile -t COMPREPLY < <(compgen -W "text html csv jsonl json" -- "$current")
        return
        ;;
    --output)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        compopt -o filenames 2>/dev/null
        return
        ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "--format --output --force --help --version" -- "$current")
        return
    fi

    # The words in front of this one that are neither options nor their values.
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
        --format | --output)
            [[ ${COMP_WORDS[i + 1]} == = ]] && ((++i))
            ((++i))
            ;;
        -*) ;;
        *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done

    case ${#words[@]},${words[0]} in
    0,*) mapfile -t COMPREPLY < <(compgen -W "backup scan wal" -- "$current") ;;
    1,scan) mapfile -t COMPREPLY < <(compgen -W "$types" -- "$current") ;;
    1,wal) mapfile -t COMPREPLY < <(compgen -W "$log_types" -- "$current") ;;
    1,backup)
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        compopt -o filenames 2>/dev/null
        ;;
    2,scan | 2,wal | 3,wal)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        compopt -o filenames 2>/dev/null
        ;;
    esac
}

complete -F _sqliterecovery sqliterecovery
