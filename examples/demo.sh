#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# demo.sh FOLDER: publishes this machine's applications on a private bus, with FOLDER/applistd. First
# FOLDER/applistctl, the tool for people, shows and changes the list; then busctl does, a client that
# knows nothing of this project. Every step is checked.
set -euo pipefail
export LC_ALL=C

bin=$(realpath -- "$1")
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
scratch=$(mktemp -d)
cd "$scratch"
children=()
checks=0

name=org.tessel.Local.Applist
path=/org/tessel/Local/Applist
interface=org.tessel.Local1

cleanup() {
    local child
    for child in "${children[@]}"; do kill "$child" 2> /dev/null || true; done
    wait 2> /dev/null || true
    rm -rf "$scratch"
}
trap cleanup EXIT

fail() {
    printf 'demo: %s\n' "$*" >&2
    exit 1
}

bold='' normal=''
if [ -t 1 ] && [ -z "${NO_COLOR:-}" ]; then
    bold=$'\033[1m' normal=$'\033[0m'
else
    export NO_COLOR=1  # applistctl has a terminal of its own, and would colour
fi
step() { printf '\n%s%s%s\n' "$bold" "$*" "$normal"; }

# ---- The bus, the daemon, and somebody who listens ----------------------------------------------

# Reads lines from descriptor $1 until one contains $2; 10 seconds at most.
await_line() {
    local line
    while IFS= read -r -t 10 -u "$1" line; do
        case $line in *"$2"*) printf '%s\n' "$line" && return ;; esac
    done
    fail "this did not appear: $2"
}

start_bus() {
    mkfifo "$scratch/address"
    dbus-daemon --session --nofork --nopidfile --print-address=1 \
        > "$scratch/address" 2> "$scratch/bus.log" &
    children+=($!)
    exec 3< "$scratch/address"
    read -r -t 10 -u 3 address || fail "the bus did not start: $(cat "$scratch/bus.log")"
}

start_daemon() {
    mkfifo -m 600 "$scratch/log.$1"
    APPLIST_LOG=info "$bin/applistd" --address="$address" 2> "$scratch/log.$1" &
    daemon=$!
    children+=("$daemon")
    exec 4< "$scratch/log.$1"
    publishing=$(await_line 4 Publishing)
    publishing=${publishing##*] }
}

# Stops the daemon, and fails unless it exits soon and with status 0.
stop_daemon() {
    local status=0
    kill "$daemon"
    timeout 10 tail --pid="$daemon" -f /dev/null || fail "the daemon does not stop"
    wait "$daemon" || status=$?
    expect "the daemon's exit status" "$status" 0
}

# A fresh machine has few applications or none; a few of our own are shown as well then.
publish_applications() {
    start_daemon 1
    if [ "$(ctl list | wc -l)" -lt 3 ]; then
        stop_daemon
        mkdir -p "$scratch/data"
        ln -s "$here/applications" "$scratch/data/applications"
        export XDG_DATA_DIRS="$scratch/data:${XDG_DATA_DIRS:-/usr/local/share:/usr/share}"
        echo "    (This machine has few applications, so those in examples/applications are shown too.)"
        start_daemon 2
    fi
    echo "    $publishing"
}

start_listener() {
    mkfifo "$scratch/signals"
    busctl --address="$address" --json=short monitor \
        --match="type='signal',interface='$interface'" > "$scratch/signals" 2> "$scratch/listener" &
    children+=($!)
    exec 5< "$scratch/signals"
    # The monitor is ready once it sees a signal of ours.
    for _ in 1 2 3 4 5 6 7 8 9 10; do
        busctl --address="$address" emit "$path" "$interface" Notification ay 1 0
        read -r -t 1 -u 5 _ && return
    done
    fail "busctl monitor does not work: $(cat "$scratch/listener")"
}

# ---- The tool for people -------------------------------------------------------------------------

ctl() { "$bin/applistctl" --address="$address" "$@"; }

# Replaces this process with applistctl on a terminal of its own: call it in a pipe or with &.
on_terminal() {
    local command
    command=$(printf '%q ' "$bin/applistctl" --address="$address" "$@")
    exec script -qef -E never -c "$command" /dev/null < /dev/null
}

# Runs applistctl as a person would; shows the command and what appears on the terminal.
person() {
    printf '    $ applistctl %s\n' "$*"
    on_terminal "$@" | tr -d '\r' | sed 's/^/    /'
}

start_watch() {
    mkfifo "$scratch/watch"
    on_terminal watch > "$scratch/watch" 2> "$scratch/watching" &
    watch=$!
    children+=("$watch")
    exec 6< "$scratch/watch"
    await_watch watching
}

# Shows what applistctl watch prints, up to the line that contains $1.
await_watch() {
    local line
    while IFS= read -r -t 10 -u 6 line; do
        printf '    watch: %s\n' "${line%$'\r'}"
        case $line in *"$1"*) checks=$((checks + 1)) && return ;; esac
    done
    fail "applistctl watch did not say: $1"
}

