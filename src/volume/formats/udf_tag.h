// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The basic elements of all UDF descriptors: the tag with its checksums, timestamps, entity
// identifiers, and texts. ECMA-167 defines their format, UDF 1.02 their contents.
#pragma once

#include "volume/model/dates.h"
#include "volume/model/sector_writers.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace larkspin {

inline constexpr size_t kUdfTagBytes = 16;     // ECMA-167 3/7.2
inline constexpr size_t kUdfCharsetBytes = 64; // ECMA-167 1/7.2.1
inline constexpr size_t kUdfEntityBytes = 32;  // ECMA-167 1/7.4
inline constexpr uint16_t kUdfRevision = 0x0102;

// Tag identifiers (ECMA-167 3/7.2.1 and 4/7.2.1).
enum class UdfTag : uint16_t {
    PrimaryVolume = 1,
    AnchorPointer = 2,
    ImplementationUse = 4,
    Partition = 5,
    LogicalVolume = 6,
    UnallocatedSpace = 7,
    Terminating = 8,
    Integrity = 9,
    FileSet = 256,
    FileIdentifier = 257,
    FileEntry = 261,
};

// ECMA-167 3/7.2.6: polynomial 0x1021, initial value 0, most significant bit first.
uint16_t UdfCrc(std::span<const uint8_t> bytes);
// The CRC after another `zeros` (below 2048) zero bytes, where `crc` is the CRC so far.
uint16_t UdfCrcOverZeros(uint16_t crc, uint32_t zeros);

// Fills in the tag at the front of `descriptor`, whose other bytes must be final. `location` is the
// sector of the descriptor, counted as its place requires. The descriptor is `zeros` bytes longer
// than the span, and those bytes are zero.
void WriteUdfTag(std::span<uint8_t> descriptor, UdfTag tag, uint32_t location, uint32_t zeros = 0);

// ECMA-167 1/7.3: 12 bytes, local time with its zone in minutes.
void WriteUdfTimestamp(FieldWriter& writer, size_t offset, const RecordDate& date);
// UDF's only character set: "OSTA Compressed Unicode".
void WriteUdfCharset(FieldWriter& writer, size_t offset);
// The developer of the writing program.
void WriteUdfDeveloper(FieldWriter& writer, size_t offset);
// UDF 2.1.5.3: the domain, with its revision and both of its write protect flags.
void WriteUdfDomain(FieldWriter& writer, size_t offset);
// UDF 2.2.7.1: the logical volume's information.
void WriteUdfVolumeInfo(FieldWriter& writer, size_t offset);

// UDF 2.1.1: the compression byte and the characters of `text`, mapped like Joliet names: 8 with
// one byte each if they all fit, else 16 with big-endian units.
std::string UdfCompressed(std::u16string_view text);
// The length of that.
size_t UdfCompressedBytes(std::u16string_view text);
// ECMA-167 1/7.2.12: compressed text in a field of `width` bytes, truncated to fit, with its number
// of bytes in the last one. An empty text is all zeros.
void WriteUdfText(FieldWriter& writer, size_t offset, size_t width, std::u16string_view text);

} // namespace larkspin
