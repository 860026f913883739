# shellcheck shell=bash
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# The display goes away: the X server or the compositor is killed, in the middle of a disc and at
# other times. Expects a display and a session bus of its own. Arguments: larkspin, larkspin-send,
# the library that shows a virtual disc as /dev/sr0.
set -euo pipefail
# shellcheck source=tests/system/lib.sh
source "$(dirname "$0")/lib.sh"

larkspin=$1
send=$2
fakesr=$3
work=$(mktemp -d)
export XDG_RUNTIME_DIR=$work/runtime XDG_CONFIG_HOME=$work/config
export LARKSPIN_PROGRESS=1
mkdir -m 700 "$XDG_RUNTIME_DIR"
program='' display=''
host=$DISPLAY

finish() {
    local code=$? pid
    ((code == 0)) || cat "$work/output" "$work/weston.log" >&2 || true
    for pid in $program $display; do
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    rm -rf "$work"
    exit "$code"
}
trap finish EXIT

# --- the two displays; each starts one of its own and leaves its process in $display ---
open_xcb() {
    local number
    exec {pipe}<> <(:)
    Xvfb -displayfd "$pipe" -screen 0 1024x768x24 -noreset -nolisten tcp 2>/dev/null &
    display=$!
    read -r -t 20 -u "$pipe" number || fail 'no X server'
    export DISPLAY=:$number
}
open_wayland() {
    # In a window of the display that the test has, so that keys can be pressed.
    DISPLAY=$host weston --backend=x11-backend.so --use-pixman --socket=larkspin-test --idle-time=0 \
        >"$work/weston.log" 2>&1 &
    display=$!
    export DISPLAY=$host WAYLAND_DISPLAY=larkspin-test
    within 20 test -S "$XDG_RUNTIME_DIR/larkspin-test"
    within 20 xdotool search --onlyvisible --class '^Weston' >/dev/null
}

press() {
    if [[ $QT_QPA_PLATFORM == wayland ]]; then
        # The compositor's own window has the display to itself.
        xdotool search --onlyvisible --class '^Weston' windowfocus >/dev/null 2>&1 || true
        # A window that comes up before the compositor has the keyboard may be left without it;
        # the compositor's switcher gives it to one.
        xdotool key super+Tab
    fi
    xdotool key "$1"
}

# start NAME [SPEED]: the program with a new disc in $work/NAME, and two megabytes in its queue.
start() {
    LARKSPIN_VIRTUAL_DRIVE=$work/$1 LARKSPIN_VIRTUAL_SPEED=${2:-0.05} setsid "$larkspin" \
        >"$work/output" 2>&1 &
    program=$!
    within 20 is_running
    "$send" add "$work/large.bin"
}
is_running() {
    "$send" query | grep -q '^queue: '
}
job_runs() {
    "$send" query | grep -qx 'job: runs'
}
dialog_is_up() { # its process reads the drive's speeds before it comes up
    job_runs && sleep 1
}
# write: starts a job and answers its dialog; comes back while the disc is being written.
write() {
    "$send" write-data
    within 60 return_until_it_writes
}
return_until_it_writes() {
    grep -q '^ *[1-9][0-9]*%' "$work/output" || { press Return && false; }
}
# ends CODE: the program ends by itself with this code.
ends() {
    local code=0
    within 60 has_ended
    wait "$program" || code=$?
    program=''
    ((code == $1)) || fail "the program ended with $code, not $1"
}
has_ended() {
    ! kill -0 "$program" 2>/dev/null
}
children() {
    pgrep -P "$program" || true
}
# whole NAME: the disc holds what it should, its session is closed and the door has opened.
whole() {
    grep -qx "disc: $work/$1" "$work/output" || fail "$1: the door did not open"
    LARKSPIN_FAKESR=$work/$1 LD_PRELOAD=$fakesr xorriso -indev /dev/sr0 -toc \
        -osirrox on -extract /large.bin "$work/read-$1" >"$work/toc" 2>&1 ||
        fail "$1: $(cat "$work/toc")"
    cmp "$work/large.bin" "$work/read-$1"
    grep -q 'ISO session *: *1' "$work/toc" || fail "$1: $(cat "$work/toc")"
    if grep -qi 'incomplete\|damaged' "$work/toc"; then
        fail "$1: $(cat "$work/toc")"
    fi
}

head -c 2000000 /dev/urandom >"$work/large.bin"

for QT_QPA_PLATFORM in xcb wayland; do
    export QT_QPA_PLATFORM
    # --- in the middle of a disc ---
    open_$QT_QPA_PLATFORM
    start "$QT_QPA_PLATFORM-disc"
    write
    kill -KILL "$display"
    wait "$display" || true
    job_runs || fail 'the job ended with the display'
    ends 253
    grep -q 'the display has gone; a disc' "$work/output" || fail 'nobody was told'
    whole "$QT_QPA_PLATFORM-disc"

    # --- with a dialog open, and with nothing to do ---
    open_$QT_QPA_PLATFORM
    start "$QT_QPA_PLATFORM-dialog"
    "$send" write-data
    within 20 dialog_is_up
    kill "$display"
    ends 253
    [[ ! -s $work/$QT_QPA_PLATFORM-dialog/track-01.iso ]] || fail 'a disc that nobody asked for'
    wait "$display" || true
    open_$QT_QPA_PLATFORM
    start "$QT_QPA_PLATFORM-idle"
    kill "$display"
    ends 253
    wait "$display" || true
done

# --- no display from the start ---
code=0
QT_QPA_PLATFORM=xcb DISPLAY=:none LARKSPIN_VIRTUAL_DRIVE=$work/none "$larkspin" \
    2>"$work/output" || code=$?
((code == 253)) || fail "without a display: $code"
grep -q 'larkspin: there is no display to show windows on' "$work/output" || fail 'no reason told'

# --- a key on the terminal reaches both processes, and so does any other signal that ends one ---
export QT_QPA_PLATFORM=xcb DISPLAY=$host
start signal
write
for signal in QUIT HUP USR1 USR2 ALRM VTALRM PROF STKFLT IO PWR XCPU XFSZ RTMIN RTMAX TERM INT; do
    kill -"$signal" -- "-$program"
done
ends 0
whole signal

# --- the windows never outlive the engine ---
start crash
windows=$(children)
[[ -n $windows ]] || fail 'no process of the windows'
kill -KILL "$program"
wait "$program" || true
program=''
windows_gone() {
    ! kill -0 "$windows" 2>/dev/null
}
within 10 windows_gone
echo 'display.sh: all right'
