// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Where the sequential kinds of DVD differ.
#include "virtualdrive/dvd_sequential.h"
#include "virtualdrive/dvd_minus_rw.h"
#include "virtualdrive/features.h"

#include "platform/byte_order.h"

namespace larkspin {

namespace {

// Stored in the state: blocks in layer 0, as chosen by the host.
constexpr const char* kBoundary = "layer-boundary";
constexpr uint8_t kBoundaryFormat = 0x20;

} // namespace

bool CDvdMinusSequentialMedium::IsFeatureCurrent(uint16_t code) const {
    if (code == feature::kDvdDashWrite) {
        return IsWritable();
    }
    if (code == feature::kIncrementalStreamingWritable) {
        return IsWritable() && TakesIncremental();
    }
    return CDvdMedium::IsFeatureCurrent(code);
}

SenseCode CDvdMinusSequentialMedium::CheckParameters(const WriteParameters& parameters) const {
    const bool inOneGo = IsInOneGo(parameters);
    const bool isIncremental = parameters.writeType == WriteParameters::Packet;
    if ((!inOneGo && !isIncremental) || parameters.dataBlockType != WriteParameters::Mode1Blocks ||
        parameters.testWrite || parameters.sessionFormat != 0 ||
        (parameters.multiSession != 0 && !parameters.AllowsNextSession())) {
        return sense::kInvalidFieldInParameterList;
    }
    if (!isIncremental) {
        return sense::kGood;
    }
    // With one layer, links are 16 blocks and this must be stated; with two, the drive may decide.
    const bool isLinkGood = parameters.linkSizeValid ? parameters.linkSize == kEccBlockBlocks
                                                     : Profile() == dvd_facts::kMinusRDl.profile;
    const bool isPacketGood = parameters.packetBlocks == kEccBlockBlocks ||
                              (!parameters.fixedPacket && parameters.packetBlocks == 0);
    return isLinkGood && isPacketGood ? sense::kGood : sense::kInvalidFieldInParameterList;
}

SenseCode CDvdMinusSequentialMedium::Reserve(const WriteParameters& parameters, uint32_t blocks) {
    if (!IsInOneGo(parameters) || !Tracks().IsBlank()) {
        return sense::kCommandSequenceError;
    }
    return ReserveNext(blocks);
}

SenseCode CDvdMinusSequentialMedium::CheckTrackBegin(bool inOneGo) const {
    const bool isTaken = inOneGo ? Tracks().IsBlank() : TakesIncremental();
    return isTaken ? sense::kGood : sense::kIllegalModeForTrack;
}

bool CDvdMinusSequentialMedium::IsInOneGo(const WriteParameters& parameters) const {
    return parameters.writeType == WriteParameters::SessionAtOnce;
}

int32_t CDvdMinusSequentialMedium::SessionGap(size_t closedSessions) const {
    return closedSessions == 1 ? kFirstBorderBlocks : kNextBorderBlocks;
}

bool CDvdMinusSequentialMedium::ClosesDisc(const WriteParameters& parameters,
                                           uint8_t function) const {
    return function == kFinalize || !parameters.AllowsNextSession();
}

bool CDvdMinusSequentialMedium::IsSessionFunction(uint8_t function) const {
    return function == kCloseSession || function == kFinalize;
}

bool CDvdMinusRwMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kFormattable || CDvdMinusSequentialMedium::IsFeatureCurrent(code);
}

bool CDvdMinusRwMedium::TakesIncremental() const {
    return Extra(kOneGoOnly) == 0;
}

std::vector<FormatCapacity> CDvdMinusRwMedium::FormatCapacities() const {
    std::vector<FormatCapacity> capacities = CDvdMinusSequentialMedium::FormatCapacities();
    AppendMinusRwFormats(Capacity(), capacities);
    return capacities;
}

SenseCode CDvdMinusRwMedium::Blank(uint8_t type, uint32_t) {
    ForgetReservation();
    return BlankMinusRw(Store(), type);
}

SenseCode CDvdMinusRwMedium::FormatMedium(std::span<const uint8_t> parameterList) {
    ForgetReservation();
    return FormatMinusRw(Store(), Capacity(), parameterList);
}

bool CDvdPlusSequentialMedium::IsSessionFunction(uint8_t function) const {
    return function == kCloseSession || function == kFinalizeWithRadius ||
           function == kFinalizeCompact;
}

bool CDvdPlusRMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kDvdPlusR ? IsWritable() : CDvdMedium::IsFeatureCurrent(code);
}

bool CDvdPlusRDlMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kDvdPlusRDualLayer ? IsWritable() : CDvdMedium::IsFeatureCurrent(code);
}

uint32_t CDvdPlusRDlMedium::LayerBoundary() const {
    return Extra(kBoundary, CDvdMedium::LayerBoundary() / kEccBlockBlocks * kEccBlockBlocks);
}

uint32_t CDvdPlusRDlMedium::Capacity() const {
    // The second layer is at most as long as the first.
    const uint32_t boundary = Extra(kBoundary);
    return boundary != 0 ? 2 * boundary : CDvdMedium::Capacity();
}

bool CDvdPlusRDlMedium::IsLayerBoundaryFixed() const {
    return Extra(kBoundary) != 0 || !Tracks().IsBlank();
}

SenseCode CDvdPlusRDlMedium::SendStructure(uint8_t format, std::span<const uint8_t> data) {
    if (format != kBoundaryFormat) {
        return sense::kInvalidFieldInCdb;
    }
    constexpr size_t bytes = 8;
    if (data.size() != bytes) {
        return sense::kParameterListLength;
    }
    if (IsLayerBoundaryFixed()) {
        return sense::kCommandSequenceError;
    }
    const uint32_t boundary = LoadBe32(&data[4]);
    if (boundary == 0 || boundary % kEccBlockBlocks != 0 || boundary > LayerBoundary()) {
        return sense::kInvalidFieldInParameterList;
    }
    State().extra[kBoundary] = boundary;
    return Keep();
}

} // namespace larkspin
