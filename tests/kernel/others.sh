# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# A recorder of other hands under Larkspin, and programs of other hands over larkspin-drive.

# tgt's model of a DVD+R recorder, reached over iSCSI on the loopback.
tgt_disc() {
    local name=iqn.2026-01.org.larkspin:dvd
    pgrep -x tgtd >/dev/null || {
        modprobe iscsi_tcp
        mkdir -p /run/lock/iscsi /etc/iscsi
        echo 'InitiatorName=iqn.2026-01.org.larkspin:guest' >/etc/iscsi/initiatorname.iscsi
        tgtd
        iscsid
        wait_for 60 tgtadm --op show --mode sys
        tgtadm --lld iscsi --op new --mode target --tid 1 -T "$name"
        tgtadm --lld iscsi --op bind --mode target --tid 1 -I ALL
    } >"$kept/tgt" 2>&1
    tgtimg -o new -Y cd -t dvd+r -f "$here/tgt.img" >>"$kept/tgt" 2>&1
    tgtadm --lld iscsi --op new --mode logicalunit --tid 1 --lun 1 --device-type=cd \
        -b "$here/tgt.img" >>"$kept/tgt" 2>&1 || fail "tgt does not take the disc"
    {
        iscsiadm -m discovery -t sendtargets -p 127.0.0.1
        iscsiadm -m node -T "$name" --login
    } >>"$kept/tgt" 2>&1
    wait_for 120 test -b /dev/sr0 || fail "tgt's drive does not show up"
    device=/dev/sr0
    udevadm settle --timeout=60
}

# The tray of tgt's drive closes by command.
tgt_load() {
    eject -t "$device"
    blockdev --flushbufs "$device"
    wait_for 60 disc_is_known || fail "the kernel does not know tgt's disc"
}

tgt_gone() {
    iscsiadm -m node --logout
    tgtadm --lld iscsi --op delete --mode logicalunit --tid 1 --lun 1
    wait_for 60 test ! -e /dev/sr0
} >/dev/null 2>&1

# Its disc is a DVD-ROM once a session is closed; other programs, too, see no room for another.
step_tgt_data_disc() {
    trap tgt_gone EXIT
    tgt_disc
    make_tree "$here/first" 1 300
    make_tree "$here/second" 2 300
    burn data "$here/first"
    tgt_load
    same_tree iso9660 "$here/first"
    cdrskin "dev=$device" -v -minfo >"$kept/minfo" 2>&1
    grep -q '^disk status: *complete' "$kept/minfo" || fail "the disc is not closed"
    start_job data "$here/second"
    as alice "$build/bin/larkspin-send" quit # else the program stays, with the queue
    end_job
    expect_said 'The disk is not suitable for writing.'
    same_tree iso9660 "$here/first"
}

step_tgt_image() {
    trap tgt_gone EXIT
    answer=alt+y allowed='small enough to fit' # a CD would do
    tgt_disc
    make_tree "$here/first" 1 300
    xorriso -as mkisofs -quiet -R -V IMAGE -o "$here/image.iso" "$here/first" 2>/dev/null
    burn image "$here/image.iso"
    tgt_load
    cmp -n "$(stat -c %s "$here/image.iso")" "$here/image.iso" "$device" || fail "other bytes"
}

step_programs_of_other_hands() {
    plug a cd-rw
    make_tree "$here/first" 1 300
    make_tree "$here/second" 2 300
    xorriso -as mkisofs -quiet -R -V FIRST -o "$here/first.iso" "$here/first" 2>/dev/null
    as alice cdrskin "dev=$device" -multi -tao padsize=150s "$here/first.iso" >"$kept/cdrskin" 2>&1 ||
        fail "cdrskin"
    as alice eject "$device" && load a
    as alice xorriso -dev "$device" -map "$here/second" /second -commit >"$kept/xorriso" 2>&1 ||
        fail "xorriso"
    as alice eject "$device" && load a
    mkdir -p "$here/mounted"
    mount -o ro "$device" "$here/mounted" || fail "the kernel does not mount xorriso's disc"
    diff -r "$here/second" "$here/mounted/second" || fail "xorriso's session"
    cmp "$here/first/Some Notes/deep/er/random.bin" \
        "$here/mounted/Some Notes/deep/er/random.bin" || fail "cdrskin's session"
    umount "$here/mounted"
    dd if="$device" bs=2048 count=100 status=none | cmp -n 204800 - "$here/first.iso" || fail "dd"
    [[ $(blkid -p -o value -s TYPE "$device") == iso9660 ]] || fail "blkid"
    /lib/udev/cdrom_id "$device" >"$kept/cdrom_id"
    grep -q '^ID_CDROM_MEDIA_CD_RW=1' "$kept/cdrom_id" || fail "cdrom_id sees another medium"
    # Two closed sessions, and the one that is still to come.
    grep -q '^ID_CDROM_MEDIA_SESSION_NEXT=3' "$kept/cdrom_id" || fail "cdrom_id sees other sessions"
    udevadm info "$device" | grep -q 'ID_FS_LABEL=' || fail "udev knows no label"
    as alice cdrskin "dev=$device" blank=fast >>"$kept/cdrskin" 2>&1 || fail "cdrskin blank"
}
