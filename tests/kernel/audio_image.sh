# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# Audio CDs and images, read back by the kernel and by readers of other hands.

step_audio_cd() {
    local number
    plug a cd-r
    for number in 1 2 3; do
        sox -n -r 44100 -c 2 -b 16 "$here/$number.wav" synth $((number + 4)) pinknoise vol 0.4
        sox "$here/$number.wav" -t raw "$here/$number.pcm"
    done
    chmod 644 "$here"/*.wav
    burn audio "$here"/[123].wav
    load a
    as alice cd-info --no-cddb -C "$device" >"$kept/cd-info" 2>&1
    (($(grep -cE '^ +[123]: .* audio' "$kept/cd-info") == 3)) || fail "cd-info sees other tracks"
    for number in 1 2 3; do
        as alice cdparanoia -Z -q -r -d "$device" "$number" "$here/$number.read" \
            2>>"$kept/cdparanoia" || fail "cdparanoia does not read track $number"
        cmp -n "$(stat -c %s "$here/$number.pcm")" "$here/$number.read" "$here/$number.pcm" ||
            fail "other samples in track $number"
    done
}

# images KIND: one of other hands, and one with UDF of ours, each on a disc of its own.
images() {
    local name
    make_tree "$here/first" 1 500
    xorriso -as mkisofs -quiet -R -J -V OTHER -o "$here/other.iso" "$here/first" 2>/dev/null
    "$build/bin/larkspin-lab" volume --udf "$here/first" >"$here/udf.iso" ||
        fail "the lab makes no image"
    for name in other udf; do
        plug "$name" "$1"
        burn image "$here/$name.iso"
        load "$name"
        cmp -n "$(stat -c %s "$here/$name.iso")" "$here/$name.iso" "$device" || fail "other bytes"
        [[ $name == udf ]] || unplug "$name"
    done
    same_tree iso9660 "$here/first"
    same_tree udf "$here/first"
}

step_images_on_cd_r() { images cd-r; }
step_images_on_dvd_plus_r() {
    answer=alt+y allowed='small enough to fit' # a CD would do
    images dvd+r
}
