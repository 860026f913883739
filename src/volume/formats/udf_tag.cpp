// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/udf_tag.h"

#include "volume/formats/joliet.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

constexpr uint16_t kTagVersion = 2; // ECMA-167, second edition
constexpr uint16_t kTypeLocalTime = 0x1000;
constexpr uint16_t kZoneMask = 0x0FFF;
constexpr int kZoneMinutes = 15; // of one step of a record's date
constexpr size_t kEntityAtIdentifier = 1;
constexpr size_t kEntityAtSuffix = 24;
constexpr uint8_t kWriteProtected = 3; // hard and soft

constexpr size_t kTagAtVersion = 2;
constexpr size_t kTagAtChecksum = 4;
constexpr size_t kTagAtCrc = 8;
constexpr size_t kTagAtCrcLength = 10;
constexpr size_t kTagAtLocation = 12;

using CrcTable = std::array<uint16_t, 256>;

constexpr CrcTable MakeCrcTable() {
    constexpr uint32_t kPolynomial = 0x1021;
    CrcTable table = {};
    for (uint32_t byte = 0; byte < table.size(); ++byte) {
        uint32_t value = byte << 8;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value << 1) ^ ((value & 0x8000) != 0 ? kPolynomial : 0);
        }
        table[byte] = static_cast<uint16_t>(value);
    }
    return table;
}

constexpr CrcTable kCrcTable = MakeCrcTable();

constexpr uint16_t NextCrc(uint16_t crc, uint8_t byte) {
    return static_cast<uint16_t>((crc << 8) ^ kCrcTable[(crc >> 8) ^ byte]);
}

constexpr size_t kSlice = 8; // bytes taken at once

// Table k holds the CRC of each byte followed by k zero bytes: the CRC of a slice is the sum of
// those of its bytes.
constexpr std::array<CrcTable, kSlice> MakeSliceTables() {
    std::array<CrcTable, kSlice> tables = {kCrcTable};
    for (size_t k = 1; k < kSlice; ++k) {
        for (size_t byte = 0; byte < tables[k].size(); ++byte) {
            tables[k][byte] = NextCrc(tables[k - 1][byte], 0);
        }
    }
    return tables;
}

constexpr std::array<CrcTable, kSlice> kSliceTables = MakeSliceTables();

// The effect of a run of 2^k zero bytes on a CRC. As the CRC is linear, the effect on a value is
// the sum of those on its two bytes.
struct ZeroRun {
    std::array<uint16_t, 256> low = {};
    std::array<uint16_t, 256> high = {};

    constexpr uint16_t operator()(uint16_t crc) const { return low[crc & 0xFF] ^ high[crc >> 8]; }
};

constexpr size_t kZeroRuns = 11; // up to 1024 bytes

constexpr std::array<ZeroRun, kZeroRuns> MakeZeroRuns() {
    std::array<ZeroRun, kZeroRuns> runs = {};
    for (size_t k = 0; k < kZeroRuns; ++k) {
        const auto after = [&](uint16_t crc) {
            return k == 0 ? NextCrc(crc, 0) : runs[k - 1](runs[k - 1](crc));
        };
        for (uint32_t byte = 0; byte < 256; ++byte) {
            runs[k].low[byte] = after(static_cast<uint16_t>(byte));
            runs[k].high[byte] = after(static_cast<uint16_t>(byte << 8));
        }
    }
    return runs;
}

constexpr std::array<ZeroRun, kZeroRuns> kZeroRunTables = MakeZeroRuns();

void WriteEntity(FieldWriter& writer, size_t offset, std::string_view identifier) {
    writer.Text(offset + kEntityAtIdentifier, identifier);
}

// Bytes that each unit of the text takes.
size_t UnitBytes(std::u16string_view text) {
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] > 0xFF && JolietUnit(text, i) > 0xFF) { // a small unit maps to a small one
            return 2;
        }
    }
    return 1;
}

} // namespace

uint16_t UdfCrc(std::span<const uint8_t> bytes) {
    uint16_t crc = 0;
    for (; bytes.size() >= kSlice; bytes = bytes.subspan(kSlice)) {
        uint16_t next = kSliceTables[kSlice - 1][bytes[0] ^ (crc >> 8)] ^
                        kSliceTables[kSlice - 2][bytes[1] ^ (crc & 0xFF)];
        for (size_t i = 2; i < kSlice; ++i) {
            next ^= kSliceTables[kSlice - 1 - i][bytes[i]];
        }
        crc = next;
    }
    for (const uint8_t byte : bytes) {
        crc = NextCrc(crc, byte);
    }
    return crc;
}

