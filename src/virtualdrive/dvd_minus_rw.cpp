// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/dvd_minus_rw.h"

#include "virtualdrive/features.h"

#include <algorithm>

namespace larkspin {

namespace {

// Current capacity types of READ FORMAT CAPACITIES.
constexpr uint8_t kTypeFormatted = 2;
constexpr uint8_t kTypeOpenSession = 3;

// Stored in the state. A disc created as this kind is completely formatted.
constexpr const char* kFormatted = "formatted-blocks";
constexpr const char* kSessionOpen = "session-open";

// All but the full format state the size of a packet, which is an ECC block.
bool IsParameterGood(const FormatDescriptor& descriptor) {
    return descriptor.type == kFormatFull || descriptor.parameter == kEccBlockBlocks;
}

} // namespace

void AppendMinusRwFormats(uint32_t capacity, std::vector<FormatCapacity>& capacities) {
    capacities.push_back({.blocks = capacity, .type = kFormatFull});
    for (const uint8_t type : {kMinusRwFullInPackets, kMinusRwQuick}) {
        capacities.push_back({.blocks = capacity, .type = type, .parameter = kEccBlockBlocks});
    }
}

SenseCode FormatMinusRw(CDiscStore& store, uint32_t capacity,
                        std::span<const uint8_t> parameterList) {
    const FormatDescriptor descriptor = ParseFormatList(parameterList);
    const bool isQuick = descriptor.type == kMinusRwQuick;
    const bool isKnown =
        isQuick || descriptor.type == kFormatFull || descriptor.type == kMinusRwFullInPackets;
    if (!isKnown || !IsParameterGood(descriptor)) {
        return sense::kInvalidFieldInParameterList;
    }
    const uint32_t blocks = descriptor.blocks == kAllBlocks ? capacity : descriptor.blocks;
    if (blocks > capacity || blocks % kEccBlockBlocks != 0 || (blocks == 0 && !isQuick)) {
        return sense::kInvalidFieldInParameterList;
    }
    DiscState& state = store.State();
    state.kind = kMinusRwOverwriteKind;
    state.extra.clear();
    state.extra[kFormatted] = isQuick ? 0 : blocks;
    state.extra[kSessionOpen] = isQuick ? 1 : 0;
    return store.Erase() ? sense::kGood : sense::kWriteError;
}

SenseCode BlankMinusRw(CDiscStore& store, uint8_t type) {
    if (type != kBlankAll && type != kBlankMinimal) {
        return sense::kInvalidFieldInCdb;
    }
    DiscState& state = store.State();
    state.kind = kMinusRwSequentialKind;
    state.extra.clear();
    if (type == kBlankMinimal) {
        state.extra[kOneGoOnly] = 1;
    }
    return store.Erase() ? sense::kGood : sense::kWriteError;
}

bool CDvdMinusRwOverwriteMedium::IsSessionOpen() const {
    return Extra(kSessionOpen) != 0;
}

uint32_t CDvdMinusRwOverwriteMedium::ClosedBlocks() const {
    return Extra(kFormatted, Capacity());
}

uint32_t CDvdMinusRwOverwriteMedium::FormattedBlocks() const {
    return IsSessionOpen() ? std::max(ClosedBlocks(), WrittenBlocks()) : ClosedBlocks();
}

bool CDvdMinusRwOverwriteMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kRestrictedOverwrite || code == feature::kRigidRestrictedOverwrite ||
           CDvdMedium::IsFeatureCurrent(code);
}

void CDvdMinusRwOverwriteMedium::AdjustFeature(uint16_t code, std::vector<uint8_t>& payload) const {
    if (code == feature::kRigidRestrictedOverwrite) {
        payload[0] = 0x03; // formats with an open session, and BLANK
    } else {
        CDvdMedium::AdjustFeature(code, payload);
    }
}

DiscInformation CDvdMinusRwOverwriteMedium::Information(const WriteParameters&) const {
    DiscInformation information;
    information.erasable = true;
    information.status = IsSessionOpen() ? DiscInformation::Incomplete : DiscInformation::Complete;
    information.lastSession = IsSessionOpen() ? 1 : 3;
    return information;
}

