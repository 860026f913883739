#!/bin/bash
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# make_audio_seeds.sh FOLDER: small good files of each format, as seeds for the fuzz targets.
set -euo pipefail

folder=$1
mkdir -p "$folder"/{wav,mp3,ogg,flac,wma,ape,libav}

seed() { # channels rate bits name
    local wav=$folder/wav/$4.wav
    sox -R -n -c "$1" -r "$2" -b "$3" "$wav" synth 0.2 sine 300-3000 vol 0.5
    lame --quiet -b 32 "$wav" "$folder/mp3/$4"
    flac -s -f -o "$folder/flac/$4" "$wav"
    oggenc -Q --serial 1 -q 0 -o "$folder/ogg/$4" "$wav"
    ffmpeg -v error -y -i "$wav" -c:a wmav2 -f asf "$folder/wma/$4-v2"
    ffmpeg -v error -y -i "$wav" -c:a wmav1 -f asf "$folder/wma/$4-v1"
    local containers=(m4a aac opus aiff wv) # the order of the fuzzer
    for i in "${!containers[@]}"; do
        local file=$folder/libav/$4.${containers[i]}
        ffmpeg -v error -y -i "$wav" "$file"
        printf '%b' "\\x0$i" >> "$file"
    done
}

seed 2 44100 16 stereo
seed 1 22050 16 mono
seed 2 44100 8 narrow
# The extensible form of "fmt ", which sox writes for wide samples.
sox "$folder/wav/mono.wav" -b 24 "$folder/wav/extensible.wav"
cp "$(dirname "$0")"/../tests/audio/ape/tones_12000_* "$folder/ape"
