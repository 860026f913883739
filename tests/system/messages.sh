# shellcheck shell=bash
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# The program from outside: started on demand, told what to do over the message bus, and a disc at
# the end. Expects a display and a session bus of its own. Arguments: larkspin, larkspin-send,
# the description of the interface.
set -euo pipefail
# shellcheck source=tests/system/lib.sh
source "$(dirname "$0")/lib.sh"

larkspin=$1
send=$2
description=$3
work=$(mktemp -d)
export XDG_RUNTIME_DIR=$work/runtime XDG_CONFIG_HOME=$work/config
export LARKSPIN_VIRTUAL_DRIVE=$work/disc:$work/next LARKSPIN_PROGRESS=1
mkdir -m 700 "$XDG_RUNTIME_DIR"

finish() {
    local code=$?
    "$send" quit || true
    ((code == 0)) || cat "$work"/{output,said} >&2 || true
    rm -rf "$work"
    exit "$code"
}
trap finish EXIT

# Without a display no box comes up.
blind=(env -u DISPLAY -u WAYLAND_DISPLAY)

# expect CODE COMMAND...: runs larkspin-send, which must end with this code.
expect() {
    local wanted=$1 got=0 how=()
    shift
    ((wanted == 0)) || how=("${blind[@]}")
    "${how[@]}" "$send" "$@" >>"$work/output" 2>&1 || got=$?
    ((got == wanted)) || fail "larkspin-send $* ended with $got, not $wanted"
}

# message NUMBER [BYTE...]: the result of a message of the table.
message() {
    local number=$1 bytes
    shift
    bytes=$(IFS=,; echo "$*")
    dbus-send --session --print-reply=literal --dest=org.larkspin.Larkspin \
        /org/larkspin/Larkspin org.larkspin.Larkspin1.Message \
        "uint32:$number" "array:byte:$bytes" | awk '{ print $2 }'
}

# expect_message RESULT NUMBER [BYTE...]
expect_message() {
    local wanted=$1 got
    shift
    got=$(message "$@")
    [[ $got == "$wanted" ]] || fail "message $* gave $got, not $wanted"
}

not_running() {
    "$send" query | grep -qx 'Larkspin does not run.'
}

status_is() { # FIRST-LINE LAST-LINE
    [[ $("$send" status) == "$1"*"$2" ]]
}

# --- words that never start the program ---
not_running || fail 'query says something else'
expect 0 quit
expect 2 frobnicate
expect 2 add
expect 2 write-data now
expect 3 add "$work/missing"
expect 3 burn "$work/missing"
expect 0 list
expect 0 status
expect 4 wait
not_running || fail 'a wrong word started the program'

# --- what keeps the program from starting is told, with what to do ---
told() { # CODE WORDS COMMAND...
    local wanted=$1 words=$2 got=0 text
    shift 2
    text=$("$@" 2>&1) || got=$?
    [[ $got == "$wanted" && $text == *"$words"* ]] || fail "$*: $got, '$text'"
}
echo 'plain' >"$work/plain.txt"
told 4 'is DISPLAY or WAYLAND_DISPLAY set?' "${blind[@]}" "$send" add "$work/plain.txt"
told 253 'please start Larkspin on a desktop' "${blind[@]}" "$larkspin"
told 4 'is DBUS_SESSION_BUS_ADDRESS set?' \
    "${blind[@]}" DBUS_SESSION_BUS_ADDRESS=unix:path=/none "$send" status
not_running || fail 'it runs all the same'

# --- nobody is left without a word: boxes, and a window ---
window_is_up() {
    xdotool search --onlyvisible --name '^Larkspin' >/dev/null
}
no_window() {
    ! window_is_up
}
press_return_until() {
    xdotool key Return
    "$@"
}
# box CODE WORDS COMMAND...: starts it without a terminal, and presses OK.
box() {
    local wanted=$1 words=$2 got=0
    shift 2
    "$@" </dev/null >"$work/said" 2>&1 &
    within 20 window_is_up
    within 20 press_return_until no_window
    wait $! || got=$?
    [[ $got == "$wanted" ]] || fail "$*: $got"
    grep -q "$words" "$work/said" || fail "$*: '$(<"$work/said")'"
}
box 3 'cannot find' "$send" add "$work/missing"
compgen -G '/sys/block/sr*' >/dev/null ||
    box 0 'No optical drives found in your system.' env -u LARKSPIN_VIRTUAL_DRIVE "$larkspin"
