#!/bin/bash
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# Compares larkspin-lab volume with xorriso and bsdtar, in turn within one run, each to a pipe.
#
#   bench/volume_bench.sh [LAB] [ROUNDS]
#
# LAB is the larkspin-lab to measure (build/release/bin/larkspin-lab). Prints a Markdown table of the
# fastest of ROUNDS (5) runs per program, and of its peak memory. The trees are made in a
# temporary folder (about 1.3 GB) and removed at the end; all files are in the page cache.
set -euo pipefail

lab=${1:-build/release/bin/larkspin-lab}
rounds=${2:-5}
work=$(mktemp -d "${TMPDIR:-/tmp}/larkspin-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT

# 400 folders of 100 files; the size grows from folder to folder, 1 to 4 KB.
make_small() {
    local folder i
    for ((i = 0; i < 400; ++i)); do
        folder=$work/small/folder$i
        mkdir -p "$folder"
        head -c $((100 * (1024 + i * 7))) /dev/urandom |
            (cd "$folder" && split -b $((1024 + i * 7)) -a 3 --additional-suffix=.data - file)
    done
}

make_large() {
    local i
    mkdir -p "$work/large"
    for i in 1 2 3 4; do
        head -c $((256 * 1024 * 1024)) /dev/urandom > "$work/large/film$i.bin"
    done
}

# measure NAME COMMAND...: appends "seconds kilobytes" to the program's list of runs.
measure() {
    local name=$1
    shift
    /usr/bin/time -f '%e %M' -a -o "$work/$name.runs" "$@" 2> "$work/$name.log" |
        cat > /dev/null
}

one_round() {
    local tree=$1
    measure larkspin "$lab" volume "$work/$tree"
    measure xorriso xorriso -as mkisofs -quiet -R -J "$work/$tree"
    measure bsdtar bsdtar --format iso9660 -cf - -C "$work" "$tree"
}

best() { sort -n "$work/$1.runs" | head -1 | cut -d' ' -f1; }
peak() { sort -n -k2 "$work/$1.runs" | tail -1 | cut -d' ' -f2; }

report() {
    local name ours
    ours=$(best larkspin)
    echo
    echo "$1"
    echo
    echo "| program | seconds | time as a multiple of larkspin-lab's | peak memory, MiB |"
    echo "|---|---|---|---|"
    for name in larkspin xorriso bsdtar; do
        awk -v name=$name -v time="$(best $name)" -v ours="$ours" -v peak="$(peak $name)" 'BEGIN {
            printf "| %s | %.2f | %.2f | %.1f |\n", name, time, time / ours, peak / 1024 }'
    done
}

compare() {
    local i
    one_round "$1" # fills the caches
    rm -f "$work"/*.runs
    for ((i = 0; i < rounds; ++i)); do
        one_round "$1"
    done
    report "$2"
}

make_small
make_large
compare small "40,000 files of 1 to 4 KB in 400 folders"
compare large "4 files of 256 MiB"
