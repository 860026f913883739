// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The UDF 1.02 bridge: rows of the fragment table that put a UDF volume beside ISO 9660 and Joliet,
// with the file contents shared. The order of the rows is that of their declarations.
//
// UDF has no addresses in front of its partition, so a session that keeps files of an earlier one
// has no UDF view, and the run fails.
#pragma once

#include "volume/model/fragment.h"

#include <cstdint>
#include <vector>

namespace larkspin {

class SectorStream;
struct VolumeRun;

// Directly behind the End Volume Descriptor.
OutputFragment UdfRecognitionFragment(VolumeRun& run);
// Behind the "Version block": all up to the file entries.
std::vector<OutputFragment> UdfFragments(VolumeRun& run);
// Behind the files.
std::vector<OutputFragment> UdfTailFragments(VolumeRun& run);

// --- the directories and files of the view (udf_tree.cpp) ---
// File entries say where contents lie, and file identifiers give them names (ECMA-167 4/14.4 and
// 4/14.9). The view follows the Joliet chains, so Joliet's sort must have run, and it shows
// relocated directories at their true places. Contents are shared with the ISO view.

// A file of this many bytes or more has more extents than its file entry has room for.
inline constexpr uint64_t kUdfFileSizeLimit = uint64_t{234} * 0x3FFFF800 + 1;

// Give each directory, and each file, the sector of its entry, and count them in `run.udf`.
// PlanUdfFiles fails for a file that lies in front of the partition, as one kept from an earlier
// session does: UDF has no address for it.
void PlanUdfDirectories(VolumeRun& run);
void PlanUdfFiles(VolumeRun& run);

// Send what was planned. All contents must have their extents.
void WriteUdfDirectories(VolumeRun& run, SectorStream& stream);
void WriteUdfFiles(VolumeRun& run, SectorStream& stream);

} // namespace larkspin
