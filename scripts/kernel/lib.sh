# shellcheck shell=bash disable=SC2154
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# What the steps of tests/kernel are written with: plugging drives in, running Larkspin as a user
# would, and comparing what the kernel shows. Sourced by the guest, as root.
#
# A step is a function step_NAME. It fails by `fail TEXT`, which ends it; its working files are in
# $here (in memory), what is worth keeping if it fails goes to $kept.

user=alice # at whose hands Larkspin runs
answer=Return  # to what it says
allowed=       # what it may say
step_limit=900 # seconds

fail() {
    echo "FAIL: $*"
    exit 1
}

# wait_for SECONDS COMMAND...: $patience times as long.
wait_for() {
    local end=$((SECONDS + $1 * patience))
    shift
    until "$@"; do
        ((SECONDS < end)) || return 1
        sleep 1 # looking costs more than waiting in an emulated machine
    done
}

# as USER COMMAND...: with the user's session around it.
as() {
    local user=$1
    shift
    setpriv --reuid="$user" --regid="$user" --init-groups --inh-caps=-all \
        env -i PATH="$PATH" HOME="/home/$user" USER="$user" LC_ALL=C.UTF-8 TZ="${TZ:-UTC}" \
        DISPLAY="$DISPLAY" XDG_RUNTIME_DIR="/run/user/$user" QT_QPA_PLATFORM=xcb \
        DBUS_SESSION_BUS_ADDRESS="unix:path=/run/user/$user/bus" LARKSPIN_PROGRESS=1 "$@"
}

begin_session() {
    export DISPLAY=:9
    Xvfb "$DISPLAY" -screen 0 1024x768x24 -noreset -nolisten tcp -ac >/run/xvfb.log 2>&1 &
    local user
    for user in alice bob; do
        as "$user" dbus-daemon --session --fork --address="unix:path=/run/user/$user/bus" \
            >/dev/null 2>&1
    done
    wait_for 300 xdotool getmouselocation >/dev/null 2>&1 || say "no display"
}

# run_step NAME: in a process group of its own, which ends with it.
run_step() {
    local name=$1 begin=$SECONDS result=failed pid keeper
    here=/step kept=/run/kept
    rm -rf "$here" "$kept"
    mkdir -p "$here" "$kept"
    chmod 777 "$here" "$kept"
    dmesg -C
    set -m
    ("step_${name//-/_}" || fail "the step ended with $?") >"$kept/output" 2>&1 </dev/null &
    pid=$!
    set +m
    keep_so_far "$name" &
    keeper=$!
    if ! wait_for "$step_limit" ended "$pid"; then
        echo "FAIL: not done after $((step_limit * patience)) s" >>"$kept/output"
    elif wait "$pid"; then
        result=passed
    fi
    kill -TERM -- "-$pid" 2>/dev/null
    kill "$keeper"
    wait "$keeper" 2>/dev/null
    rm -rf "/run/out/$name"
    tidy_up
    if [[ $result == passed ]]; then
        say "$(printf 'ok     %-34s %4d s  %s' "$name" $((SECONDS - begin)) \
            "$(sed -n 's/^note: //p' "$kept/output" | tr '\n' ' ')")"
        echo "PASSED $name" >>/run/out/result
    else
        say "$(printf 'FAILED %-34s %4d s  %s' "$name" $((SECONDS - begin)) \
            "$(grep '^FAIL: ' "$kept/output" | tail -n 1)")"
        echo "FAILED $name" >>/run/out/result
        dmesg >"$kept/dmesg"
        cp -r "$kept" "/run/out/$name" 2>/dev/null
        cp /run/udisksd.log "/run/out/$name/"
        # Discs are sparse or short; the sources of a step are made anew by it.
        find "$here" -name disc.txt -size -1M -execdir cp {} "/run/out/$name/" \; 2>/dev/null
    fi
}

# keep_so_far NAME: the machine may be switched off in the middle of a step.
keep_so_far() {
    while sleep 30; do
        mkdir -p "/run/out/$1"
        cp -r "$kept/." "/run/out/$1/"
        dmesg >"/run/out/$1/dmesg"
    done 2>/dev/null
}

ended() { ! kill -0 "$1" 2>/dev/null; }

tidy_up() {
    local file point
    while read -r _ point _; do
        umount "$point"
    done < <(grep '^/dev/sr' /proc/mounts)
    for file in /run/plugged/*; do
        [[ -e $file ]] && unplug "${file##*/}"
    done
    as alice "$build/bin/larkspin-send" quit
} >/dev/null 2>&1

