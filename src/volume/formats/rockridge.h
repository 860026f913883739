// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Rock Ridge: System Use data of the entries (SUSP, RRIP 1.09 "RRIP_1991A"), continuation areas,
// the extension record, and the fields that can only be filled once directories have addresses.
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

// Owner and mode as a data disc shows them, where the options want that.
void NormalizeStatus(const GenOptions& options, FileStatus& status);

// What the caller of MakeRockRidge asks for beyond name, attributes and dates.
inline constexpr uint32_t kRrRelocated = 1;        // RE: entry of a relocated directory
inline constexpr uint32_t kRrParentLink = 2;       // PL: ".." of a relocated directory
inline constexpr uint32_t kRrChildLink = 4;        // CL: placeholder of a relocated directory
inline constexpr uint32_t kRrExtensionPointer = 8; // CE to the extension record: root's "."
inline constexpr uint32_t kRrSuspStart = 16;       // SP: root's "."

// Makes the System Use data of `entry`; its ISO name must be set. `native` is the 8-bit form of
// its name: NM holds these very bytes, so a name of any bytes comes back whole. Does nothing if
// neither Rock Ridge nor CD-XA is on.
void MakeRockRidge(VolumeRun& run, std::string_view native, IsoEntry& entry, uint32_t flags,
                   const FileStatus& status);

// The entry with this signature in the System Use data of `entry`, continuation areas included;
// empty if there is none.
std::span<uint8_t> FindSystemUse(IsoEntry& entry, std::string_view signature);

// Gives `to` the attributes and dates of `from` where both have them in the same form.
void CopyAttributes(IsoEntry& from, IsoEntry& to);

// Makes `entries`, one System Use entry behind the other and none of them a CE, the data of
// `entry`, whose ISO name must be set: if it doesn't fit the record as a whole, the rest stands in
// continuation areas.
void LayOutSystemUse(IsoEntry& entry, std::span<const uint8_t> entries);

// Lays the data of `entry`, which is not the root's ".", out anew because its record has outgrown
// 255 bytes.
void RefitSystemUse(IsoEntry& entry);

// Bytes of continuation areas of `entry` placed behind `offset`: the next free offset.
uint32_t PlaceContinuations(const IsoEntry& entry, uint32_t offset);

// Copies the continuation areas of `entry` to `areas`, which stands at the absolute sector
// `areasSector`, from `offset` on, and points the CE entries at them. Gives the next free offset;
// follows the same rule as PlaceContinuations.
uint32_t WriteContinuations(IsoEntry& entry, uint32_t offset, uint32_t areasSector,
                            std::span<uint8_t> areas);

// Builds the sector of the ER entry; needed before the tree.
void MakeExtensionRecord(VolumeRun& run);
// "Extension record": one sector, to which the root's "." is pointed.
OutputFragment ExtensionRecordFragment(VolumeRun& run);

// Fills PL, CL and the link counts. All ISO directories must have their extents.
void FinishRockRidge(VolumeRun& run);

} // namespace larkspin
