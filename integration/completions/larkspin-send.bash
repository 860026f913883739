# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# bash completion for larkspin-send
_larkspin_send()
{
    local cur=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]}
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W "add write-data write-audio burn erase verify list status
            wait query take-over quit --help --version" -- "$cur")
        return
    fi
    if [[ $cur == -* && $command =~ ^(write-data|write-audio|burn)$ ]]; then
        mapfile -t COMPREPLY < <(compgen -W "--verify --no-verify" -- "$cur")
        return
    fi
    case $command in
        add | burn)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            ;;
        list) COMPREPLY=(-0) ;;
        erase | verify)
            mapfile -t COMPREPLY < <(compgen -W "$(cd /sys/block 2>/dev/null && echo sr*)" -- "$cur")
            ;;
    esac
}
complete -F _larkspin_send larkspin-send