# --- drives ---

drive_options=() # of larkspin-drive

# plug NAME KIND [FOLDER...]: a drive with discs of the step's folder (NAME-disc by default); its
# device is in $device then.
plug() {
    local name=$1 kind=$2
    shift 2
    (($# > 0)) || set -- "$here/$name-disc"
    mkdir -p /run/plugged
    mkfifo "$here/$name-hands"
    # Open in both directions, so that the drive never sees the end of what is typed.
    setsid "$build/bin/larkspin-drive" --disc "$kind" --spin-up 0 "${drive_options[@]}" --log "$kept/$name.log" "$@" \
        <>"$here/$name-hands" >"$kept/$name.out" 2>&1 &
    echo $! >"/run/plugged/$name"
    wait_for 120 grep -q '^the drive is ' "$kept/$name.out" || fail "the drive $name did not show up"
    device=$(sed -n 's/^the drive is //p' "$kept/$name.out")
    wait_for 60 test -b "$device" || fail "there is no $device"
    udevadm settle --timeout=60
}

# hands NAME LINE: what a person does at the drive.
hands() { echo "$2" >"$here/$1-hands"; }

unplug() {
    local pid
    pid=$(cat "/run/plugged/$1")
    rm "/run/plugged/$1"
    kill -INT "$pid" 2>/dev/null
    wait_for 60 ended "$pid" || kill -KILL "$pid"
    rm -f "$here/$1-hands"
}

# load NAME: closes the tray and waits until the kernel and udev know the disc.
load() {
    hands "$1" load
    wait_for 60 disc_is_known || fail "the kernel does not know the disc in $device"
    udevadm settle --timeout=60
}
disc_is_known() { blockdev --getsize64 "$device" >/dev/null 2>&1; }

# --- Larkspin ---

windows='^Larkspin( [0-9.]+)?$' # those that ask and tell, and not the queue in the tray's place
window_is_up() { xdotool search --onlyvisible --name "$windows" >/dev/null 2>&1; }
press() {
    local window
    window=$(xdotool search --onlyvisible --name "$windows" 2>/dev/null | tail -n 1)
    [[ -n $window ]] && xdotool windowfocus "$window" key "$1" 2>/dev/null
}
is_ready() {
    as "$user" dbus-send --session --print-reply --dest=org.freedesktop.DBus / \
        org.freedesktop.DBus.NameHasOwner string:org.larkspin.Larkspin 2>/dev/null | grep -q true
}
job_shows_itself() { ended "$program" || grep -qE '^ *[0-9]+%|^message: |^Erasing' "$log"; }

# ask_for data|audio PATH..., image PATH, erase DRIVE: as $user, up to the dialog. The process is in
# $program, its output in $log.
ask_for() {
    local job=$1
    shift
    log=$(mktemp "$kept/larkspin-XXXX.log")
    chmod 666 "$log"
    as "$user" "$build/bin/larkspin" >>"$log" 2>&1 &
    program=$!
    wait_for 300 is_ready || fail "Larkspin did not start"
    case $job in
    data | audio)
        as "$user" "$build/bin/larkspin-send" add "$@" &&
            as "$user" "$build/bin/larkspin-send" "write-$job" ;;
    image) as "$user" "$build/bin/larkspin-send" burn "$1" ;;
    erase) as "$user" "$build/bin/larkspin-send" erase "$1" ;;
    esac >>"$log" 2>&1 || fail "Larkspin did not take the job"
    wait_for 120 window_is_up || fail "no dialog came up"
    sleep 1
}

# start_job as ask_for, and the dialog is answered: up to the first thing that the job has to say.
start_job() {
    ask_for "$@"
    press Return
    wait_for 300 job_shows_itself || fail "the job does not begin"
}

# writing: blocks go to the disc.
writing() { ended "$program" || grep -qE '^ *([3-9]|[1-9][0-9])%' "$log"; }

# expect_said TEXT: a part of what the job said, in whichever of its lines.
expect_said() { grep -qF -- "$1" "$log" || fail "Larkspin did not say \"$1\" but: $said"; }

# nothing_written NAME: the drive NAME was sent nothing that changes a disc.
nothing_written() {
    if grep -qE '^(04|0a|2a|2e|35|53|54|5b|5d|a1|aa|bf) ' "$kept/$1.log"; then
        fail "commands that write reached the drive"
    fi
}

