# Completion of havrick's command line for fish.

# The havrick that is being completed, which need not be the one of the PATH.
function __havrick
    set -l words (commandline -opc)
    command $words[1] $argv 2>/dev/null
end

# The values of a member in what havrick prints as JSON; those with escapes, or control characters, are left out.
function __havrick_values --argument-names member
    __havrick $argv[2..-1] --json | string match -ar "\"$member\":\"[^\"\\\\]*\"" | string replace -r '^"[^"]*":"(.*)"$' '$1' | sort -u
end

# The declared sessions: names, then ids.
function __havrick_sessions
    __havrick_values name list
    __havrick list -q
end

# Whether the command line's words that are no options, up to the cursor, are these.
function __havrick_after
    set -l words (commandline -opc)
    set words (string match -v -- '-*' $words[2..-1])
    test "$words" = "$argv"
end

# Whether this is the command, whatever else stands there.
function __havrick_of
    set -l words (commandline -opc)
    contains -- "$words[2]" $argv
end

function __havrick_of_watch
    set -l words (commandline -opc)
    test "$words[2]" = watch; and contains -- "$words[3]" $argv
end

complete -c havrick -f
complete -c havrick -s h -l help -d 'Print the usage'
complete -c havrick -n __fish_is_first_token -s V -l version -d 'Print the version'

for line in 'now=The text that an agent gets: every session, four to six lines each' \
        'list=The declared sessions, one line each' \
        'ls=The declared sessions, one line each' \
        'top=The same list, live' \
        'is-alive=Whether a session is alive, by the exit status' \
        'accounts=The accounts on this machine, and how each was found' \
        'who=One session: its identity, names and events' \
        'send=Prepare a message to a session: check it, give its exact address' \
        'resolve=Which session a name or short address stands for' \
        'record=Write what is running now into the history' \
        'history=What the history knows, sessions long gone included' \
        'watch=Watch processes, commands and TCP ports' \
        'doctor=What is wrong here, and what to do about it' \
        'help=What the commands are, or what one of them does'
    set -l parts (string split -m 1 = $line)
    complete -c havrick -n '__havrick_after; or __havrick_after help' -a $parts[1] -d $parts[2]
end

for command in who send is-alive history
    complete -c havrick -n "__havrick_after $command" -a '(__havrick_sessions)'
end
complete -c havrick -n '__havrick_after resolve' -a '(__havrick_values name list)'

complete -c havrick -n '__havrick_of now list ls is-alive accounts who send resolve record history doctor' -l json -d 'Print JSON'
complete -c havrick -n '__havrick_of list ls top record' -l every -x -d 'Go on, with a pause of that length (30, 500ms, 5m)'
complete -c havrick -n '__havrick_of list ls history' -l account -x -a '(__havrick_values label accounts)' -d 'Only that account'

complete -c havrick -n '__havrick_of list ls' -l state -x -a 'alive stale unknown zombie' -d 'Only those in that state'
complete -c havrick -n '__havrick_of list ls' -l name -x -a '(__havrick_values name list)' -d 'Only those whose name fits a pattern'
complete -c havrick -n '__havrick_of list ls' -l cwd -x -a '(__fish_complete_directories)' -d 'Only those in that directory, or below it'
complete -c havrick -n '__havrick_of list ls' -l sort -x -a 'state name account status pid age directory' -d 'In that order'
complete -c havrick -n '__havrick_of list ls' -l reverse -d 'The last one first'
complete -c havrick -n '__havrick_of list ls' -l wide -d 'With ids and start times, and nothing cut'
complete -c havrick -n '__havrick_of list ls' -l no-header -d 'Without the line of titles'
complete -c havrick -n '__havrick_of list ls' -s q -d 'The ids alone'
complete -c havrick -n '__havrick_of is-alive' -s q -d 'Print nothing'
complete -c havrick -n '__havrick_of record' -l keep -x -d 'Once a day remove observations that are older (90d)'

complete -c havrick -n '__havrick_after history' -a '(__havrick_values key watch list)' -d 'Watched target'
complete -c havrick -n '__havrick_after history' -a prune -d 'Remove old observations'
complete -c havrick -n '__havrick_after history' -l since -x -d 'From then on (2h, 7d, 2026-11-01)'
complete -c havrick -n '__havrick_after history' -l until -x -d 'Up to then'
complete -c havrick -n '__havrick_after history' -l kind -x -d 'Only with such an event' \
    -a 'seen renamed restarted reincarnated died revived undeclared returned left send_prepared occupied vacated reoccupied'
complete -c havrick -n '__havrick_after history' -l limit -x -d 'The latest so many'
complete -c havrick -n '__havrick_after history' -l full -d 'Whole ids, and observations'
complete -c havrick -n '__havrick_after history' -l utc -d 'Times in UTC'
complete -c havrick -n '__havrick_after history prune' -l older-than -x -d 'Those made longer ago (90d)'
complete -c havrick -n '__havrick_after history prune' -l vacuum -d 'Give the space back to the file system'

complete -c havrick -n '__havrick_after watch' -a add -d 'Add targets to the watch list'
complete -c havrick -n '__havrick_after watch' -a remove -d 'Remove targets from the watch list'
complete -c havrick -n '__havrick_after watch' -a list -d 'Print the watch list'
complete -c havrick -n '__havrick_after watch' -a scan -d 'Look at every target now'
complete -c havrick -n '__havrick_of_watch add' -a 'pid: cmd: port:' -d Target
complete -c havrick -n '__havrick_of_watch remove' -a '(__havrick_values key watch list)' -d 'Watched target'
complete -c havrick -n '__havrick_of_watch add remove' -l force -d 'Write over a damaged list'
complete -c havrick -n '__havrick_of_watch list scan' -l json -d 'Print JSON'
complete -c havrick -n '__havrick_of_watch scan' -l every -x -d 'Go on, with a pause of that length (30, 500ms, 5m)'
complete -c havrick -n '__havrick_of_watch scan' -l record -d 'Write what is seen into the history'
complete -c havrick -n '__havrick_of_watch scan' -l full -d 'Print everything in each round, not only what is new'
