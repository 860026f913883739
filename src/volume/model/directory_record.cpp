// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/directory_record.h"

#include "platform/byte_order.h"
#include "volume/model/sector_writers.h"

#include <algorithm>

namespace larkspin {

namespace {

// ECMA-119 9.1, table 9.
constexpr size_t kAtLength = 0;
constexpr size_t kAtExtendedLength = 1;
constexpr size_t kAtExtent = 2;
constexpr size_t kAtSize = 10;
constexpr size_t kAtDate = 18;
constexpr size_t kAtFlags = 25;
constexpr size_t kAtUnitSize = 26;
constexpr size_t kAtGap = 27;
constexpr size_t kAtVolumeSequence = 28;
constexpr size_t kAtNameLength = 32;

} // namespace

std::optional<DirectoryRecord> DirectoryRecord::Read(std::span<const uint8_t> bytes) {
    if (bytes.size() <= kHeadBytes) {
        return std::nullopt;
    }
    const size_t nameBytes = bytes[kAtNameLength];
    if (nameBytes == 0 || kHeadBytes + nameBytes > bytes.size()) {
        return std::nullopt;
    }
    DirectoryRecord record;
    record.length = static_cast<uint8_t>(bytes.size());
    record.extended_length = bytes[kAtExtendedLength];
    record.extent = LoadLe32(&bytes[kAtExtent]);
    record.size = LoadLe32(&bytes[kAtSize]);
    std::copy_n(&bytes[kAtDate], record.date.size(), record.date.begin());
    record.flags = bytes[kAtFlags];
    record.unit_size = bytes[kAtUnitSize];
    record.gap = bytes[kAtGap];
    record.volume_sequence = LoadLe16(&bytes[kAtVolumeSequence]);
    const auto name = bytes.subspan(kHeadBytes, nameBytes);
    record.name.assign(name.begin(), name.end());
    return record;
}

void DirectoryRecord::Write(std::span<uint8_t> bytes) const {
    FieldWriter writer(bytes);
    writer.U8(kAtLength, length);
    writer.U8(kAtExtendedLength, extended_length);
    writer.Both32(kAtExtent, extent);
    writer.Both32(kAtSize, size);
    writer.Bytes(kAtDate, date);
    writer.U8(kAtFlags, flags);
    writer.U8(kAtUnitSize, unit_size);
    writer.U8(kAtGap, gap);
    writer.Both16(kAtVolumeSequence, volume_sequence);
    writer.U8(kAtNameLength, static_cast<uint8_t>(name.size()));
    writer.Text(kHeadBytes, name);
}

} // namespace larkspin
