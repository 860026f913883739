// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/bd_medium.h"

#include "virtualdrive/answer.h"
#include "virtualdrive/features.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace larkspin {

namespace {

// KB/s of 6x, 4x and 2x.
constexpr uint32_t k6x = 26'973;
constexpr uint32_t k4x = 17'982;
constexpr uint32_t k2x = 8'991;

constexpr std::array kRSpeeds = {k6x, k4x, k2x};
constexpr std::array kRManyLayersSpeeds = {k4x, k2x};
constexpr std::array kReSpeeds = {k2x};

// READ DISC STRUCTURE formats of media type 1 (MMC).
enum StructureFormat : uint8_t {
    kDiscInformation = 0x00,
    kCartridge = 0x09,
    kSpareArea = 0x0A,
    kStructureList = 0xFF,
};
constexpr std::array kStructureFormats = {kDiscInformation, kCartridge, kSpareArea};

constexpr size_t kDiscInformationBytes = 4096;

void PutText(CAnswer& answer, size_t offset, std::string_view text) {
    std::ranges::for_each(text, [&](char c) { answer[offset++] = static_cast<uint8_t>(c); });
}

// A single disc information unit; there are no others.
void AppendDiscInformation(const BdFacts& facts, CAnswer& answer) {
    const size_t at = answer.Grow(kDiscInformationBytes);
    PutText(answer, at, "DI");
    answer[at + 2] = 1; // format of the unit
    answer[at + 3] = 1; // units to a layer
    answer[at + 6] = 112;
    PutText(answer, at + 8, facts.typeIdentifier);
    answer[at + 11] = 0x01; // 120 mm, version 1
    answer[at + 12] = static_cast<uint8_t>(facts.layers << 4 | 1);
    PutText(answer, at + 100, "LARKSP"); // manufacturer
    PutText(answer, at + 106, "VD1");    // media type
}

SenseCode AppendStructure(const BdFacts& facts, std::optional<uint32_t> spareClusters,
                          uint8_t format, CAnswer& answer) {
    if (format == kDiscInformation) {
        AppendDiscInformation(facts, answer);
    } else if (format == kCartridge) {
        answer.Append32(0); // none
    } else if (format == kSpareArea && spareClusters.value_or(0) > 0) {
        answer.Append32(0);
        answer.Append32(*spareClusters * kClusterBlocks); // free
        answer.Append32(0);                               // taken
    } else {
        return sense::kInvalidFieldInCdb;
    }
    return sense::kGood;
}

constexpr EccFacts Facts(uint16_t profile, uint8_t layers, std::span<const uint32_t> writeSpeeds) {
    return {profile, feature::kBdRead, kClusterBlocks, layers, writeSpeeds, k6x};
}

// Spares of a recordable and a rewritable disc, for each layer.
constexpr BdSpares RecordableSpares(uint32_t layers) {
    return {0x1000 * layers, 0x3000 * layers, 0x31000 * layers};
}
constexpr BdSpares RewritableSpares(uint32_t layers) {
    return {0x1000 * layers, 0x3000 * layers, 0x5000 * layers};
}

constexpr uint16_t kProfileR = 0x41;
constexpr uint16_t kProfileRe = 0x43;

} // namespace

namespace bd_facts {
const BdFacts kR = {Facts(kProfileR, 1, kRSpeeds), kBdBlocks, RecordableSpares(1), "BDR"};
const BdFacts kRDl = {Facts(kProfileR, 2, kRSpeeds), kBdDlBlocks, RecordableSpares(2), "BDR"};
const BdFacts kRXl = {Facts(kProfileR, 3, kRManyLayersSpeeds), kBdXlBlocks, RecordableSpares(3),
                      "BDR"};
const BdFacts kRQl = {Facts(kProfileR, 4, kRManyLayersSpeeds), kBdQlBlocks, RecordableSpares(4),
                      "BDR"};
const BdFacts kRe = {Facts(kProfileRe, 1, kReSpeeds), kBdBlocks, RewritableSpares(1), "BDW"};
const BdFacts kReDl = {Facts(kProfileRe, 2, kReSpeeds), kBdDlBlocks, RewritableSpares(2), "BDW"};
} // namespace bd_facts

BdSpares SparesOf(const BdFacts& facts, uint32_t blocks) {
    const auto scaled = [&](uint32_t clusters) {
        return static_cast<uint32_t>(uint64_t{clusters} * blocks / facts.blocks);
    };
    return {scaled(facts.spares.least), scaled(facts.spares.usual), scaled(facts.spares.most)};
}

SenseCode ReadBdStructure(const BdFacts& facts, std::optional<uint32_t> spareClusters,
                          uint8_t format, CAnswer& answer) {
    if (format != kStructureList) {
        return AppendStructure(facts, spareClusters, format, answer);
    }
    for (const uint8_t known : kStructureFormats) {
        CAnswer structure;
        if (!AppendStructure(facts, spareClusters, known, structure).IsGood()) {
            continue;
        }
        constexpr uint8_t readable = 0x40;
        answer.Append({known, readable});
        answer.Append16(static_cast<uint32_t>(structure.Size()) + 2);
    }
    return sense::kGood;
}

bool IsBdFeatureCurrent(uint16_t code, std::optional<uint32_t> spareClusters) {
    return code == feature::kDefectManagement && spareClusters.value_or(0) > 0;
}

void AdjustBdFeature(uint16_t code, std::vector<uint8_t>& payload) {
    if (code == feature::kIncrementalStreamingWritable) {
        payload = {0, 0, 1, 0}; // no types of blocks, no links; the buffer may run empty
    } else if (code == feature::kFormattable) {
        payload[0] = 0x0B; // no spare areas, quick and full certification
    } else if (code == feature::kDefectManagement) {
        payload[0] = 0x80; // tells of spare areas
    }
}

} // namespace larkspin
