# Completion of havrick's command line for bash, from 3.2 on.

# Offers those lines of the input that begin with $word. compgen -W would evaluate a dollar sign or a backquote, and names
# are whatever sessions declare. Within an open quote a candidate stands as it is, elsewhere with backslashes.
_havrick_offer_lines() {
    local line
    while IFS= read -r line; do
        case $line in "$word"?* | "${word:-.}") line=${line#"$typed"} ;; *) continue ;; esac
        [ -n "$quote" ] || printf -v line %q "$line"
        COMPREPLY[${#COMPREPLY[@]}]=$line
    done
}

_havrick_offer() { _havrick_offer_lines <<<"$(printf '%s\n' $1)"; }

# The values of a member in what havrick prints as JSON; those with escapes, or control characters, are left out.
_havrick_values() {
    local member=$1
    shift
    "$program" "$@" --json 2>/dev/null | grep -o "\"$member\":\"[^\"\\\\]*\"" | sed 's/^"[^"]*":"//; s/"$//' | LC_ALL=C sort -u
}

_havrick_offer_sessions() {
    _havrick_offer_lines <<<"$(_havrick_values name list)"
    _havrick_offer_lines <<<"$("$program" list -q 2>/dev/null)"
}

# The value of an option. Returns 1 where $1 is an option without one.
_havrick_offer_value() {
    case $1 in
        --state) _havrick_offer "alive stale unknown zombie" ;;
        --sort) _havrick_offer "state name account status pid age directory" ;;
        --kind) _havrick_offer "seen renamed restarted reincarnated died revived undeclared returned left send_prepared
            occupied vacated reoccupied" ;;
        --account) _havrick_offer_lines <<<"$(_havrick_values label accounts)" ;;
        --name) _havrick_offer_lines <<<"$(_havrick_values name list)" ;;
        --cwd)
            local IFS=$'\n'
            COMPREPLY=($(compgen -d -- "$word"))
            compopt -o filenames 2>/dev/null
            ;;
        --every | --keep | --older-than | --since | --until | --limit) ;; # only the user knows these
        *) return 1 ;;
    esac
}

_havrick_offer_options() {
    case $1 in
        now | accounts | who | send | resolve | doctor | 'watch list') _havrick_offer "--json --help" ;;
        list | ls) _havrick_offer "--account --state --name --cwd --sort --reverse --wide --no-header -q --json --every --help" ;;
        top) _havrick_offer "--every --help" ;;
        is-alive) _havrick_offer "-q --json --help" ;;
        record) _havrick_offer "--every --keep --json --help" ;;
        history) _havrick_offer "--since --until --account --kind --limit --full --utc --json --help" ;;
        'history prune') _havrick_offer "--older-than --vacuum --help" ;;
        'watch add' | 'watch remove') _havrick_offer "--force --help" ;;
        'watch scan') _havrick_offer "--record --full --json --every --help" ;;
        *) _havrick_offer "--help" ;;
    esac
}

# The words of a command that are no options; $2 tells how many stand there already.
_havrick_offer_words() {
    case "$1 $2" in
        'who 0' | 'send 0' | 'is-alive 0') _havrick_offer_sessions ;;
        'resolve 0') _havrick_offer_lines <<<"$(_havrick_values name list)" ;;
        'history 0')
            _havrick_offer prune
            _havrick_offer_sessions
            _havrick_offer_lines <<<"$(_havrick_values key watch list)"
            ;;
        'help 0') _havrick_offer "$commands" ;;
        'watch 0') _havrick_offer "add remove list scan" ;;
        'watch add '*)
            [ -n "$typed" ] || _havrick_offer "pid: cmd: port:"
            compopt -o nospace 2>/dev/null
            ;;
        'watch remove '*) _havrick_offer_lines <<<"$(_havrick_values key watch list)" ;;
    esac
    # What takes no further word can still take an option.
    [ ${#COMPREPLY[@]} -gt 0 ] || [ -n "$typed$word" ] || _havrick_offer_options "$1"
}

_havrick() {
    local program=$1 word=$2 typed="" quote="" command="" option index=1 count=0 last=$COMP_CWORD
    local commands="now list ls top is-alive accounts who send resolve record history watch doctor help"
    COMPREPLY=()

    # Bash splits at colons and equals signs (COMP_WORDBREAKS) and replaces what follows the last of them: $word becomes the
    # whole word again, and $typed the part of it that stays.
    case ${COMP_WORDS[COMP_CWORD]} in
        [\"\']*) quote=yes ;;
        : | =) word="" last=$((last + 1)) ;;
        *) word=${word//\\/} ;;
    esac
    while [ "$last" -gt 2 ] && [ "${COMP_WORDS[last - 1]}" = : ]; do
        typed=${COMP_WORDS[last - 2]}:$typed
        last=$((last - 2))
    done
    typed=${typed//\\/}
    word=$typed$word
    option=${COMP_WORDS[last - 1]}
    [ "$option" = = ] && option=${COMP_WORDS[last - 2]}

    if [ "$COMP_CWORD" -eq 1 ]; then
        _havrick_offer "$commands --help --version -V"
        return
    fi
    _havrick_offer_value "$option" && return

    command=${COMP_WORDS[1]}
    while [ $((index += 1)) -lt "$last" ]; do
        case $command:${COMP_WORDS[index]} in
            watch:add | watch:remove | watch:list | watch:scan | history:prune) command="$command ${COMP_WORDS[index]}" ;;
            *:--every | *:--keep | *:--older-than | *:--since | *:--until | *:--limit | *:--account | *:--state | *:--name | \
                *:--cwd | *:--sort | *:--kind) index=$((index + 1)) ;;
            *:-*) ;;
            *) count=$((count + 1)) ;;
        esac
    done
    case $word in
        -*) _havrick_offer_options "$command" ;;
        *) _havrick_offer_words "$command" "$count" ;;
    esac
}

complete -F _havrick havrick
