# shellcheck shell=bash disable=SC2034,SC2154
# Users and devices that a disc can't be made with.

# refused USER TEXT: the job ends with this text, and the drive was not written to.
refused() {
    local text=$2
    make_tree "$here/first" 1 100
    user=$1 answer=Escape
    chmod -R a+rX "$here/first"
    start_job data "$here/first"
    end_job
    expect_said "$text"
    nothing_written a
}

step_user_who_is_not_in_cdrom() {
    plug a cd-r
    refused bob 'the group "cdrom"'
}

step_device_that_can_only_be_read() {
    plug a cd-r
    chmod 644 "$device"
    refused bob 'permission to read and write'
}

step_no_drive() {
    mkdir -p "$here/first"
    as alice "$build/bin/larkspin" >"$kept/larkspin.log" 2>&1 &
    program=$! log=$kept/larkspin.log
    wait_for 120 is_ready || fail "Larkspin did not start"
    as alice "$build/bin/larkspin-send" add "$here/first"
    as alice "$build/bin/larkspin-send" write-data
    wait_for 60 grep -q '^message: ' "$log" || fail "nothing was said"
    answer=Escape
    said=$(sed -n 's/^message: //p' "$log")
    expect_said 'No optical drives found in your system.'
}

step_two_drives() {
    local first
    plug a cd-r
    first=$device
    plug b cd-rw
    [[ $device != "$first" ]] || fail "both drives are $device"
    make_tree "$here/first" 1 200
    make_tree "$here/second" 2 200
    xorriso -as cdrecord "dev=$device" -quiet /dev/null >/dev/null 2>&1
    xorriso -outdev "$device" -map "$here/second" /second -commit >"$kept/xorriso" 2>&1 ||
        fail "xorriso does not write to $device"
    : >"$kept/b.log"
    device=$first
    burn data "$here/first"
    nothing_written b
    load a
    same_tree iso9660 "$here/first"
    : >"$kept/a.log"
    burn erase "$(sed -n 's,^the drive is /dev/,,p' "$kept/b.out")"
    nothing_written a
    grep -q '^a1 ' "$kept/b.log" || fail "the other drive's disc was not erased"
}