uint16_t UdfCrcOverZeros(uint16_t crc, uint32_t zeros) {
    assert(zeros < 1u << kZeroRuns);
    for (size_t k = 0; k < kZeroRuns; ++k) {
        if ((zeros >> k & 1) != 0) {
            crc = kZeroRunTables[k](crc);
        }
    }
    return crc;
}

void WriteUdfTag(std::span<uint8_t> descriptor, UdfTag tag, uint32_t location, uint32_t zeros) {
    const std::span<const uint8_t> body = descriptor.subspan(kUdfTagBytes);
    FieldWriter writer(descriptor);
    writer.Fill(0, kUdfTagBytes, 0);
    writer.Little16(0, static_cast<uint16_t>(tag));
    writer.Little16(kTagAtVersion, kTagVersion);
    writer.Little16(kTagAtCrc, UdfCrcOverZeros(UdfCrc(body), zeros));
    writer.Little16(kTagAtCrcLength, static_cast<uint16_t>(body.size() + zeros));
    writer.Little32(kTagAtLocation, location);
    uint8_t sum = 0; // of all bytes but itself, which is still 0
    for (const uint8_t byte : descriptor.first(kUdfTagBytes)) {
        sum = static_cast<uint8_t>(sum + byte);
    }
    writer.U8(kTagAtChecksum, sum);
}

void WriteUdfTimestamp(FieldWriter& writer, size_t offset, const RecordDate& date) {
    const auto [year, month, day, hour, minute, second, zone] = date;
    const int zoneMinutes = static_cast<int8_t>(zone) * kZoneMinutes;
    writer.Little16(offset, static_cast<uint16_t>(
                                kTypeLocalTime | (static_cast<uint16_t>(zoneMinutes) & kZoneMask)));
    writer.Little16(offset + 2, static_cast<uint16_t>(1900 + year));
    writer.Bytes(offset + 4, std::array{month, day, hour, minute, second});
    writer.Fill(offset + 9, 3, 0);
}

void WriteUdfCharset(FieldWriter& writer, size_t offset) {
    writer.Text(offset + 1, "OSTA Compressed Unicode");
}

void WriteUdfDeveloper(FieldWriter& writer, size_t offset) {
    WriteEntity(writer, offset, "*quernstone-dev");
}

void WriteUdfDomain(FieldWriter& writer, size_t offset) {
    WriteEntity(writer, offset, "*OSTA UDF Compliant");
    writer.Little16(offset + kEntityAtSuffix, kUdfRevision);
    writer.U8(offset + kEntityAtSuffix + 2, kWriteProtected);
}

void WriteUdfVolumeInfo(FieldWriter& writer, size_t offset) {
    WriteEntity(writer, offset, "*UDF LV Info");
    writer.Little16(offset + kEntityAtSuffix, kUdfRevision);
}

size_t UdfCompressedBytes(std::u16string_view text) {
    return 1 + UnitBytes(text) * text.size();
}

std::string UdfCompressed(std::u16string_view text) {
    const size_t unitBytes = UnitBytes(text);
    std::string bytes(1, static_cast<char>(8 * unitBytes));
    bytes.reserve(1 + unitBytes * text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = JolietUnit(text, i);
        if (unitBytes == 2) {
            bytes += static_cast<char>(unit >> 8);
        }
        bytes += static_cast<char>(unit & 0xFF);
    }
    return bytes;
}

void WriteUdfText(FieldWriter& writer, size_t offset, size_t width, std::u16string_view text) {
    const size_t room = width - 1; // compression byte and characters
    text = text.substr(0, std::min(room - 1, text.find(u'\0')));
    if (text.empty()) {
        return;
    }
    if (UdfCompressedBytes(text) > room) { // two bytes per unit: half as many fit
        text = text.substr(0, (room - 1) / 2);
    }
    const std::string bytes = UdfCompressed(text);
    writer.Text(offset, bytes);
    writer.U8(offset + width - 1, static_cast<uint8_t>(bytes.size()));
}

} // namespace larkspin
