// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/bd_r.h"

#include "virtualdrive/features.h"
#include "virtualdrive/format_list.h"

namespace larkspin {

namespace {

constexpr uint8_t kFormatR = 0x32;
constexpr uint8_t kSubTypeSequential = 1; // of 32h: SRM without pseudo-overwrite

constexpr uint8_t kTypeFormatted = 2; // of READ FORMAT CAPACITIES, of the current capacity

constexpr uint8_t kUndefinedDisc = 0xFF;

// A disc can have more ranges, but a table of contents numbers tracks with one byte.
constexpr uint32_t kMaxBdTracks = 153;

} // namespace

bool CBdRMedium::IsFeatureCurrent(uint16_t code) const {
    switch (code) {
    case feature::kBdWrite:
    case feature::kIncrementalStreamingWritable:
        return IsWritable();
    case feature::kFormattable:
        return IsFormattable();
    default:
        return CBdMedium::IsFeatureCurrent(code);
    }
}

DiscInformation CBdRMedium::Information(const WriteParameters& parameters) const {
    DiscInformation information = CBdMedium::Information(parameters);
    information.discType = kUndefinedDisc;
    return information;
}

uint32_t CBdRMedium::MaxTracks() const {
    return kMaxBdTracks;
}

bool CBdRMedium::IsSessionFunction(uint8_t function) const {
    return function == kCloseSession || function == kFinalizeCompact;
}

SenseCode CBdRMedium::Close(const WriteParameters& parameters, uint8_t function, uint16_t track) {
    if (IsSessionFunction(function) && Tracks().Open() != nullptr) {
        return sense::kIncompleteTrackInSession;
    }
    return CBdMedium::Close(parameters, function, track);
}

std::vector<FormatCapacity> CBdRMedium::FormatCapacities() const {
    if (Tracks().IsBlank() && SpareClusters()) {
        return {{Capacity(), kTypeFormatted}};
    }
    std::vector<FormatCapacity> capacities = CBdMedium::FormatCapacities();
    if (!IsFormattable()) {
        return capacities;
    }
    const auto [least, usual, most] = Spares();
    capacities.push_back({BlocksBeside(usual), kFormatFull, usual});
    for (const uint32_t spares : {usual, most, least, uint32_t{0}}) {
        capacities.push_back({BlocksBeside(spares), kFormatR, spares});
    }
    return capacities;
}

SenseCode CBdRMedium::FormatMedium(std::span<const uint8_t> parameterList) {
    if (!IsFormattable()) {
        return sense::kCannotFormatIncompatibleMedium;
    }
    const FormatDescriptor descriptor = ParseFormatList(parameterList);
    const auto [least, usual, most] = Spares();
    uint32_t spares = usual;
    if (descriptor.type == kFormatR) {
        if (descriptor.subType != kSubTypeSequential || descriptor.blocks > AllBlocks() ||
            descriptor.blocks % kClusterBlocks != 0) {
            return sense::kInvalidFieldInParameterList;
        }
        spares = (AllBlocks() - descriptor.blocks) / kClusterBlocks;
        if (spares > most || (spares != 0 && spares < least) || descriptor.parameter != spares) {
            return sense::kInvalidFieldInParameterList;
        }
    } else if (descriptor.type != kFormatFull || descriptor.subType != 0 ||
               descriptor.blocks != BlocksBeside(usual)) {
        return sense::kInvalidFieldInParameterList;
    }
    State().extra[kSpareClusters] = spares;
    ForgetReservation();
    return Keep();
}

} // namespace larkspin
