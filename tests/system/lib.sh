# shellcheck shell=bash
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# What the tests of the built programs share.

fail() {
    echo "${0##*/}: $*" >&2
    exit 1
}

# within SECONDS COMMAND...: repeats the command until it succeeds. Counts its pauses, since the
# machine's clock may be set meanwhile.
within() {
    local tries=$(($1 * 10))
    shift
    until "$@"; do
        ((tries-- > 0)) || fail "$* did not happen in time"
        sleep 0.1
    done
}
