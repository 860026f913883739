# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# A drive that is unplugged.

# The job ends by itself with something to read, and the disc's folder still opens.
lost() {
    wait_for 300 grep -q '^message: ' "$log" || fail "nothing was said"
    as alice "$build/bin/larkspin-send" quit # a job that has not begun to write keeps the queue
    answer=Escape end_job
    [[ -n $said ]] || fail "nothing was said"
    echo "note: $(head -n 1 <<<"$said")"
}

step_unplugged_before_a_write() {
    plug a cd-r
    make_tree "$here/first" 1 100
    ask_for data "$here/first"
    unplug a
    press Return
    lost
}

step_unplugged_during_a_write() {
    plug a dvd+r
    make_tree "$here/first" 1 100
    make_tree "$here/second" 2 30000
    burn data "$here/first"
    unplug a
    drive_options=(--speed 2)
    plug a dvd+r
    start_job data "$here/second"
    wait_for 300 writing || fail "nothing is written"
    unplug a
    lost
    drive_options=()
    plug a dvd+r
    wait_for 60 disc_is_known || fail "the disc is lost"
    same_tree iso9660 "$here/first"
}

step_unplugged_after_a_write() {
    plug a cd-r
    make_tree "$here/first" 1 100
    burn data "$here/first"
    unplug a
    plug a cd-r
    same_tree iso9660 "$here/first"
}
