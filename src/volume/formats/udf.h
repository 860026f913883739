// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The UDF 1.02 bridge: rows of the fragment table that add a UDF volume to ISO 9660 and Joliet.
// File contents are shared. The rows are in the order of their declarations.
//
// UDF can't address anything before its partition, so a session that keeps files of an earlier one
// has no UDF view, and the run fails.
#pragma once

#include "volume/model/fragment.h"

#include <cstdint>
#include <vector>

namespace larkspin {

class SectorStream;
struct VolumeRun;

// Directly after the End Volume Descriptor.
OutputFragment UdfRecognitionFragment(VolumeRun& run);
// After the "Version block": everything up to the file entries.
std::vector<OutputFragment> UdfFragments(VolumeRun& run);
// After the files.
std::vector<OutputFragment> UdfTailFragments(VolumeRun& run);

// --- the directories and files of the view (udf_tree.cpp) ---
// File entries say where contents are, and file identifiers give them names (ECMA-167 4/14.4 and
// 4/14.9). The view follows the Joliet chains, so Joliet must have been sorted, and it shows
// relocated directories at their real places. Contents are shared with the ISO view.

// A file of this size or more has more extents than its file entry has room for.
inline constexpr uint64_t kUdfFileSizeLimit = uint64_t{234} * 0x3FFFF800 + 1;

// Assign each directory, or each file, the sector of its entry, and count them in `run.udf`.
// PlanUdfFiles fails for a file before the partition, such as one kept from an earlier session: UDF
// has no address for it.
void PlanUdfDirectories(VolumeRun& run);
void PlanUdfFiles(VolumeRun& run);

// Send what was planned. All contents must have their extents.
void WriteUdfDirectories(VolumeRun& run, SectorStream& stream);
void WriteUdfFiles(VolumeRun& run, SectorStream& stream);

} // namespace larkspin
