// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Merges the tree of a new session with the session before it (ECMA-119, SUSP 1.12, RRIP 1.12).
//
// The rules for the names in a folder:
// - A folder on the disc and one of the same name in the queue become one, with the entries of
//   both.
// - A file of the queue replaces the old one with exactly the same name. If it is unchanged (same
//   size, type, and dates of modification and attribute change, to the second and with their time
//   zone), it uses the old sectors and nothing is written; owner and permissions come from the new
//   file.
// - Everything else on the disc is kept as it is: ISO name, dates, flags, extents, System Use data.
//   If an ISO name is taken by a new entry, the old one gets digits, as after any clash.
// - Relocated directories of the old session are found through their CL entries and go into the
//   relocation directory of the new volume. One without a CL stays hidden from Rock Ridge, as
//   before.
// - A single file that is broken, or does not lie entirely before `previous_end`, as in a session
//   that was cut off, is left out and reported (OldBroken). Directories must be intact.
// - A folder of the queue replaces an old file. A file that would replace an old folder, and so
//   hide all its contents, is left out and reported; the folder stays.
// - A name made up for a file (see twins.h) replaces nothing but the same, unchanged file: the next
//   number is taken.
//
// Old names come from Rock Ridge or TRANS.TBL; without either, they are the ISO names. Only the
// primary tree is read: boot records and names that only Joliet shows are not preserved.
#pragma once

#include "platform/byte_stream.h"

namespace larkspin {

struct VolumeRun;

// Adds the contents of the session at `run.previous_base` to `run.tree`, which holds the queue.
// Reads through `drive`, and never after it has returned. Reports what is lost with
// GenOptions::cut_sessions. Time and memory are bounded in proportion to what the disc can hold,
// whatever is on it.
//
// Fails with a text for the user if the drive can't read, if there is no session of one volume with
// 2048-byte sectors, and with "Cannot merge previous session." or "Cannot parse Rock Ridge
// attributes for '%s'." if a broken folder would make the new volume lose or distort what the old
// one shows.
void MergePreviousSession(VolumeRun& run, IBlockReader& drive);

} // namespace larkspin
