// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The directories and files of the UDF view: file entries, which say where contents lie, and file
// identifiers, which give them names. ECMA-167 4/14.4 and 4/14.9.
//
// The view follows the Joliet chains, so Joliet's sort must have run, and it shows relocated
// directories at their true places. Contents are shared with the ISO view.
#pragma once

#include <cstdint>

namespace larkspin {

class SectorStream;
struct VolumeRun;

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