# ---- Calls and notifications --------------------------------------------------------------------

# call FUNCTION [TEXT]: makes one call and prints the text of the reply. The function's number comes
# after the payload, lowest byte first.
call() {
    local bytes
    read -ra bytes <<< "$(printf '%b' "${2:-}" | od -An -v -tu1 | tr '\n' ' ')"
    bytes+=($(($1 & 255)) $(($1 >> 8)) 0 0)
    busctl --address="$address" --json=short call "$name" "$path" "$interface" \
        Message ay ${#bytes[@]} "${bytes[@]}" |
        sed 's/.*\[\[*//; s/\].*//' | tr ',' '\n' | awk 'NF { printf "%c", $1 }'
}

list() { call 2002; }
show() { list | awk -F '\t' '{ printf "    %-28s %s\n", $1, $2 }'; }
nth_id() { list | sed -n "$1p" | cut -f 2; }
nth_item() { list | sed -n "$1p"; }

# await_notification NUMBER: prints what arrives, up to the notification NUMBER.
await_notification() {
    local line number
    while read -r -t 10 -u 5 line; do
        number=$(sed -n 's/.*"data":\[\[\([0-9]*\),.*/\1/p' <<< "$line")
        case $number in
            1) echo "    <- notification: the items changed" ;;
            2) echo "    <- notification: the selection changed" ;;
            3) echo "    <- notification: an item was clicked" ;;
            4) echo "    <- notification: the service is there" ;;
        esac
        [ "$number" != "$1" ] || {
            checks=$((checks + 1))
            return
        }
    done
    fail "notification $1 did not arrive"
}

expect() {
    [ "$2" = "$3" ] || fail "$1: expected \"$3\", got \"$2\""
    checks=$((checks + 1))
}

# ---- The demonstration --------------------------------------------------------------------------

step "applistd publishes this machine's applications on a private bus"
start_bus
publish_applications

step "A person looks at the list, and starts to watch it"
person list
count=$(ctl list | wc -l)
[ "$count" -ge 2 ] || fail "only $count applications are published"
first=$(ctl list | head -n 1 | cut -f 2)
start_watch

step "... adds an item and selects it"
person add Radio radio
await_watch radio
person select radio
await_watch radio
expect "the selection" "$(ctl selection | cut -f 2)" radio

step "... imports two, replaces one, and removes what was added"
printf 'Maps\tmaps\nPhone\tphone\n' > apps.txt
person import apps.txt
await_watch phone
person replace maps Atlas atlas
await_watch atlas
person select "$first"
person remove phone
await_watch removed
person remove radio
person remove atlas
expect "the list's length" "$(ctl list | wc -l)" "$count"
kill "$watch"
start_listener

step "busctl, which knows nothing of applist, lists what is published"
show
expect "the list's length" "$(list | wc -l)" "$count"

step "It connects, and the service announces itself"
busctl --address="$address" call "$name" "$path" "$interface" Connect
await_notification 4

step "It selects the second application"
call 2000 "$(nth_item 2 | sed 's/\\/\\\\/g')\n"
await_notification 2
expect "the selection" "$(call 2001)" "$(nth_item 2)"
call 2001 | awk -F '\t' '{ printf "    selected: %s\n", $1 }'

step "It adds items of its own: one, then two at once"
call 2005 'Radio\tradio\n'
await_notification 1
call 2004 'Maps\tmaps\nPhone\tphone\n'
await_notification 1
expect "the list's length" "$(list | wc -l)" "$((count + 3))"
show | tail -n 3

step "It replaces one"
call 2008 'Maps\tmaps\nAtlas\tatlas\n'
await_notification 1
expect "the replaced item" "$(nth_id $((count + 2)))" atlas
show | tail -n 3

step "It removes one"
call 2007 'Radio\tradio\n'
await_notification 1
expect "the list's length" "$(list | wc -l)" "$((count + 2))"
show | tail -n 2

step "It removes all items"
call 2003
await_notification 1
expect "the list" "$(list)" ""
echo "    the list is empty"

step "The daemon stops when told to"
stop_daemon

printf '\ndemo: %d checks passed: applistctl and busctl each listed, selected, added, replaced, removed\n' \
    "$checks"
