# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# Users and devices that a disc can't be made with.

# turned_away USER TEXT...: Larkspin says so at its start, and goes. No drive was written to.
turned_away() {
    local text
    user=$1
    shift
    log=$kept/larkspin.log
    as "$user" "$build/bin/larkspin" >"$log" 2>&1 &
    program=$!
    wait_for 120 window_is_up || fail "nothing was said"
    sleep 1
    press Return
    wait_for 60 ended "$program" || fail "Larkspin stays"
    said=$(<"$log")
    for text in "$@"; do
        expect_said "$text"
    done
    [[ ! -e $kept/a.log ]] || nothing_written a
}

step_user_who_is_not_in_cdrom() {
    plug a cd-r
    turned_away bob 'No optical drive of your system' 'the group "cdrom" has it'
}

step_device_that_can_only_be_read() {
    plug a cd-r
    make_tree "$here/first" 1 100
    chmod 644 "$device"
    start_job data "$here/first"
    as alice "$build/bin/larkspin-send" quit # else the program stays, with the queue
    end_job
    expect_said "You have no permission to read and write $device."
    nothing_written a
}

step_no_drive() { turned_away alice 'No optical drives found in your system.'; }

step_two_drives() {
    local first
    plug a cd-r
    first=$device
    plug b cd-rw
    [[ $device != "$first" ]] || fail "both drives are $device"
    make_tree "$here/first" 1 200
    make_tree "$here/second" 2 200
    xorriso -outdev "$device" -map "$here/second" /second -commit >"$kept/xorriso" 2>&1 ||
        fail "xorriso does not write to $device"
    : >"$kept/b.log"
    device=$first
    burn data "$here/first"
    nothing_written b
    load a
    same_tree iso9660 "$here/first"
    : >"$kept/a.log"
    erase "$(sed -n 's,^the drive is /dev/,,p' "$kept/b.out")"
    nothing_written a
    grep -q '^a1 ' "$kept/b.log" || fail "the other drive's disc was not erased"
}