# end_job: answers what the job says with $answer (Return), the word that a disc is good with Return,
# and waits for the program's end. What it said is in $said, the first line of each message, less
# that word.
end_job() {
    local told=0 now last
    while ! ended "$program"; do
        now=$(grep -c '^message: ' "$log")
        last=$(grep '^message: ' "$log" | tail -n 1)
        ((now < 5)) || fail "Larkspin asks again and again: $last"
        if ((now > told)); then
            told=$now
            sleep 2 # a question whose Yes can't be taken back is deaf for its first second
            if [[ $last == 'message: Disc written: '* ]]; then
                press Return
            else
                press "$answer"
            fi
        fi
        sleep 0.5
    done
    said=$(sed -n '/^message: Disc written: /d; s/^message: //p' "$log")
}

# burn JOB ARGUMENT...: a job that must have nothing to say but what $allowed names.
burn() {
    start_job "$@"
    end_job
    [[ -z $said || (-n $allowed && $said == *"$allowed"*) ]] || fail "Larkspin said: $said"
}

# erase DRIVE: a job that must say that the disc is empty, and no more.
erase() {
    start_job erase "$1"
    end_job
    [[ $said == 'The disk has been erased and is empty.' ]] || fail "Larkspin said: $said"
}

# --- what the kernel shows ---

# A line for each file and folder: name, kind, size, date. Rights and owner, which a data job makes
# the same for all, are told apart by $rights. Links are followed, as Larkspin does.
listing() {
    (cd "$1" && find -L . -mindepth 1 -printf '%P\t%y\t%s\t%TY-%Tm-%Td %TH:%TM:%.2TS\t%m %U %G\n' |
        awk -F '\t' -v OFS='\t' -v rights="${2:-}" \
            '$2 == "d" { $3 = "" } rights != "" { $5 = rights } { print }' | sort)
}

# same_tree TYPE FOLDER...: the disc, mounted by the kernel, holds these folders and nothing else.
# Joliet is shut out, so that an ISO 9660 volume shows what Rock Ridge tells or 8.3 names.
same_tree() {
    local type=$1 folder point=$here/mounted options=ro rights='555 0 0' shown=''
    shift
    if [[ $type == iso9660 ]]; then
        options=ro,nojoliet
    else
        shown=$rights # what UDF tells of rights is not compared
    fi
    mkdir -p "$point"
    mount -t "$type" -o "$options" "$device" "$point" ||
        fail "the kernel does not mount $device as $type"
    diff <(printf '%s\n' "${@##*/}" | sort) <(ls "$point") || fail "other names on the disc"
    for folder in "$@"; do
        diff <(listing "$folder" "$rights") <(listing "$point/${folder##*/}" "$shown") ||
            fail "${folder##*/} is not on the disc as it was"
        diff -r "$folder" "$point/${folder##*/}" || fail "other bytes on the disc"
    done
    umount "$point"
    # Without the options, too, the kernel must be content with what it finds.
    if ! mount -o ro "$device" "$point" || ! ls -R "$point" >/dev/null || ! umount "$point"; then
        fail "the kernel does not mount $device by itself"
    fi
    kernel_is_content
}

kernel_is_content() {
    if dmesg | grep -E 'rock:|ISOFS: changing|isofs_fill|isofs_read|UDF-fs: (error|warning)|reset high-speed'; then
        fail "the kernel complains of the disc"
    fi
}

# make_tree FOLDER SEED KIBIBYTES: names of several kinds, rights, owners, links, old dates.
make_tree() {
    local folder=$1
    mkdir -p "$folder/Some Notes/deep/er"
    echo "seed $2" >"$folder/Read me $2.txt"
    echo 'Ünïcödé' >"$folder/Some Notes/Ünit naïve.txt"
    echo 'upper' >"$folder/Some Notes/UPPER and a name that is longer than Joliet takes, by a good part of its length.text"
    openssl rand "$(($3 * 1024 + $2))" >"$folder/Some Notes/deep/er/random.bin"
    : >"$folder/empty"
    chmod 640 "$folder/Read me $2.txt"
    chmod 755 "$folder/empty"
    ln -s "../Read me $2.txt" "$folder/Some Notes/link"
    chown -R alice:alice "$folder"
    chown alice:cdrom "$folder/Read me $2.txt"
    find "$folder" -exec touch -h -d '2001-02-03 04:05:06' {} +
    touch -d '1999-12-31 23:59:58' "$folder/Some Notes" "$folder/empty"
}