DBUS_SESSION_BUS_ADDRESS=unix:path=/none "$larkspin" >>"$work/output" 2>&1 &
within 20 window_is_up
kill $!
wait $! || (($? == 143)) || fail "without a bus: $?" # it may come before it is listened to
within 20 no_window

# --- a bus that starts the program, and does not know of the display that has come since ---
mkdir -p "$work/share/dbus-1/services"
printf '[D-BUS Service]\nName=org.larkspin.Larkspin\nExec=%s\n' "$larkspin" \
    >"$work/share/dbus-1/services/org.larkspin.Larkspin.service"
# shellcheck disable=SC2016 # the inner shell expands them
XDG_DATA_HOME=$work/share "${blind[@]}" dbus-run-session -- env DISPLAY="$DISPLAY" sh -c \
    '"$0" add "$1" && "$0" list && "$0" quit' "$send" "$work/plain.txt" >"$work/late-display" 2>&1 ||
    fail "a display that came late was not found: $(<"$work/late-display")"
grep -qx "$work/plain.txt" "$work/late-display" || fail 'the path did not come to the late display'

# --- two at once, when the program has to be started first: it starts once, and both are heard ---
mkdir "$work/source"
echo 'early' >"$work/early.txt"
"$send" add "$work/plain.txt" >>"$work/output" 2>&1 &
first=$!
expect 0 add "$work/early.txt"
wait "$first" || fail 'the other of two adds at once was refused'
expect_message 2 1123 0

"$send" quit
within 30 not_running

# --- one that comes while the program is on its way out waits for that, and starts it anew ---
mkdir "$work/bin"
cp "$send" "$work/bin/larkspin-send"
printf '#!/bin/sh\necho started >>"%s"\nexec "%s"\n' "$work/starts" "$larkspin" >"$work/bin/larkspin"
chmod +x "$work/bin/larkspin"
started_twice() {
    [[ -f $work/starts ]] && (($(wc -l <"$work/starts") >= 2))
}
exec 9>"$XDG_RUNTIME_DIR/Larkspin-Main-Module-Mutex"
flock 9 # as the instance does that goes
"$work/bin/larkspin-send" add "$work/early.txt" >>"$work/output" 2>&1 9>&- &
late=$!
within 20 started_twice
exec 9>&-
wait "$late" || fail 'an add while the program ended was refused'
expect_message 2 1123 0
"$send" quit
within 30 not_running

# --- who starts it by a pipe sees the end of that ---
: "$(timeout 60 "$send" add "$work/early.txt" 2>&1 3>&1)" || fail 'the pipe stays open'
"$send" quit
within 30 not_running

# --- nobody has to answer a dialog before the program can end, and no disc is written then ---
ask_to_write() {
    expect 0 add "$work/early.txt"
    expect 0 write-data
    within 20 window_is_up
}
ask_to_write
"$send" wait >>"$work/output" 2>&1 &
waiting=$!
sleep 0.5
"$send" quit
within 30 not_running
code=0
wait "$waiting" || code=$?
((code == 6)) || fail "wait ended with $code for a job that was cancelled"
ask_to_write
kill "$(dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus / \
    org.freedesktop.DBus.GetConnectionUnixProcessID string:org.larkspin.Larkspin |
    awk '{ print $2 }')"
within 30 not_running
[[ ! -s $work/disc/track-01.iso ]] || fail 'a disc was written that nobody asked for'

