# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# fish completion for larkspin-drive
complete -c larkspin-drive -l disc -x -d 'Kind of blank disc' \
    -a 'cd-r cd-rw dvd-r dvd-rw dvd-rw-ow dvd-ram dvd+r dvd+rw dvd+r-dl dvd-r-dl bd-r bd-r-dl bd-r-xl bd-r-ql bd-re bd-re-dl'
complete -c larkspin-drive -l speed -x -d "Multiple of a real drive's speed"
complete -c larkspin-drive -l spin-up -x -d "Milliseconds until a disc is up to speed"
complete -c larkspin-drive -l faults -r -d 'Which commands fail'
complete -c larkspin-drive -l log -r -d 'A line for each command'
complete -c larkspin-drive -l help -d 'Tell the usage'
complete -c larkspin-drive -l version -d 'Tell the version'
