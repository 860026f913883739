// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/dvd_medium.h"

#include "virtualdrive/answer.h"
#include "virtualdrive/features.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace larkspin {

namespace {

// KB/s of 16x, 12x, 8x, 6x, 4x, 2x and 2.4x.
constexpr uint32_t k16x = 22'160;
constexpr uint32_t k12x = 16'620;
constexpr uint32_t k8x = 11'080;
constexpr uint32_t k6x = 8'310;
constexpr uint32_t k4x = 5'540;
constexpr uint32_t k2x = 2'770;
constexpr uint32_t k2Point4x = 3'324;

constexpr std::array kMinusRSpeeds = {k16x, k12x, k8x, k4x, k2x};
constexpr std::array kMinusRDlSpeeds = {k8x, k6x, k4x, k2x};
constexpr std::array kMinusRwSpeeds = {k6x, k4x, k2x};
constexpr std::array kRamSpeeds = {uint32_t{6'925}, uint32_t{4'155}, k2x};
constexpr std::array kPlusRSpeeds = {k16x, k12x, k8x, k4x, k2Point4x};
constexpr std::array kPlusRDlSpeeds = {k8x, k6x, k4x, k2Point4x};
constexpr std::array kPlusRwSpeeds = {k8x, k4x, k2Point4x};

// READ DISC STRUCTURE formats (MMC).
enum StructureFormat : uint8_t {
    kPhysical = 0x00,
    kCopyright = 0x01,
    kPreRecorded = 0x0E,
    kDashPhysical = 0x10,
    kAdip = 0x11,
    kLayerBoundary = 0x20,
    kStructureList = 0xFF,
};
constexpr std::array kStructureFormats = {kPhysical,     kCopyright, kPreRecorded,
                                          kDashPhysical, kAdip,      kLayerBoundary};

constexpr size_t kPhysicalBytes = 2048;
constexpr size_t kAdipBytes = 256;
constexpr size_t kPreRecordedBytes = 40;
constexpr uint8_t kDiscSize120 = 0x0F;     // 120 mm, maximum rate not specified
constexpr uint32_t kFirstSector = 0x30000; // physical sector number of block 0

void PutText(CAnswer& answer, size_t offset, std::string_view text) {
    for (size_t i = 0; i < text.size(); ++i) {
        answer[offset + i] = static_cast<uint8_t>(text[i]);
    }
}

} // namespace

namespace dvd_facts {

namespace {

constexpr EccFacts Facts(uint16_t profile, uint8_t layers, std::span<const uint32_t> writeSpeeds,
                         uint32_t readSpeed) {
    return {profile, feature::kDvdRead, kEccBlockBlocks, layers, writeSpeeds, readSpeed};
}

} // namespace

const DvdFacts kMinusR = {Facts(0x11, 1, kMinusRSpeeds, k16x), 0x25, false};
const DvdFacts kMinusRDl = {Facts(0x15, 2, kMinusRDlSpeeds, k8x), 0x26, false};
const DvdFacts kMinusRwSequential = {Facts(0x14, 1, kMinusRwSpeeds, k8x), 0x33, true};
const DvdFacts kMinusRwOverwrite = {Facts(0x13, 1, kMinusRwSpeeds, k8x), 0x33, true};
const DvdFacts kRam = {Facts(0x12, 1, kRamSpeeds, 6'925), 0x16, true};
const DvdFacts kPlusR = {Facts(0x1B, 1, kPlusRSpeeds, k16x), 0xA1, false};
const DvdFacts kPlusRDl = {Facts(0x2B, 2, kPlusRDlSpeeds, k8x), 0xE1, false};
const DvdFacts kPlusRw = {Facts(0x1A, 1, kPlusRwSpeeds, k8x), 0x92, true};

} // namespace dvd_facts

namespace {

void AppendPhysicalFormat(const DvdFacts& facts, const DvdShape& shape, CAnswer& answer) {
    const size_t at = answer.Size();
    answer.Append(std::vector<uint8_t>(kPhysicalBytes));
    answer[at] = facts.bookType;
    answer[at + 1] = kDiscSize120;
    // Layer type: recordable or rewritable user area.
    const uint8_t layerType = facts.isRewritable ? 4 : 2;
    answer[at + 2] = static_cast<uint8_t>((facts.layers - 1) << 5 | layerType);
    // The two layers of recordable discs run in opposite directions, as bit 4 shows.
    if (facts.layers == 2) {
        answer[at + 2] |= 0x10;
    }
    answer.Set32(at + 4, kFirstSector);
    const uint32_t layer0 = facts.layers == 2 ? shape.layerBoundary : shape.capacity;
    answer.Set32(at + 8, kFirstSector + shape.capacity - 1);
    answer.Set32(at + 12, facts.layers == 2 ? kFirstSector + layer0 - 1 : 0);
}

void AppendPreRecorded(CAnswer& answer) {
    const size_t at = answer.Size();
    answer.Append(std::vector<uint8_t>(kPreRecordedBytes));
    // Fields of 8 bytes, each preceded by its number: 3 and 4 are the manufacturer.
    answer[at + 16] = 3;
    PutText(answer, at + 17, "LARKSP");
    answer[at + 24] = 4;
    PutText(answer, at + 25, "IN-VD1");
}

void AppendAdip(const DvdFacts& facts, CAnswer& answer) {
    const size_t at = answer.Size();
    answer.Append(std::vector<uint8_t>(kAdipBytes));
    answer[at] = facts.bookType;
    answer[at + 1] = kDiscSize120;
    PutText(answer, at + 19, "LARKSPIN"); // manufacturer
    PutText(answer, at + 27, "VD1");      // media type
}

SenseCode AppendStructure(const DvdFacts& facts, const DvdShape& shape, uint8_t format,
                          CAnswer& answer) {
    const bool isPlus = facts.profile >= dvd_facts::kPlusRw.profile;
    const bool isDash = !isPlus && facts.profile != dvd_facts::kRam.profile;
    if (format == kPhysical || (format == kDashPhysical && isDash)) {
        AppendPhysicalFormat(facts, shape, answer);
    } else if (format == kCopyright) {
        answer.Append32(0); // no protection system, no region
    } else if (format == kPreRecorded && isDash) {
        AppendPreRecorded(answer);
    } else if (format == kAdip && isPlus) {
        AppendAdip(facts, answer);
    } else if (format == kLayerBoundary && facts.layers == 2) {
        answer.Append32(shape.isBoundaryFixed ? 0x8000'0000 : 0);
        answer.Append32(shape.layerBoundary);
    } else {
        return sense::kInvalidFieldInCdb;
    }
    return sense::kGood;
}

void AppendStructureList(const DvdFacts& facts, const DvdShape& shape, CAnswer& answer) {
    for (const uint8_t format : kStructureFormats) {
        CAnswer structure;
        if (!AppendStructure(facts, shape, format, structure).IsGood()) {
            continue;
        }
        constexpr uint8_t readable = 0x40;
        answer.Append({format, readable});
        answer.Append16(static_cast<uint32_t>(structure.Size()) + 2);
    }
}

} // namespace

SenseCode ReadDvdStructure(const DvdFacts& facts, const DvdShape& shape, uint8_t format,
                           uint8_t layer, CAnswer& answer) {
    if (layer >= facts.layers) {
        return sense::kInvalidFieldInCdb;
    }
    if (format == kStructureList) {
        AppendStructureList(facts, shape, answer);
        return sense::kGood;
    }
    return AppendStructure(facts, shape, format, answer);
}

} // namespace larkspin
