# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# A file that takes more than one extent, in each view of its volume that the kernel has.

# 5 GiB and a part of a sector, a hole but for marks that differ: at each mebibyte, close together
# around the end of the largest extent, and at the file's end.
# shellcheck disable=SC2016
marks='map({ $_ << 20 } 0 .. 5119), map({ (4 << 30) + 512 * $_ } -16 .. 16), (5 << 30) + 61'

# marked_file PATH: makes it. same_marks PATH: has it.
marked_file() {
    perl -e 'open(my $file, ">", shift) or die;
        for my $at ('"$marks"') {
            seek($file, $at, 0);
            printf $file "%016d", $at;
        }' "$1"
}
same_marks() {
    perl -e 'open(my $file, "<", shift) or die;
        -s $file == (5 << 30) + 77 or die "other size\n";
        for my $at ('"$marks"') {
            sysseek($file, $at, 0);
            sysread($file, my $mark, 16);
            $mark eq sprintf("%016d", $at) or die "other bytes at $at\n";
        }' "$1"
}

step_file_of_5_gib() {
    local view point=$here/mounted name='Large file of marks.bin'
    mkdir -p "$here/tree" "$point"
    marked_file "$here/tree/$name" || fail "no such file here"
    echo 'behind it' >"$here/tree/zz behind it.txt"
    "$build/bin/larkspin-lab" volume --udf "$here/tree" |
        dd of="$here/image" bs=16k iflag=fullblock conv=sparse status=none ||
        fail "the lab makes no image"
    modprobe loop
    for view in iso9660:nojoliet iso9660:norock udf:bs=2048; do
        mount -t "${view%:*}" -o "loop,ro,${view#*:}" "$here/image" "$point" ||
            fail "the kernel does not mount it as $view"
        blockdev --setra 16 "$(findmnt -n -o SOURCE "$point")" # sectors; most of it is a hole
        diff <(ls "$here/tree") <(ls "$point/tree") || fail "as $view it has other names"
        same_marks "$point/tree/$name" || fail "as $view the large file is another"
        cmp "$here/tree/zz behind it.txt" "$point/tree/zz behind it.txt" ||
            fail "as $view the file behind it is another"
        umount "$point"
    done
    kernel_is_content
}
