// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// DVD-Video layout: what must stand behind each file of a VIDEO_TS folder so that every part lies
// where the control data (IFO files) say.
//
// The control data count sectors from the start of the video manager or of a title set, and a
// player takes the parts of each for neighbours: IFO, menu VOB, title VOBs in their order, BUP.
// The plain order of a directory puts BUP first, and one set's parts apart from its areas. So the
// files of a folder whose control data hold get their addresses in the players' order: the video
// manager, then the title sets by number, then all other files. The order of the directory's
// records stays, as it is that of their names. Where the control data don't hold, nothing is padded
// and the plain order stays.
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

// Empty sectors behind the parts of the video manager (row 0) and of each title set.
struct DvdFileSet {
    struct Row {
        int64_t ifo_padding = 0;
        int64_t menu_padding = 0;
        int64_t title_padding = 0; // behind the last title VOB
        int64_t backup_padding = 0;
        uint32_t vob_count = 0; // title VOBs, at most 9
    };
    std::vector<Row> rows;

    uint32_t TitleSets() const { return static_cast<uint32_t>(rows.size()) - 1; }
};

// True for a folder whose control data are looked for.
bool IsDvdFolder(const IsoDirectory& folder);

// Reads the control data of `folder`, a VIDEO_TS folder. Nothing if it is none, or if its data are
// broken or don't fit the files, as with a file that is no multiple of 2048 bytes long.
std::optional<DvdFileSet> BuildFileSet(IFileSystem& files, const IsoDirectory& folder);

// Empty sectors behind the file of that name; negative if the control data give its part less room
// than it takes.
int64_t PadFor(const DvdFileSet& set, std::u16string_view fileName);

// The entries of `folder` in the order in which they get their addresses. Those that the control
// data don't count come last, so that they push nothing out of its place.
std::vector<IsoEntry*> PlayersOrder(const DvdFileSet& set, const IsoDirectory& folder);

} // namespace larkspin
