// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a run of the generator reports about individual names: what it leaves out of the volume and
// why, what differs from what was asked for, and what changed while it was read.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace larkspin {

enum class NoticeReason {
    // The name is not on the volume:
    Nameless,     // it ends in something that is not a name
    Missing,      // nothing is there
    LeadsNowhere, // it is a link without a target
    Forbidden,    // this user has no access to a folder on the way
    Unreachable,  // its disk or server fails
    Unreadable,   // this user may not read the file
    Special,      // neither file nor folder: a device, a named pipe, a socket
    TooLarge,     // larger than a volume can hold
    OldBroken,    // a file of an earlier session that was cut off, or whose entry is broken
    OldCut,       // everything added by a session that was cut off; has no path
    // The folder is on the volume, but empty or incomplete:
    FolderUnreadable,
    FolderIncomplete,
    FolderTaken, // its contents are elsewhere on the volume
    LeadsBack,   // it is a link to a folder around the queue item
    // The file is not on the volume: a folder of its name is on the disc already.
    HidesFolder,
    // The folder is on the volume, but players will not accept it as DVD-Video:
    DvdBroken,
    NoDvd, // there is no DVD-Video
    // The file is on the volume under another name:
    Renamed, // its name belongs to another file
    // The file is on the volume, but no longer matched its description once it had been read:
    Shrank, // padded with zeros
    Grew,   // the added part is not on the volume
    Changed,
    Vanished,
    OtherKind, // it is no longer a file
};

struct VolumeNotice {
    NoticeReason reason;
    std::u16string path;     // on disk; of OldBroken, on the volume
    std::u16string shown_as; // for Renamed: the name on the volume
};

using VolumeNoticeTaker = std::function<void(const VolumeNotice& notice)>;

// One line for the user.
std::u16string TextOf(const VolumeNotice& notice);

// Paragraphs for the user, one for each reason: how many names it concerns, and the first of them.
std::u16string ListOf(const std::vector<VolumeNotice>& notices);

} // namespace larkspin
