# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# bash completion for larkspin-drive
_larkspin_drive()
{
    local cur=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()
    case $previous in
        --disc)
            mapfile -t COMPREPLY < <(compgen -W "cd-r cd-rw dvd-r dvd-rw dvd-rw-ow dvd-ram dvd+r
                dvd+rw dvd+r-dl dvd-r-dl bd-r bd-r-dl bd-r-xl bd-r-ql bd-re bd-re-dl" -- "$cur")
            return
            ;;
        --speed | --spin-up)
            return
            ;;
        --log | --faults)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            return
            ;;
    esac
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "--disc --speed --spin-up --faults --log --help --version" -- "$cur")
    else
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$cur")
    fi
}
complete -F _larkspin_drive larkspin-drive
