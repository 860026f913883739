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
    for (size_t i = 0; i < text.size(); ++i)
        answer[offset + i] = static_cast<uint8_t>(text[i]);
}

} // namespace

namespace dvd_facts {
const DvdFacts kMinusR = {0x11, 0x25, 1, false, kMinusRSpeeds, k16x};
const DvdFacts kMinusRDl = {0x15, 0x26, 2, false, kMinusRDlSpeeds, k8x};
const DvdFacts kMinusRwSequential = {0x14, 0x33, 1, true, kMinusRwSpeeds, k8x};
const DvdFacts kMinusRwOverwrite = {0x13, 0x33, 1, true, kMinusRwSpeeds, k8x};
const DvdFacts kRam = {0x12, 0x16, 1, true, kRamSpeeds, 6'925};
const DvdFacts kPlusR = {0x1B, 0xA1, 1, false, kPlusRSpeeds, k16x};
const DvdFacts kPlusRDl = {0x2B, 0xE1, 2, false, kPlusRDlSpeeds, k8x};
const DvdFacts kPlusRw = {0x1A, 0x92, 1, true, kPlusRwSpeeds, k8x};
} // namespace dvd_facts

bool CDvdMedium::IsPlus() const {
    return m_facts.profile >= dvd_facts::kPlusRw.profile;
}

uint32_t CDvdMedium::Extra(const std::string& name, uint32_t otherwise) const {
    const auto found = State().extra.find(name);
    return found != State().extra.end() ? found->second : otherwise;
}

bool CDvdMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kRandomReadable || code == feature::kDvdRead;
}

void CDvdMedium::AdjustFeature(uint16_t code, std::vector<uint8_t>& payload) const {
    // One ECC block is read at a time; a random writable disc ends at its last block.
    if (code == feature::kRandomReadable)
        payload[5] = kEccBlockBlocks;
    else if (code == feature::kRandomWritable)
        StoreBe32(payload.data(), Capacity() - 1);
}

void CDvdMedium::AppendPhysicalFormat(CAnswer& answer) const {
    const size_t at = answer.Size();
    answer.Append(std::vector<uint8_t>(kPhysicalBytes));
    answer[at] = m_facts.bookType;
    answer[at + 1] = kDiscSize120;
    // Layer type: recordable or rewritable user area.
    const uint8_t layerType = m_facts.isRewritable ? 4 : 2;
    answer[at + 2] = static_cast<uint8_t>((m_facts.layers - 1) << 5 | layerType);
    // Two layers of recordable discs run in opposite directions: bit 4 tells.
    if (m_facts.layers == 2)
        answer[at + 2] |= 0x10;
    answer.Set32(at + 4, kFirstSector);
    const uint32_t layer0 = m_facts.layers == 2 ? LayerBoundary() : Capacity();
    answer.Set32(at + 8, kFirstSector + Capacity() - 1);
    answer.Set32(at + 12, m_facts.layers == 2 ? kFirstSector + layer0 - 1 : 0);
}

void CDvdMedium::AppendPreRecorded(CAnswer& answer) const {
    const size_t at = answer.Size();
    answer.Append(std::vector<uint8_t>(kPreRecordedBytes));
    // Fields of 8 bytes, the number of the field in front: 3 and 4 name the manufacturer.
    answer[at + 16] = 3;
    PutText(answer, at + 17, "LARKSP");
    answer[at + 24] = 4;
    PutText(answer, at + 25, "IN-VD1");
}

void CDvdMedium::AppendAdip(CAnswer& answer) const {
    const size_t at = answer.Size();
    answer.Append(std::vector<uint8_t>(kAdipBytes));
    answer[at] = m_facts.bookType;
    answer[at + 1] = kDiscSize120;
    PutText(answer, at + 19, "LARKSPIN"); // manufacturer
    PutText(answer, at + 27, "VD1");      // media type
}

void CDvdMedium::AppendStructureList(CAnswer& answer) const {
    for (const uint8_t format : kStructureFormats) {
        CAnswer structure;
        if (!AppendStructure(format, structure).IsGood())
            continue;
        constexpr uint8_t readable = 0x40;
        answer.Append({format, readable});
        answer.Append16(static_cast<uint32_t>(structure.Size()) + 2);
    }
}

SenseCode CDvdMedium::AppendStructure(uint8_t format, CAnswer& answer) const {
    const bool isDash = !IsPlus() && m_facts.profile != dvd_facts::kRam.profile;
    if (format == kPhysical || (format == kDashPhysical && isDash)) {
        AppendPhysicalFormat(answer);
    } else if (format == kCopyright) {
        answer.Append32(0); // no protection system, no region
    } else if (format == kPreRecorded && isDash) {
        AppendPreRecorded(answer);
    } else if (format == kAdip && IsPlus()) {
        AppendAdip(answer);
    } else if (format == kLayerBoundary && m_facts.layers == 2) {
        answer.Append32(IsLayerBoundaryFixed() ? 0x8000'0000 : 0);
        answer.Append32(LayerBoundary());
    } else {
        return sense::kInvalidFieldInCdb;
    }
    return sense::kGood;
}

SenseCode CDvdMedium::ReadStructure(uint8_t format, uint32_t, uint8_t layer,
                                    CAnswer& answer) const {
    if (layer >= m_facts.layers)
        return sense::kInvalidFieldInCdb;
    if (format == kStructureList) {
        AppendStructureList(answer);
        return sense::kGood;
    }
    return AppendStructure(format, answer);
}

} // namespace larkspin
