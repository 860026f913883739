# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# fish completion for larkspin-send
complete -c larkspin-send -f
complete -c larkspin-send -n __fish_use_subcommand -a add -d 'Add files and folders to the queue'
complete -c larkspin-send -n __fish_use_subcommand -a write-data -d 'Write the queue to a data disc'
complete -c larkspin-send -n __fish_use_subcommand -a write-audio -d 'Write the queue as an audio CD'
complete -c larkspin-send -n __fish_use_subcommand -a burn -d 'Copy an image file to a disc'
complete -c larkspin-send -n __fish_use_subcommand -a erase -d 'Erase the disc in a drive'
complete -c larkspin-send -n __fish_use_subcommand -a verify -d 'Read all of the disc in a drive'
complete -c larkspin-send -n __fish_use_subcommand -a list -d 'Print the paths in the queue'
complete -c larkspin-send -n __fish_use_subcommand -a status -d 'Tell how far the job is'
complete -c larkspin-send -n __fish_use_subcommand -a wait -d 'Wait until the job has ended'
complete -c larkspin-send -n __fish_use_subcommand -a query -d 'Tell whether a job runs'
complete -c larkspin-send -n __fish_use_subcommand -a take-over -d 'Take the queue over and clear it'
complete -c larkspin-send -n __fish_use_subcommand -a quit -d 'End Larkspin; a job is finished first'
complete -c larkspin-send -n __fish_use_subcommand -l help -d 'Tell the usage'
complete -c larkspin-send -n __fish_use_subcommand -l version -d 'Tell the version'
complete -c larkspin-send -n '__fish_seen_subcommand_from write-data write-audio burn' \
    -l verify -d 'Read the disc back when it is written'
complete -c larkspin-send -n '__fish_seen_subcommand_from write-data write-audio burn' \
    -l no-verify -d 'Do not read it back'
complete -c larkspin-send -n '__fish_seen_subcommand_from add burn' -F
complete -c larkspin-send -n '__fish_seen_subcommand_from list' -s 0 -d 'A NUL behind each path'
complete -c larkspin-send -n '__fish_seen_subcommand_from erase verify' \
    -a '(string replace /sys/block/ "" /sys/block/sr*)'