# --- a disc that is being written is finished, whether the user quits or nobody reads the output
# any more; what is added meanwhile goes to the next instance ---
is_running() {
    "$send" query | grep -q '^queue: '
}
press_return_until_it_writes() {
    xdotool key Return
    [[ -s $work/quit/track-01.iso ]]
}
flock "$XDG_RUNTIME_DIR/Larkspin-Main-Module-Mutex" true # the instance before has gone altogether
LARKSPIN_VIRTUAL_DRIVE=$work/quit LARKSPIN_VIRTUAL_SPEED=0.05 "$larkspin" 2>&1 | true &
within 20 is_running
head -c 2000000 /dev/urandom >"$work/large.bin"
expect 0 add "$work/large.bin"
expect 0 write-data
within 60 press_return_until_it_writes
"$send" quit
expect 0 add "$work/plain.txt"
expect_message 2 1123 0
mkdir "$work/finished"
bsdtar -xf "$work/quit/track-01.iso" -C "$work/finished"
cmp "$work/large.bin" "$work/finished/large.bin"
"$send" quit
within 30 not_running

# --- paths of any bytes, given relative and through a link ---
odd=$'b\xff\xfe \xc3\x9c\n.txt'
head -c 70000 /dev/urandom >"$work/source/$odd"
ln -s plain.txt "$work/link"
(cd "$work/source" && "$send" add "./$odd" .) >>"$work/output" 2>&1 || fail 'add was refused'
expect 0 add "file://$work/source/b%FF%FE%20%C3%9C%0A.txt"
expect 3 add "file://elsewhere$work/source/plain.txt"
expect 0 add "$work/link"

# --- a second instance shows no window and goes ---
told 254 'Larkspin runs already.' "$larkspin"

# --- the description tells what there is ---
interface() {
    sed -n '/<interface name="org.larkspin.Larkspin1">/,/<\/interface>/p' "$1" |
        sed -e '/<annotation /d' -e '/<!--.*-->/d' -e '/<!--/,/-->/d' -e 's/^ *//'
}
dbus-send --session --print-reply=literal --dest=org.larkspin.Larkspin /org/larkspin/Larkspin \
    org.freedesktop.DBus.Introspectable.Introspect >"$work/introspected"
diff <(interface "$work/introspected") <(interface "$description") ||
    fail 'the interface is not as described'

# --- the queue, to the byte ---
"$send" list -0 | cmp - <(printf '%s\0' "$work/source/$odd" "$work/source" "$work/link") ||
    fail 'the queue is not what was added'
expect 2 list -x

# --- the table by number ---
expect_message 2 1123 0
expect_message 1 1125 0
expect_message 0 4711 0
expect_message -1 1131 0
expect 1 erase sr7
expect_message 1 1132 0
expect_message 1 1123 0
expect_message -1 1127 0
expect_message -1 1129 0
expect_message 1 74 47 120 # "/x"
expect_message 1 1126 0
expect_message 2 1123 0
expect_message 1 1132 0
expect 1 write-audio

# --- a disc with what was added; what comes meanwhile keeps the program, and goes to the next ---
expect 0 add "$work/source/$odd" "$work/link"
expect 0 write-data
"$send" query | grep -qx 'job: runs' || fail 'the job does not run'
within 20 status_is 'job: data' 'now: Waiting for an answer'
wait_code=0
"$send" wait >>"$work/output" 2>&1 &
waiting=$!
expect 1 write-data
expect 0 add "$work/early.txt"
job_has_ended() {
    "$send" query | grep -qx 'job: none'
}
within 60 press_return_until job_has_ended
wait "$waiting" || wait_code=$?
((wait_code == 0)) || fail "wait ended with $wait_code for a disc that is good"
expect 0 wait
expect_message 2 1123 0
expect 0 write-data
within 60 press_return_until not_running
cmp "$work/early.txt" <(bsdtar -xOf "$work/next/track-01.iso" early.txt)
grep -qx "disc: $work/disc" "$work/output" || fail 'the disc did not come out'
mkdir "$work/read"
bsdtar -xf "$work/disc/track-01.iso" -C "$work/read"
cmp "$work/source/$odd" "$work/read/$odd"
cmp "$work/plain.txt" "$work/read/link"

# --- a disc that has been damaged since it was written is told by the names of its files ---
echo '300-400: unreadable' >"$work/quit/defects.txt"
LARKSPIN_VIRTUAL_DRIVE=$work/quit "$send" verify sr0 >>"$work/output" 2>&1 || fail 'verify was refused'
within 60 press_return_until not_running
grep -qx '/large.bin: cannot be read (block 300)' "$work/output" || fail 'the damage was not told'
echo 'messages.sh: all right'
