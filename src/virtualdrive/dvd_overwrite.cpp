// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/dvd_overwrite.h"

#include "virtualdrive/answer.h"
#include "virtualdrive/features.h"
#include "virtualdrive/toc.h"

#include "platform/byte_order.h"

#include <algorithm>

namespace larkspin {

namespace {

// Format types (MMC, "FORMAT UNIT command").
constexpr uint8_t kFormatPlusRw = 0x26;
constexpr uint32_t kRestart = 1; // type dependent parameter of 26h

// Kept in the state.
constexpr const char* kBackground = "background-format";
constexpr const char* kFormatted = "formatted-blocks";

} // namespace

FormatDescriptor ParseFormatList(std::span<const uint8_t> parameterList) {
    FormatDescriptor descriptor;
    descriptor.blocks = LoadBe32(&parameterList[4]);
    descriptor.type = parameterList[8] >> 2;
    descriptor.parameter = LoadBe32(&parameterList[8]) & 0xFFFFFF;
    return descriptor;
}

DiscTrack OverwriteTrack() {
    DiscTrack track;
    track.file = "track-01.iso";
    return track;
}

bool CDvdOverwriteMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kFormattable || CDvdMedium::IsFeatureCurrent(code);
}

uint32_t CDvdOverwriteMedium::WrittenBlocks() const {
    return State().tracks.empty()
               ? 0
               : static_cast<uint32_t>(Store().FileBytes(State().tracks.front().file) /
                                       kDataBlockBytes);
}

SenseCode CDvdOverwriteMedium::Track(TrackAddress by, uint32_t number, const WriteParameters&,
                                     TrackInformation* track) const {
    const bool isKnown = by == TrackAddress::Block ? number < Capacity() : number == 1;
    if (!isKnown)
        return by == TrackAddress::Block ? sense::kAddressOutOfRange : sense::kInvalidFieldInCdb;
    const uint32_t formatted = FormattedBlocks();
    track->blank = formatted == 0;
    track->packet = HasFixedPackets();
    track->fixedPacket = HasFixedPackets();
    track->packetBlocks = HasFixedPackets() ? kEccBlockBlocks : 0;
    track->size = Capacity();
    track->freeBlocks = Capacity() - formatted;
    if (WrittenBlocks() > 0)
        track->lastRecorded = static_cast<int32_t>(WrittenBlocks()) - 1;
    return sense::kGood;
}

SenseCode CDvdOverwriteMedium::Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const {
    if (FormattedBlocks() == 0)
        return sense::kInvalidFieldInCdb;
    const DiscTrack track;
    const DiscSession session = {1, static_cast<int32_t>(FormattedBlocks())};
    return AppendToc(format, {&track, 1}, session, {msf, start}, answer);
}

uint32_t CDvdOverwriteMedium::LastBlock() const {
    return FormattedBlocks() == 0 ? 0 : FormattedBlocks() - 1;
}

SenseCode CDvdOverwriteMedium::Read(int32_t block, uint32_t count, std::span<uint8_t> data) {
    if (block < 0 || !IsInside(block, count, FormattedBlocks()))
        return sense::kAddressOutOfRange;
    if (State().tracks.empty()) {
        std::fill(data.begin(), data.end(), uint8_t{0});
        return sense::kGood;
    }
    const DiscTrack& track = State().tracks.front();
    return Store().Read(track.file, track.ByteOffset(block), data) ? sense::kGood
                                                                   : sense::kUnrecoveredRead;
}

SenseCode CDvdOverwriteMedium::CheckParameters(const WriteParameters& parameters) const {
    // The page has no say on these media, but it may not ask for what no DVD knows.
    return parameters.writeType <= WriteParameters::SessionAtOnce
               ? sense::kGood
               : sense::kInvalidFieldInParameterList;
}

SenseCode CDvdOverwriteMedium::Write(const WriteParameters&, int32_t block, uint32_t count,
                                     std::span<const uint8_t> data) {
    if (block < 0)
        return sense::kAddressOutOfRange;
    if (const SenseCode code = CheckWrite(block, count); !code.IsGood())
        return code;
    if (data.size() != size_t{count} * kDataBlockBytes)
        return sense::kDataPhaseError;
    if (count == 0)
        return sense::kGood;
    if (State().tracks.empty()) {
        const DiscTrack track = OverwriteTrack();
        if (!Store().BeginFile(track.file))
            return sense::kWriteError;
        State().tracks.push_back(track);
        if (const SenseCode code = Keep(); !code.IsGood())
            return code;
    }
    const DiscTrack& track = State().tracks.front();
    return Store().Write(track.file, track.ByteOffset(block), data) ? sense::kGood
                                                                    : sense::kWriteError;
}

// --- DVD+RW ---

CDvdPlusRwMedium::CDvdPlusRwMedium(CDiscStore& store)
    : CDvdOverwriteMedium(store, dvd_facts::kPlusRw) {
    StopFormat();
}

CDvdPlusRwMedium::Background CDvdPlusRwMedium::FormatStatus() const {
    return static_cast<Background>(Extra(kBackground));
}

uint32_t CDvdPlusRwMedium::Reach() const {
    return std::min(Capacity(), RoundUpToEcc(std::max(Extra(kFormatted), WrittenBlocks())));
}

