// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a run of the generator has to tell of single names: what it leaves out of the volume and
// why, what stands there otherwise than it was asked for, and what changed while it was read.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace larkspin {

enum class NoticeReason {
    // The name is not on the volume:
    Nameless,     // it ends in what is no name
    Missing,      // nothing is there
    LeadsNowhere, // it is a link
    Forbidden,    // this user may not enter a folder on the way
    Unreachable,  // its disk or server fails
    Unreadable,   // this user may not read the file
    Special,      // neither file nor folder: a device, a named pipe, a socket
    TooLarge,     // a file of more bytes than a volume can hold
    OldBroken,    // a file of an earlier session that was cut off, or whose entry is broken
    OldCut,       // all that a session which was cut off has added; has no path
    // The folder is on the volume, but not what could not be listed in it:
    FolderUnreadable,
    FolderIncomplete,
    FolderTaken, // nothing: the folder has its contents in another place
    LeadsBack,   // nothing: a link to a folder around the item of the queue
    HidesFolder, // a file of the name of a folder that is on the disc already
    // The folder is on the volume, but players will not take it for DVD-Video:
    DvdBroken,
    NoDvd, // there is none
    // The file is there under another name:
    Renamed, // another file has its name
    // The file is there, and was no longer as the volume tells of it once it had been read:
    Shrank, // zeros stand for what was missing
    Grew,   // what came is not on the volume
    Changed,
    Vanished,
    OtherKind, // no file any more
};

struct VolumeNotice {
    NoticeReason reason;
    std::u16string path;     // on disk; of OldBroken, on the volume
    std::u16string shown_as; // the name on the volume of what is Renamed
};

using VolumeNoticeTaker = std::function<void(const VolumeNotice& notice)>;

// One line for the user.
std::u16string TextOf(const VolumeNotice& notice);

// Paragraphs for the user, one for each reason: how many names it concerns, and the first of them.
std::u16string ListOf(const std::vector<VolumeNotice>& notices);

} // namespace larkspin
