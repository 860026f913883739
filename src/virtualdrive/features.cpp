// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/features.h"

#include "virtualdrive/answer.h"
#include "virtualdrive/medium.h"

#include <array>
#include <vector>

namespace larkspin {

namespace {

// The profiles supported by the drive, in order of preference.
constexpr std::array<uint16_t, 16> kProfiles = {0x43, 0x41, 0x40, 0x2B, 0x1B, 0x1A, 0x15, 0x14,
                                                0x13, 0x12, 0x11, 0x10, 0x0A, 0x09, 0x08, 0x02};

struct Feature {
    uint16_t code;
    uint8_t version;
    bool persistent; // current with every medium and with none
    std::vector<uint8_t> payload;
};

const std::vector<Feature>& Features() {
    static const std::vector<Feature> features = {
        // Physical interface ATAPI; device busy events.
        {feature::kCore, 2, true, {0, 0, 0, 2, 1, 0, 0, 0}},
        // Operational change events, but no asynchronous ones.
        {feature::kMorphing, 1, true, {2, 0, 0, 0}},
        // Tray; ejects, can be locked, is not locked at power-on.
        {feature::kRemovableMedium, 2, true, {0x29, 0, 0, 0}},
        // 2048 bytes to a block, 1 block to a read unit; the error recovery page is there.
        {feature::kRandomReadable, 0, false, {0, 0, 8, 0, 0, 1, 1, 0}},
        {feature::kMultiRead, 0, false, {}},
        // No C2 flags, no CD-TEXT.
        {feature::kCdRead, 2, false, {0, 0, 0, 0}},
        {feature::kDvdRead, 1, false, {0, 0, 1, 0}},
        // Last block, 2048 bytes to a block, 16 blocks to a write unit.
        {feature::kRandomWritable, 1, false, {0, 0, 0, 0, 0, 0, 8, 0, 0, 16, 1, 0}},
        // Data block type 8; buffer underrun protection; one link size of 16 blocks.
        {feature::kIncrementalStreamingWritable, 3, false, {1, 0, 1, 1, 16, 0, 0, 0}},
        {feature::kFormattable, 1, false, {0, 0, 0, 0, 0, 0, 0, 0}},
        {feature::kDefectManagement, 1, false, {0, 0, 0, 0}},
        {feature::kRestrictedOverwrite, 0, false, {}},
        // Writes; no quick start, and more than closing.
        {feature::kDvdPlusRw, 0, false, {1, 0, 0, 0}},
        {feature::kDvdPlusR, 0, false, {1, 0, 0, 0}},
        {feature::kRigidRestrictedOverwrite, 0, false, {0, 0, 0, 0}},
        // Buffer underrun protection; no test writing, no sub-channel. Data block types 0 and 8.
        {feature::kCdTrackAtOnce, 2, false, {0x40, 0, 0x01, 0x01}},
        // Buffer underrun protection, session at once; longest cue sheet.
        {feature::kCdMastering, 2, false, {0x60, 0, 0x0C, 0x80}},
        // Buffer underrun protection, DVD-RW.
        {feature::kDvdDashWrite, 2, false, {0x42, 0, 0, 0}},
        // CD-RW of all speed classes.
        {feature::kCdRwMediaWrite, 1, false, {0, 0x0F, 0, 0}},
        // Known by name; no disc is recorded so.
        {feature::kBdRPseudoOverwrite, 0, false, {0, 0, 0, 0}},
        {feature::kDvdPlusRDualLayer, 0, false, {1, 0, 0, 0}},
        // Versions of BD-RE, BD-R and BD-ROM, by class from 0 on: bit n for version n.
        {feature::kBdRead, 0, false, {0, 0, 0, 0, 0, 2, 0, 4, 0, 8, 0, 0, 0, 2,
                                      0, 2, 0, 8, 0, 0, 0, 2, 0, 2, 0, 0, 0, 0}},
        // No writing without verification; BD-RE and BD-R.
        {feature::kBdWrite, 0, false, {0, 0, 0, 0, 0, 2, 0, 4, 0, 8, 0, 0, 0, 2, 0, 2, 0, 8, 0, 0}},
        {feature::kPowerManagement, 0, true, {}},
        {feature::kTimeout, 0, true, {}},
        // Write speed descriptors, page 2Ah descriptors, SET CD SPEED, read buffer capacity.
        {feature::kRealTimeStreaming, 4, true, {0x1E, 0, 0, 0}},
        {feature::kSerialNumber, 0, true, {kDriveSerialNumber.begin(), kDriveSerialNumber.end()}},
    };
    return features;
}

void AppendFeature(CAnswer& answer, uint16_t code, uint8_t version, bool persistent, bool current,
                   std::span<const uint8_t> payload) {
    answer.Append16(code);
    answer.Append({static_cast<uint8_t>(version << 2 | (persistent ? 2 : 0) | (current ? 1 : 0)),
                   static_cast<uint8_t>(payload.size())});
    answer.Append(payload);
}

bool IsAskedFor(FeatureChoice choice, uint16_t first, uint16_t code, bool current) {
    if (choice == FeatureChoice::One) {
        return code == first;
    }
    return code >= first && (choice == FeatureChoice::All || current);
}

} // namespace

void AppendConfiguration(const IMedium* medium, FeatureChoice choice, uint16_t first,
                         CAnswer& answer) {
    constexpr size_t kLengthBytes = 4;
    const size_t begin = answer.Size();
    const uint16_t currentProfile = medium != nullptr ? medium->Profile() : 0;
    answer.Append32(0);
    answer.Append16(0);
    answer.Append16(currentProfile);
    if (IsAskedFor(choice, first, feature::kProfileList, true)) {
        CAnswer profiles;
        for (const uint16_t profile : kProfiles) {
            profiles.Append16(profile);
            profiles.Append({static_cast<uint8_t>(profile == currentProfile ? 1 : 0), 0});
        }
        AppendFeature(answer, feature::kProfileList, 0, true, true, profiles.Bytes());
    }
    for (const Feature& known : Features()) {
        const bool current =
            known.persistent || (medium != nullptr && medium->IsFeatureCurrent(known.code));
        if (!IsAskedFor(choice, first, known.code, current)) {
            continue;
        }
        std::vector<uint8_t> payload = known.payload;
        if (medium != nullptr) {
            medium->AdjustFeature(known.code, payload);
        }
        AppendFeature(answer, known.code, known.version, known.persistent, current, payload);
    }
    answer.Set32(begin, static_cast<uint32_t>(answer.Size() - begin - kLengthBytes));
}

} // namespace larkspin
