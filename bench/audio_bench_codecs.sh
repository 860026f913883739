#!/bin/bash
# audio_bench_codecs.sh BIN [SECONDS]: decodes and converts to CD audio with larkspin-lab and with a
# reference program, alternately and on one core; prints the best processor time of each and their
# ratio. BIN is where the build puts its programs, SECONDS the length of the sound (300).
set -euo pipefail

bin=$1
seconds=${2:-300}
rounds=5
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

milliseconds() { # command...: processor time of one run, which a busy machine does not stretch
    local TIMEFORMAT='%U %S'
    { time taskset -c 0 "$@" > /dev/null 2>&1; } 2>&1 | awk '{ print int(1000 * ($1 + $2)) }'
}

compare() { # format file reference...
    local format=$1 file=$2 ours=999999 theirs=999999 time
    shift 2
    for ((i = 0; i < rounds; ++i)); do
        time=$(milliseconds "$bin/larkspin-lab" audio "$file")
        ours=$((time < ours ? time : ours))
        time=$(milliseconds "$@")
        theirs=$((time < theirs ? time : theirs))
    done
    printf '%-5s %6d ms  %-7s %6d ms  ratio %s\n' "$format" "$ours" "$1" "$theirs" \
        "$(awk "BEGIN { printf \"%.2f\", $ours / $theirs }")"
}

sox -R -n -r 44100 -c 2 -b 16 "$folder/a.wav" synth "$seconds" pinknoise vol 0.3 \
    synth "$seconds" sine mix 300-3000
flac -s -o "$folder/a.flac" "$folder/a.wav"
oggenc -Q -o "$folder/a.ogg" "$folder/a.wav"
ffmpeg -v error -i "$folder/a.wav" -c:a wmav2 "$folder/a.wma"
"$bin/make_ape" "$folder/a.ape" $((seconds * 44100))

compare flac "$folder/a.flac" flac -dcs --force-raw-format --endian=little --sign=signed \
    "$folder/a.flac"
# libvorbis itself is slower than ffmpeg's own decoder; oggdec shows what the library costs.
compare ogg "$folder/a.ogg" oggdec -Q -R -o - "$folder/a.ogg"
for format in ogg ape wma; do
    compare "$format" "$folder/a.$format" ffmpeg -threads 1 -v error -i "$folder/a.$format" \
        -f s16le -
done
