# SPDX-License-Identifier: MIT

# Completion of applistctl(1) in fish.
#
# Ids are bytes that somebody else chose. fish quotes what it inserts, and nothing evaluates them or
# the words on the line.

# Prints the words before the cursor that are of one kind: `bus`, the options that say where the
# list is; `given`, the command and its own words; `literal`, the -- after which all are such.
function __applistctl_typed --argument-names kind
    set -l option
    set -l literal
    set -l words (commandline -opc)
    set -e words[1]
    for word in $words
        if test -n "$option"
            if test $kind = bus; and contains -- $option --address --host -H
                printf '%s\n' $option $word
            end
            set option
        else if test -n "$literal"; or not string match -qr -- '^-.' $word
            test $kind = given; and printf '%s\n' $word
        else if test "$word" = --
            set literal 1
            test $kind = literal; and echo literal
        else if contains -- $word --address --host -H --timeout --count --item
            set option $word
        else if string match -qr -- '^(--(session|user|system|(address|host)=.*)|-H.+)$' $word
            test $kind = bus; and printf '%s\n' $word
        end
    end
end

# Whether the command is one of those named, and as many words of its own have been given.
function __applistctl_at --argument-names count
    set -l given (__applistctl_typed given)
    test (count $given) -eq (math $count + 1); and contains -- $given[1] $argv[2..]
end

function __applistctl_command
    set -l given (__applistctl_typed given)
    test (count $given) -gt 0; and contains -- $given[1] $argv
end

function __applistctl_no_command
    test (count (__applistctl_typed given)) -eq 0
end

# Prints the ids of the list and their names, each with a NUL after it.
function __applistctl_ids
    set -l bus (__applistctl_typed bus)
    set -l literal (__applistctl_typed literal)
    SSH_ASKPASS=false SSH_ASKPASS_REQUIRE=force command applistctl $bus --no-start --timeout=2 \
        list 2>/dev/null </dev/null | while read -l --delimiter \t name id
        # In a line, backslashes stand before t, n and \ alone. What fish takes ends at a TAB.
        string match -qr -- '(?<!\\\\)(\\\\\\\\)*\\\\t' $id; and continue
        # What begins with a dash is an id only after --.
        string match -q -- '-*' $id; and test -z "$literal"; and continue
        printf '%b\t%s\0' $id (string replace -ra '[[:cntrl:]]' '?' -- $name)
    end
end

complete -c applistctl -f
complete -c applistctl -s h -l help -d 'Show the help'
complete -c applistctl -l version -d 'Show the version'
complete -c applistctl -s j -d 'Print JSON'
complete -c applistctl -l json -a 'short pretty' -d 'Print JSON'
complete -c applistctl -l session -d 'Use the session bus'
complete -c applistctl -l user -d 'Use the session bus'
complete -c applistctl -l system -d 'Use the system bus'
complete -c applistctl -l address -x -d 'Use the bus at this address'
complete -c applistctl -s H -l host -x -a '(__fish_complete_user_at_hosts)' \
    -d 'Use a bus of another machine'
complete -c applistctl -l timeout -x -d 'How long to wait for an answer, in seconds'
complete -c applistctl -l wait -d 'Wait for the service'
complete -c applistctl -l no-start -d 'Do not let the bus start the service'
complete -c applistctl -l verbose -d 'Log every call and event'

set -l at '__applistctl_no_command; or __applistctl_at 0 help'
complete -c applistctl -n $at -a list -d 'Show all items'
complete -c applistctl -n $at -a selection -d 'Show the selected item'
complete -c applistctl -n $at -a select -d 'Select an item'
complete -c applistctl -n $at -a add -d 'Add an item at the end'
complete -c applistctl -n $at -a import -d 'Add all items in a file at once'
complete -c applistctl -n $at -a sync -d 'Make what partners added what a file says'
complete -c applistctl -n $at -a replace -d 'Replace an item that a partner added'
complete -c applistctl -n $at -a remove -d 'Remove an item that a partner added'
complete -c applistctl -n $at -a clear -d 'Remove all items'
complete -c applistctl -n $at -a watch -d 'Show what happens to the list'
complete -c applistctl -n $at -a status -d 'Show which service there is, and its state'
complete -c applistctl -n $at -a wait -d 'Wait until the list can be read'
complete -c applistctl -n $at -a call -d 'Call a function of the protocol'
complete -c applistctl -n __applistctl_no_command -a help -d 'Show the help of a command'

complete -c applistctl -n '__applistctl_at 0 select remove replace' \
    -a '(__applistctl_ids | string split0)'
complete -c applistctl -n '__applistctl_at 0 import sync' -F
complete -c applistctl -n '__applistctl_at 0 call' -a 'SetSelection GetSelection GetAllItems
    RemoveAllItems AddItems AddItemAtEnd SetClicked RemoveItem ModifyItem'

complete -c applistctl -n '__applistctl_command list' -l selected \
    -d 'Mark the selected item, in a pipe too'
complete -c applistctl -n '__applistctl_command selection' -l follow \
    -d 'Show it again each time that it changes'
complete -c applistctl -n '__applistctl_command watch' -l all \
    -d 'Begin with the items that there are'
complete -c applistctl -n '__applistctl_command selection watch' -l count -x \
    -d 'Stop after this many lines'
complete -c applistctl -n '__applistctl_command add' -l again \
    -d 'Also when an item has this id already'
complete -c applistctl -n '__applistctl_command import' -l new \
    -d 'Skip items whose ids are in the list already'
complete -c applistctl -n '__applistctl_command sync' -s n -l dry-run \
    -d 'Only show what would be asked for'
complete -c applistctl -n '__applistctl_command sync' -s y -l yes \
    -d 'Take a file without items, which removes all'
complete -c applistctl -n '__applistctl_command clear' -s y -l yes -d 'Do not ask first'
complete -c applistctl -n '__applistctl_command wait' -l item -x \
    -a '(__applistctl_ids | string split0)' -d 'Until an item has this id, too'
complete -c applistctl -n '__applistctl_command call' -l raw \
    -d 'Send also what the function does not take'
