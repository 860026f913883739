# shellcheck shell=bash disable=SC2034,SC2154
# Users and devices that a disc can't be made with.

# turned_away USER: Larkspin says at its start that there is no drive to use, and goes; a picture of
# what it says is kept. No drive was written to.
turned_away() {
    user=$1
    as "$user" "$build/bin/larkspin" >"$kept/larkspin.log" 2>&1 &
    program=$!
    wait_for 120 window_is_up || fail "nothing was said"
    sleep 1
    import -window root "$kept/said.png"
    press Return
    wait_for 60 ended "$program" || fail "Larkspin stays"
    [[ ! -e $kept/a.log ]] || nothing_written a
}

step_user_who_is_not_in_cdrom() {
    plug a cd-r
    turned_away bob
}

step_device_that_can_only_be_read() {
    plug a cd-r
    chmod 644 "$device"
    turned_away bob
}

step_no_drive() { turned_away alice; }

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
