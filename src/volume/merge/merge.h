// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Laying the tree of a new session over the session before it (ECMA-119, SUSP 1.12, RRIP 1.12).
//
// What the merge does with the names of a folder:
// - A folder on the disc and one of that name in the queue become one, with the entries of both.
// - A file of the queue replaces the old one of its exact name. If it is unchanged - size, date of
//   modification and of attribute change to the second with their time zone, and type agree - the
//   old sectors serve it and nothing is written; owner and permissions come from the new file.
// - Everything else on the disc is kept as it stands: ISO name, dates, flags, extents, System Use
//   data. If an ISO name is taken by a new entry, the old one gets digits as after any clash.
// - Relocated directories of the old session are found by their CL entries, and stand in the
//   relocation directory of the new volume. One that no CL leads to stays, hidden from Rock Ridge
//   as before.
// - A single file that is broken, or that does not lie in front of `previous_end` as a whole, as in
// a
//   session that was cut off, is left out and told (OldBroken). Directories must be sound.
// - A folder of the queue replaces an old file. A file that would replace an old folder, and so
//   hide all that it holds, is left out and told; the folder stays.
// - A name that was made up for a file (see twins.h) replaces nothing but the file unchanged: the
//   next number is taken.
//
// Old names come from Rock Ridge or from TRANS.TBL; without either they are the ISO names. Only the
// primary tree is read: a boot record or names that only Joliet shows are not carried on.
#pragma once

#include "platform/byte_stream.h"

namespace larkspin {

struct VolumeRun;

// Adds to `run.tree`, which holds the queue, what the session at `run.previous_base` holds; reads
// through `drive`, and never after it has returned. Tells what is lost with
// GenOptions::cut_sessions. Reading takes time and memory in proportion to what the disc can hold,
// whatever stands on it.
//
// Fails with a text for the user if the drive can't read, if there is no session of one volume with
// 2048-byte sectors, and with "Cannot merge previous session." or "Cannot parse Rock Ridge
// attributes for '%s'." where a broken folder would make the new volume lose or distort what the
// old one shows.
void MergePreviousSession(VolumeRun& run, IBlockReader& drive);

} // namespace larkspin
