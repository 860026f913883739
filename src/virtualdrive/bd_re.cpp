// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/bd_re.h"

#include "virtualdrive/features.h"

namespace larkspin {

namespace {

constexpr uint8_t kFormatSpared = 0x30;
constexpr uint8_t kFormatUnspared = 0x31;
constexpr uint8_t kSubTypeReserved = 1;

constexpr uint8_t kTypeUnformatted = 1;
constexpr uint8_t kTypeFormatted = 2;

constexpr uint8_t kUndefinedDisc = 0xFF;

} // namespace

bool CBdReMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kBdWrite || (code == feature::kRandomWritable && SpareClusters()) ||
           CBdMedium::IsFeatureCurrent(code);
}

DiscInformation CBdReMedium::Information(const WriteParameters&) const {
    DiscInformation information;
    information.erasable = true;
    information.status = SpareClusters() ? DiscInformation::Complete : DiscInformation::Empty;
    information.lastSession = SpareClusters() ? 3 : 0;
    information.discType = kUndefinedDisc;
    return information;
}

std::vector<FormatCapacity> CBdReMedium::FormatCapacities() const {
    const auto [least, usual, most] = Spares();
    std::vector<FormatCapacity> capacities = {
        {Capacity(), SpareClusters() ? kTypeFormatted : kTypeUnformatted},
        {BlocksBeside(usual), kFormatFull, usual}};
    for (const uint32_t spares : {usual, most, least}) {
        capacities.push_back({BlocksBeside(spares), kFormatSpared, spares});
    }
    capacities.push_back({AllBlocks(), kFormatUnspared});
    return capacities;
}

SenseCode CBdReMedium::CheckWrite(int32_t block, uint32_t count) const {
    if (!SpareClusters()) {
        return sense::kMediumNotFormatted;
    }
    return IsInside(block, count, Capacity()) ? sense::kGood : sense::kAddressOutOfRange;
}

SenseCode CBdReMedium::Close(const WriteParameters&, uint8_t, uint16_t) {
    return sense::kInvalidFieldInCdb;
}

std::optional<uint32_t> CBdReMedium::SparesFor(const FormatDescriptor& descriptor) const {
    const auto [least, usual, most] = Spares();
    if (descriptor.blocks > AllBlocks() || descriptor.blocks % kClusterBlocks != 0) {
        return std::nullopt;
    }
    const uint32_t spares = (AllBlocks() - descriptor.blocks) / kClusterBlocks;
    bool isGood = false;
    if (descriptor.type == kFormatFull) {
        isGood = spares == usual;
    } else if (descriptor.type == kFormatSpared) {
        isGood = spares >= least && spares <= most && descriptor.parameter == spares;
    } else if (descriptor.type == kFormatUnspared) {
        isGood = spares == 0 && descriptor.parameter == kDataBlockBytes;
    }
    return isGood && descriptor.subType != kSubTypeReserved ? std::optional(spares) : std::nullopt;
}

SenseCode CBdReMedium::FormatMedium(std::span<const uint8_t> parameterList) {
    const std::optional<uint32_t> spares = SparesFor(ParseFormatList(parameterList));
    if (!spares) {
        return sense::kInvalidFieldInParameterList;
    }
    State().extra[kSpareClusters] = *spares;
    return Store().Erase() ? sense::kGood : sense::kWriteError;
}

} // namespace larkspin
