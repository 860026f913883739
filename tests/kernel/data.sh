# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# Data discs of every kind: written by Larkspin through /dev/srN, mounted and compared by the kernel.

# sessions KIND COUNT [TYPE]: that many jobs on one disc; all that was written is there after each.
sessions() {
    local number folders=()
    plug a "$1"
    for ((number = 1; number <= $2; ++number)); do
        folders+=("$here/folder $number")
        make_tree "${folders[-1]}" "$number" $((300 * number))
        burn data "${folders[-1]}"
        load a
        same_tree "${3:-iso9660}" "${folders[@]}"
    done
}

step_cd_r_two_sessions() { sessions cd-r 2; }
step_cd_r_three_sessions() { sessions cd-r 3; }
step_dvd_plus_rw_append() { sessions dvd+rw 2; }
step_dvd_plus_r_two_sessions() { sessions dvd+r 2; }
step_dvd_r() { sessions dvd-r 2; }
step_dvd_rw_sequential() { sessions dvd-rw 2; }
step_dvd_rw_restricted_overwrite() { sessions dvd-rw-ow 2; }
step_dvd_ram() { sessions dvd-ram 2; }

step_cd_rw_erased_and_written_again() {
    plug a cd-rw
    make_tree "$here/first" 1 300
    make_tree "$here/second" 2 400
    burn data "$here/first"
    load a
    erase "${device##*/}"
    load a
    burn data "$here/second"
    load a
    same_tree iso9660 "$here/second"
}
