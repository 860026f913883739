// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The UDF descriptors of the volume as a whole: its identity, its one partition, and how to find
// both. ECMA-167 parts 3 and 4; a read-only volume without a virtual allocation table or sparing
// table.
#pragma once

#include "volume/model/sectors.h"

#include <array>
#include <cstdint>
#include <vector>

namespace larkspin {

struct VolumeRun;

using UdfSector = std::array<uint8_t, kSectorBytes>;

inline constexpr uint32_t kUdfSequenceSectors = 16;

// The three sectors of ECMA-167 2/8.3 that announce the volume: "BEA01", "NSR02", "TEA01".
std::vector<UdfSector> UdfRecognitionArea();
// The Volume Descriptor Sequence that begins at sector `start`, including the zero sectors at its
// end.
std::vector<UdfSector> UdfVolumeSequence(const VolumeRun& run, uint32_t start);
UdfSector UdfIntegrityDescriptor(const VolumeRun& run);
// `location`: the sector that the descriptor states, relative to the partition if inside it.
UdfSector UdfTerminatingDescriptor(uint32_t location);
UdfSector UdfAnchor(const VolumeRun& run, uint32_t sector);
UdfSector UdfFileSetDescriptor(const VolumeRun& run);

} // namespace larkspin
