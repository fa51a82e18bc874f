# Completion of havrick's command line for bash, from 3.2 on.

# The sessions declared now. Only plain ids are offered: compgen would evaluate a dollar sign or a backquote.
_havrick_session_ids() {
    "$1" now --json 2>/dev/null | grep -o '"sessionId":"[A-Za-z0-9._-]*"' | sed 's/.*:"//; s/"$//'
}

_havrick() {
    local program=$1 word=$2 command=${COMP_WORDS[1]:-} choices=""
    COMPREPLY=()
    # Offer nothing where only the user knows the value: after --every and the like, and after the colon of pid:, cmd: or port:.
    # Bash splits a command line at colons (COMP_WORDBREAKS), so the colon is a word of its own here.
    case "${COMP_WORDS[COMP_CWORD - 1]} ${COMP_WORDS[COMP_CWORD]}" in
        '--every '* | '--keep '* | '--older-than '* | '--since '* | '--until '* | '--account '* | '--limit '*) return ;;
        ': '* | *' :') return ;;
        '--kind '*)
            COMPREPLY=($(compgen -W "seen renamed restarted reincarnated died revived undeclared returned left
                send_prepared occupied vacated reoccupied" -- "$word"))
            return
            ;;
    esac
    if [ "$COMP_CWORD" -eq 1 ]; then
        choices="now accounts who send resolve record history watch --help --version"
    elif [ "$command" = watch ] && [ "$COMP_CWORD" -eq 2 ]; then
        choices="add remove list scan --help"
    else
        [ "$command" = watch ] && command="watch ${COMP_WORDS[2]}"
        case $command:$word in
            now: | now:-* | accounts: | accounts:-*) choices="--json --help" ;;
            record: | record:-*) choices="--every --keep --json --help" ;;
            'history:'-*)
                choices="--since --until --account --kind --limit --full --utc --json --help"
                [[ " ${COMP_WORDS[*]} " == *" prune "* ]] && choices="--older-than --vacuum --help"
                ;;
            history:*)
                [ "$COMP_CWORD" -eq 2 ] && choices="prune $(_havrick_session_ids "$program")"
                ;;
            'watch scan:' | 'watch scan:'-*) choices="--record --every --help" ;;
            'watch add:'-* | 'watch remove:'-*) choices="--force --help" ;;
            *:-*) choices="--help" ;;
            who:* | send:*)
                [ "$COMP_CWORD" -eq 2 ] && choices=$(_havrick_session_ids "$program")
                ;;
            'watch add:'*)
                choices="pid: cmd: port:"
                compopt -o nospace 2>/dev/null
                ;;
        esac
    fi
    COMPREPLY=($(compgen -W "$choices" -- "$word"))
}

complete -F _havrick havrick