std::vector<FormatCapacity> CDvdMinusRwOverwriteMedium::FormatCapacities() const {
    std::vector<FormatCapacity> capacities = {
        {.blocks = FormattedBlocks(), .type = kTypeFormatted}};
    if (IsSessionOpen()) {
        capacities.front() = {.blocks = Capacity(), .type = kTypeOpenSession};
    }
    AppendMinusRwFormats(Capacity(), capacities);
    if (!IsSessionOpen()) {
        for (const uint8_t type : {kMinusRwQuickGrow, kMinusRwGrow}) {
            capacities.push_back({.blocks = Capacity() - ClosedBlocks(),
                                  .type = type,
                                  .parameter = kEccBlockBlocks});
        }
    }
    return capacities;
}

SenseCode CDvdMinusRwOverwriteMedium::CheckParameters(const WriteParameters& parameters) const {
    // A packet size of 0 leaves it to the medium, which only supports one.
    const bool isPacketGood =
        parameters.fixedPacket &&
        (parameters.packetBlocks == 0 || parameters.packetBlocks == kEccBlockBlocks);
    const bool isGood = parameters.writeType == WriteParameters::Packet && !parameters.testWrite &&
                        parameters.dataBlockType == WriteParameters::Mode1Blocks && isPacketGood;
    return isGood ? sense::kGood : sense::kInvalidFieldInParameterList;
}

SenseCode CDvdMinusRwOverwriteMedium::CheckWrite(int32_t block, uint32_t count) const {
    const auto begin = static_cast<uint32_t>(block);
    if (!IsInside(block, count, IsSessionOpen() ? Capacity() : FormattedBlocks())) {
        return sense::kAddressOutOfRange;
    }
    const bool isAligned = begin % kEccBlockBlocks == 0 && count % kEccBlockBlocks == 0;
    return isAligned && begin <= FormattedBlocks() ? sense::kGood : sense::kInvalidAddressForWrite;
}

SenseCode CDvdMinusRwOverwriteMedium::Close(const WriteParameters&, uint8_t function, uint16_t) {
    if (function != kCloseSession) {
        return sense::kInvalidFieldInCdb;
    }
    if (!IsSessionOpen()) {
        return sense::kGood;
    }
    State().extra[kFormatted] = std::max(FormattedBlocks(), kEccBlockBlocks);
    State().extra[kSessionOpen] = 0;
    return Keep();
}

SenseCode CDvdMinusRwOverwriteMedium::Grow(const FormatDescriptor& descriptor) {
    const uint32_t room = Capacity() - ClosedBlocks();
    if (IsSessionOpen() || room == 0 || !IsParameterGood(descriptor)) {
        return sense::kInvalidFieldInParameterList;
    }
    if (descriptor.type == kMinusRwQuickGrow) {
        State().extra[kFormatted] = ClosedBlocks();
        State().extra[kSessionOpen] = 1;
        return Keep();
    }
    const uint32_t blocks = descriptor.blocks == kAllBlocks ? room : descriptor.blocks;
    if (blocks > room || blocks % kEccBlockBlocks != 0) {
        return sense::kInvalidFieldInParameterList;
    }
    State().extra[kFormatted] = ClosedBlocks() + blocks;
    return Keep();
}

SenseCode CDvdMinusRwOverwriteMedium::FormatMedium(std::span<const uint8_t> parameterList) {
    const FormatDescriptor descriptor = ParseFormatList(parameterList);
    if (descriptor.type == kMinusRwQuickGrow || descriptor.type == kMinusRwGrow) {
        return Grow(descriptor);
    }
    return FormatMinusRw(Store(), Capacity(), parameterList);
}

SenseCode CDvdMinusRwOverwriteMedium::Blank(uint8_t type, uint32_t) {
    return BlankMinusRw(Store(), type);
}

} // namespace larkspin
