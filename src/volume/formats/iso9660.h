// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The ISO 9660 (ECMA-119) structures of the primary tree, and the "Version block".
#pragma once

#include "volume/model/fragment.h"

#include <cstdint>

namespace larkspin {

class FieldWriter;
struct DirectoryRecord;
struct PathTables;
struct VolumeRun;

// Offsets inside a primary or supplementary volume descriptor (ECMA-119 8.4 and 8.5).
inline constexpr size_t kVdAtType = 0;
inline constexpr size_t kVdAtIdentifier = 1;
inline constexpr size_t kVdAtVersion = 6;
inline constexpr size_t kVdAtSystemId = 8;
inline constexpr size_t kVdAtVolumeId = 40;
inline constexpr size_t kVdAtVolumeSpace = 80;
inline constexpr size_t kVdAtEscapes = 88;
inline constexpr size_t kVdAtVolumeSetSize = 120;
inline constexpr size_t kVdAtVolumeSequence = 124;
inline constexpr size_t kVdAtBlockSize = 128;
inline constexpr size_t kVdAtPathTableSize = 132;
inline constexpr size_t kVdAtLittleTable = 140;
inline constexpr size_t kVdAtBigTable = 148;
inline constexpr size_t kVdAtRootRecord = 156;
inline constexpr size_t kVdAtVolumeSetId = 190;
inline constexpr size_t kVdAtPublisherId = 318;
inline constexpr size_t kVdAtPreparerId = 446;
inline constexpr size_t kVdAtApplicationId = 574;
inline constexpr size_t kVdAtCopyrightFile = 702;
inline constexpr size_t kVdAtAbstractFile = 739;
inline constexpr size_t kVdAtBibliographicFile = 776;
inline constexpr size_t kVdAtCreation = 813;
inline constexpr size_t kVdAtModification = 830;
inline constexpr size_t kVdAtExpiration = 847;
inline constexpr size_t kVdAtEffective = 864;
inline constexpr size_t kVdAtFileStructure = 881;
inline constexpr size_t kVdAtApplicationUse = 883;
inline constexpr size_t kVdApplicationUseBytes = 512;
inline constexpr size_t kVdAtXaMark = 1024;
inline constexpr size_t kVdSystemIdBytes = 32;
inline constexpr size_t kVdVolumeIdBytes = 32;
inline constexpr size_t kVdTextBytes = 128; // volume set, publisher, preparer, application
inline constexpr size_t kVdFileNameBytes = 37;

// Sectors from the start of a session to its primary volume descriptor (ECMA-119 6.2.1).
inline constexpr uint32_t kSystemAreaSectors = 16;

// Writes where a volume descriptor's tree is: its path tables and its root.
void WriteTreePlace(FieldWriter& writer, const PathTables& tables, const DirectoryRecord& root);

OutputFragment PrimaryDescriptorFragment(VolumeRun& run);
// Present for an interchange level above 3 (ISO 9660:1999).
OutputFragment EnhancedDescriptorFragment(VolumeRun& run);
OutputFragment EndDescriptorFragment(VolumeRun& run);
OutputFragment VersionBlockFragment(VolumeRun& run);
OutputFragment PathTableFragment(VolumeRun& run);
OutputFragment DirectoryTreeFragment(VolumeRun& run);

} // namespace larkspin
