// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// DVD-Video layout: the padding after each file of a VIDEO_TS folder that puts every part where the
// control data (IFO files) say it is.
//
// The control data count sectors from the start of the video manager or of a title set, and a
// player expects the parts of each next to each other: IFO, menu VOB, title VOBs in order, BUP. The
// plain order of a directory puts BUP first and separates the parts of a set. So the files of a
// folder with valid control data get their addresses in the players' order: the video manager, then
// the title sets by number, then all other files. The order of the directory records does not
// change, as they are sorted by name. If the control data are invalid, nothing is padded and the
// plain order stays.
//
// No file is changed; only empty sectors are added.
#pragma once

#include "platform/files.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace larkspin {

struct IsoDirectory;
struct IsoEntry;

// Empty sectors after the parts of the video manager (row 0) and of each title set.
struct DvdFileSet {
    struct Row {
        int64_t ifo_padding = 0;
        int64_t menu_padding = 0;
        int64_t title_padding = 0; // after the last title VOB
        int64_t backup_padding = 0;
        uint32_t vob_count = 0; // title VOBs, at most 9
    };
    std::vector<Row> rows;

    uint32_t TitleSets() const { return static_cast<uint32_t>(rows.size()) - 1; }
};

// True for a folder in which control data are looked for.
bool IsDvdFolder(const IsoDirectory& folder);

// Reads the control data of `folder`. Returns nothing if it is not a VIDEO_TS folder, or if its
// data are broken or don't fit the files, for example if a file's size is not a multiple of 2048
// bytes.
std::optional<DvdFileSet> BuildFileSet(IFileSystem& files, const IsoDirectory& folder);

// The number of empty sectors after the file of that name; negative if the control data give its
// part less room than it takes.
int64_t PadFor(const DvdFileSet& set, std::u16string_view fileName);

// The entries of `folder` in the order in which they get their addresses. Those that the control
// data don't mention come last, so that they displace nothing.
std::vector<IsoEntry*> PlayersOrder(const DvdFileSet& set, const IsoDirectory& folder);

} // namespace larkspin
