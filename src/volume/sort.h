// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Finishes each directory for the ISO view: dots, unique names, order, sizes.
#pragma once

namespace larkspin {

struct VolumeRun;

// Processes the whole tree and counts the path table.
//
// Of entries with the same ISO name, the one with the highest priority keeps it, and among equals
// the one scanned first; the others get digits. Fails if the digits run out, if a record grows
// beyond 255 bytes, or if two entries of a directory would have the same Rock Ridge name, as one of
// them could never be reached. Tells the user which files have another name than on disk.
void SortIsoTree(VolumeRun& run);

} // namespace larkspin
