#!/bin/bash
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# Compares larkspin-lab audio with other programs doing the same job, in turn within one run, each
# on one core.
#
#   bench/audio_bench.sh [BIN] [ROUNDS] [SECONDS]
#
# BIN is where the build puts its programs (build/release/bin). Prints a Markdown table of the least
# processor time of ROUNDS (5) runs of each program on SECONDS (600) of sound, the ratio of the two
# and the peak memory of larkspin-lab. For MP3 and Ogg Vorbis it also tells the time of the bare
# decoder library (library_floor), below which no program that uses it can come, and the ratio of
# larkspin-lab to that. The sound is made in a temporary folder and removed at the end; all files
# are in the page cache.
set -euo pipefail

bin=${1:-build/release/bin}
rounds=${2:-5}
seconds=${3:-600}
work=$(mktemp -d "${TMPDIR:-/tmp}/larkspin-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT

sound() { # rate
    sox -R -n -r "$1" -c 2 -b 16 "$work/$1.wav" synth "$seconds" pinknoise vol 0.5
}
sound 44100
sound 48000
sound 96000
lame --quiet -b 192 "$work/44100.wav" "$work/a.mp3"
flac -s "$work/44100.wav" -o "$work/a.flac"
oggenc -Q "$work/44100.wav" -o "$work/a.ogg"
ffmpeg -v error -i "$work/44100.wav" -c:a wmav2 -f asf "$work/a.wma"
"$bin/make_ape" "$work/a.ape" $((seconds * 44100))

# measure LIST COMMAND...: appends "processor seconds, kilobytes" to the list.
measure() {
    local list=$1
    shift
    /usr/bin/time -f '%U %S %M' -o "$work/time" taskset -c 0 "$@" > /dev/null
    awk '{ print $1 + $2, $3 }' "$work/time" >> "$work/$list"
}

least() { sort -n "$work/$1" | head -1 | cut -d' ' -f1; }

compare() { # what file limit command...
    local what=$1 file=$2 limit=$3 floor="" round
    shift 3
    rm -f "$work/ours" "$work/theirs" "$work/floor"
    for ((round = 0; round < rounds; ++round)); do
        measure ours "$bin/larkspin-lab" audio "$work/$file"
        measure theirs "$@"
        case $file in *.mp3 | *.ogg) measure floor "$bin/library_floor" "$work/$file" ;; esac
    done
    if [ -f "$work/floor" ]; then
        floor=$(least floor)
    fi
    awk -v what="$what" -v limit="$limit" -v ours="$(least ours)" -v theirs="$(least theirs)" \
        -v name="$1" -v floor="$floor" \
        -v memory="$(cut -d' ' -f2 "$work/ours" | sort -n | tail -1)" 'BEGIN {
            bare = floor == "" ? "|" : sprintf("%.2f s | %.2f", floor, ours / floor)
            printf "| %s | %.2f s | %.2f s (%s) | %.2f | %.1f | %s | %.1f MiB |\n",
                what, ours, theirs, name, ours / theirs, limit, bare, memory / 1024 }'
}

to_pcm() { echo "ffmpeg -v error -threads 1 -i $work/$1 -f s16le -"; }

echo "| job | larkspin-lab | other | ratio | target | library alone | ratio to it | memory |"
echo "|---|---|---|---|---|---|---|---|"
# shellcheck disable=SC2046 # the commands are lists of words without blanks in them
{
    compare "WAV" 44100.wav 1.0 sox "$work/44100.wav" -t raw -
    compare "48 to 44.1 kHz" 48000.wav 1.0 sox "$work/48000.wav" -t raw -r 44100 - rate
    compare "96 to 44.1 kHz" 96000.wav 1.0 sox "$work/96000.wav" -t raw -r 44100 - rate
    compare "FLAC" a.flac 1.0 flac -s -d -c --force-raw-format --endian=little --sign=signed \
        "$work/a.flac"
    compare "Monkey's Audio" a.ape 1.3 $(to_pcm a.ape)
    compare "WMA" a.wma 1.3 $(to_pcm a.wma)
    compare "Ogg Vorbis" a.ogg 1.3 $(to_pcm a.ogg)
    compare "MP3" a.mp3 1.3 $(to_pcm a.mp3)
}
