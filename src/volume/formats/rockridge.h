// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Rock Ridge: System Use data of the entries (SUSP, RRIP 1.09 "RRIP_1991A"), continuation areas,
// the extension record, and the fields that depend on the addresses of directories.
#pragma once

#include "platform/files.h"
#include "volume/model/fragment.h"
#include "volume/model/tree.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace larkspin {

struct GenOptions;
struct VolumeRun;

// Sets owner and mode to those of a data disc, if the options ask for it.
void NormalizeStatus(const GenOptions& options, FileStatus& status);

// What MakeRockRidge adds beyond name, attributes and dates.
inline constexpr uint32_t kRrRelocated = 1;        // RE: entry of a relocated directory
inline constexpr uint32_t kRrParentLink = 2;       // PL: ".." of a relocated directory
inline constexpr uint32_t kRrChildLink = 4;        // CL: placeholder of a relocated directory
inline constexpr uint32_t kRrExtensionPointer = 8; // CE to the extension record: root's "."
inline constexpr uint32_t kRrSuspStart = 16;       // SP: root's "."

// Makes the System Use data of `entry`, whose ISO name must be set. `native` is the 8-bit form of
// its name, which NM stores as it is, so that a name of any bytes survives. Does nothing if neither
// Rock Ridge nor CD-XA is on.
void MakeRockRidge(VolumeRun& run, std::string_view native, IsoEntry& entry, uint32_t flags,
                   const FileStatus& status);

// The System Use entry of `entry` with this signature, including continuation areas; empty if there
// is none.
std::span<uint8_t> FindSystemUse(IsoEntry& entry, std::string_view signature);

// Copies the attributes and dates of `from` to `to` where both have them in the same form.
void CopyAttributes(IsoEntry& from, IsoEntry& to);

// Makes `entries`, a sequence of System Use entries without CE, the data of `entry`, whose ISO name
// must be set. If it doesn't fit into the record, the rest goes into continuation areas.
void LayOutSystemUse(IsoEntry& entry, std::span<const uint8_t> entries);

// Lays out the data of `entry`, which is not the root's ".", again because its record has grown
// beyond 255 bytes.
void RefitSystemUse(IsoEntry& entry);

// Places the continuation areas of `entry` in a directory's bytes of areas, from `offset` on.
// Returns the next free offset.
uint32_t PlaceContinuations(const IsoEntry& entry, uint32_t offset);

// Copies the continuation areas of `entry` to `areas`, which is at the absolute sector
// `areasSector`, from `offset` on, and points the CE entries at them. Returns the next free offset,
// by the same rule as PlaceContinuations.
uint32_t WriteContinuations(IsoEntry& entry, uint32_t offset, uint32_t areasSector,
                            std::span<uint8_t> areas);

// Builds the sector of the ER entry, which is needed before the tree.
void MakeExtensionRecord(VolumeRun& run);
// "Extension record": one sector, to which the root's "." points.
OutputFragment ExtensionRecordFragment(VolumeRun& run);

// Fills in PL, CL and the link counts. All ISO directories must have their extents.
void FinishRockRidge(VolumeRun& run);

} // namespace larkspin
