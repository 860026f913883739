# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# The desktop in the way: what it mounts, holds, asks and presses while a disc is made.

automount() { as alice udisksctl mount -b "$device" || fail "UDisks does not mount $device"; }

step_mounted_by_udisks() {
    plug a dvd+rw
    make_tree "$here/first" 1 300
    make_tree "$here/second" 2 300
    burn data "$here/first"
    load a
    automount
    burn data "$here/second"
    load a
    same_tree iso9660 "$here/first" "$here/second"
}

# A program that has a file of the disc open is named, nothing is written, and once it is gone
# "again" is enough.
step_open_file_on_the_disc() {
    local reader
    plug a cd-rw
    make_tree "$here/first" 1 300
    make_tree "$here/second" 2 300
    burn data "$here/first"
    load a
    automount
    as alice tail -f "$(findmnt -n -o TARGET "$device")/first/Read me 1.txt" >/dev/null &
    reader=$!
    sleep 2
    : >"$kept/a.log"
    start_job data "$here/second"
    wait_for 120 grep -q '^message: ' "$log" || fail "nothing was said of the open file"
    nothing_written a
    pkill -P "$reader" # the program below the user's session
    end_job
    expect_said tail
    load a
    same_tree iso9660 "$here/first" "$here/second"
}

# During a write that takes its time: the button, a reload of udev's rules, and programs that look
# at the drive again and again.
step_button_and_others_during_a_write() {
    local others
    drive_options=(--speed 4)
    plug a cd-r
    make_tree "$here/first" 1 24000
    start_job data "$here/first"
    wait_for 300 writing || fail "nothing is written"
    while ! ended "$program"; do
        udevadm trigger --action=change "$device"
        as alice /lib/udev/cdrom_id "$device"
        blkid -p "$device"
        as alice dd if="$device" of=/dev/null bs=2048 count=1
        hands a eject
        sleep 1
    done >/dev/null 2>&1 &
    others=$!
    end_job
    wait "$others" # its last press would open the tray again
    [[ -z $said ]] || fail "Larkspin said: $said"
    grep -q 'the door is locked' "$kept/a.out" || fail "the button was never pressed in time"
    (($(grep -cE '^(12|4a|43|51) ' "$kept/a.log") > 10)) || fail "nobody else came to the drive"
    udevadm settle --timeout=180 # with the button, to which it may answer now
    load a
    same_tree iso9660 "$here/first"
}
