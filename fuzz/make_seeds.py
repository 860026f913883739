#!/usr/bin/env python3
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
"""Makes small good files of each kind, as seeds for the fuzz targets: a folder for each of them.

    fuzz/make_seeds.py FOLDER

Other programs make what they can: sox, lame, flac, oggenc, ffmpeg and xorriso.
"""
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
SECTOR = 2048
CONTAINERS = ("m4a", "aac", "opus", "aiff", "wv")  # in the order of libav_reader_fuzz


def run(*command):
    subprocess.run([str(part) for part in command], check=True, stdout=subprocess.DEVNULL)


def ffmpeg(*arguments):
    run("ffmpeg", "-v", "error", "-y", *arguments)


def make_audio(folder_of, name, channels, rate, bits):
    wav = folder_of("wav_reader") / f"{name}.wav"
    run("sox", "-R", "-n", "-c", channels, "-r", rate, "-b", bits, wav, "synth", "0.2", "sine",
        "300-3000", "vol", "0.5")
    run("lame", "--quiet", "-b", "32", wav, folder_of("mp3_reader") / name)
    run("flac", "-s", "-f", "-o", folder_of("flac_reader") / name, wav)
    run("oggenc", "-Q", "--serial", "1", "-q", "0", "-o", folder_of("ogg_reader") / name, wav)
    for codec in ("wmav1", "wmav2"):
        ffmpeg("-i", wav, "-c:a", codec, "-f", "asf", folder_of("wma_reader") / f"{name}-{codec}")
    for number, container in enumerate(CONTAINERS):
        file = folder_of("libav_reader") / f"{name}.{container}"
        ffmpeg("-i", wav, file)
        file.write_bytes(file.read_bytes() + bytes([number]))


def make_discs(folder):
    """Volumes from sector 16 on, as the merge reads them."""
    with tempfile.TemporaryDirectory() as work:
        tree = pathlib.Path(work, "tree")
        deep = tree / "/".join(f"level{i}" for i in range(9))
        deep.mkdir(parents=True)
        (deep / ("a long name " * 18)).write_text("deep")
        (tree / "link").symlink_to("level0")
        (tree / "a.txt").write_text("a")
        for name, options in (("plain", ()), ("rock", ("-R",)), ("joliet", ("-R", "-J"))):
            image = pathlib.Path(work, "image")
            run("xorriso", "-as", "mkisofs", "-quiet", "-no-pad", *options, "-o", image, tree)
            (folder / name).write_bytes(image.read_bytes()[16 * SECTOR:])


def control_head(magic, last, ifo_last, menu, table, title_sets=0):
    head = bytearray(200)
    head[:12] = magic
    struct.pack_into(">I", head, 12, last)
    struct.pack_into(">I", head, 28, ifo_last)
    struct.pack_into(">H", head, 62, title_sets)
    struct.pack_into(">II", head, 192, menu, table)
    return bytes(head)


def make_dvd(folder):
    """A manager with a menu and two title sets of one VOB each, in the format of ifo_fuzz."""
    absent = 8
    sizes = bytes([0, 0, 0, 2] + 2 * [absent, 2, absent, absent])
    manager = control_head(b"DVDVIDEO-VMG", 5, 1, 2, 1, title_sets=2)
    titles = 2 * control_head(b"DVDVIDEO-VTS", 3, 0, 0, 1)
    table = bytearray(SECTOR)
    struct.pack_into(">H", table, 0, 2)
    for number, start in enumerate((6, 10)):
        struct.pack_into(">I", table, 8 + 12 * number + 8, start)
    (folder / "two-sets").write_bytes(sizes + manager + titles + table)


def main():
    top = pathlib.Path(sys.argv[1])

    def folder_of(target):
        folder = top / target
        folder.mkdir(parents=True, exist_ok=True)
        return folder

    for name, channels, rate, bits in (("stereo", 2, 44100, 16), ("mono", 1, 22050, 16),
                                       ("narrow", 2, 44100, 8)):
        make_audio(folder_of, name, channels, rate, bits)
    # The extensible form of "fmt ", which sox writes for wide samples.
    wav = folder_of("wav_reader")
    run("sox", wav / "mono.wav", "-b", "24", wav / "extensible.wav")
    for file in (HERE.parent / "tests/audio/ape").glob("tones_12000_*"):
        shutil.copy(file, folder_of("ape_reader"))
    make_discs(folder_of("merge"))
    make_dvd(folder_of("ifo"))


if __name__ == "__main__":
    main()