bool CDvdPlusRwMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kDvdPlusRw || CDvdOverwriteMedium::IsFeatureCurrent(code);
}

DiscInformation CDvdPlusRwMedium::Information(const WriteParameters&) const {
    DiscInformation information;
    information.erasable = true;
    information.backgroundFormat = FormatStatus();
    const bool isFormatted = FormatStatus() != kNone;
    information.status = isFormatted ? DiscInformation::Complete : DiscInformation::Empty;
    information.lastSession = isFormatted ? 3 : 0;
    return information;
}

uint32_t CDvdPlusRwMedium::FormattedBlocks() const {
    switch (FormatStatus()) {
    case kNone:
        return 0;
    case kInterrupted:
        return Reach();
    case kRunning:
    case kComplete:
        break;
    }
    return Capacity();
}

std::vector<FormatCapacity> CDvdPlusRwMedium::FormatCapacities() const {
    const bool isFormatted = FormatStatus() != kNone;
    const FormatCapacity whole = {.blocks = Capacity(), .type = kFormatPlusRw, .parameter = 0};
    if (!isFormatted)
        return {{.blocks = Capacity(), .type = 1}, whole};
    return {{.blocks = FormattedBlocks(), .type = 2}, whole};
}

SenseCode CDvdPlusRwMedium::CheckWrite(int32_t block, uint32_t count) const {
    if (FormatStatus() == kNone)
        return sense::kMediumNotFormatted;
    return IsInside(block, count, FormattedBlocks()) ? sense::kGood : sense::kAddressOutOfRange;
}

SenseCode CDvdPlusRwMedium::Flush(const WriteParameters&, Aftermath*) {
    if (FormatStatus() != kRunning || Reach() < Capacity())
        return sense::kGood;
    State().extra[kBackground] = kComplete;
    return Keep();
}

SenseCode CDvdPlusRwMedium::StopFormat() {
    if (FormatStatus() != kRunning)
        return sense::kGood;
    State().extra[kFormatted] = Reach();
    State().extra[kBackground] = Reach() < Capacity() ? kInterrupted : kComplete;
    return Keep();
}

SenseCode CDvdPlusRwMedium::Close(const WriteParameters&, uint8_t function, uint16_t) {
    return function == kStopBackgroundFormat || function == kCloseSession
               ? StopFormat()
               : sense::kInvalidFieldInCdb;
}

SenseCode CDvdPlusRwMedium::FormatMedium(std::span<const uint8_t> parameterList) {
    const FormatDescriptor descriptor = ParseFormatList(parameterList);
    if (descriptor.type != kFormatPlusRw || descriptor.parameter > kRestart ||
        (descriptor.blocks != Capacity() && descriptor.blocks != kAllBlocks))
        return sense::kInvalidFieldInParameterList;
    if (descriptor.parameter == kRestart) {
        if (FormatStatus() == kNone)
            return sense::kInvalidFieldInParameterList;
        if (FormatStatus() == kInterrupted)
            State().extra[kBackground] = kRunning;
        return Keep();
    }
    State().extra[kBackground] = kRunning;
    State().extra[kFormatted] = 0;
    return Store().Erase() ? sense::kGood : sense::kWriteError;
}

void CDvdPlusRwMedium::RunBackground(double share) {
    if (FormatStatus() != kRunning)
        return;
    const double reach = Extra(kFormatted) + share * Capacity();
    State().extra[kFormatted] = static_cast<uint32_t>(std::min<double>(reach, Capacity()));
    if (Reach() == Capacity())
        StopFormat();
}

// --- DVD-RAM ---

bool CDvdRamMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kRandomWritable || code == feature::kDefectManagement ||
           CDvdOverwriteMedium::IsFeatureCurrent(code);
}

DiscInformation CDvdRamMedium::Information(const WriteParameters&) const {
    // Neither empty nor complete once there is data: it can be written at any time.
    DiscInformation information;
    information.erasable = true;
    information.status = WrittenBlocks() == 0 ? DiscInformation::Empty : DiscInformation::Others;
    information.lastSession = WrittenBlocks() == 0 ? 0 : 3;
    return information;
}

std::vector<FormatCapacity> CDvdRamMedium::FormatCapacities() const {
    return {{.blocks = Capacity(), .type = 2}, {.blocks = Capacity(), .type = kFormatFull}};
}

SenseCode CDvdRamMedium::CheckWrite(int32_t block, uint32_t count) const {
    return IsInside(block, count, Capacity()) ? sense::kGood : sense::kAddressOutOfRange;
}

SenseCode CDvdRamMedium::Close(const WriteParameters&, uint8_t, uint16_t) {
    return sense::kInvalidFieldInCdb;
}

SenseCode CDvdRamMedium::FormatMedium(std::span<const uint8_t> parameterList) {
    const FormatDescriptor descriptor = ParseFormatList(parameterList);
    if (descriptor.type != kFormatFull ||
        (descriptor.blocks != Capacity() && descriptor.blocks != kAllBlocks))
        return sense::kInvalidFieldInParameterList;
    return Store().Erase() ? sense::kGood : sense::kWriteError;
}

} // namespace larkspin
