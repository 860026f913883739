// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/dvd_overwrite.h"

#include "virtualdrive/features.h"
#include "virtualdrive/format_list.h"

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

// --- DVD+RW ---

CDvdPlusRwMedium::CDvdPlusRwMedium(CDiscStore& store) : CDvdMedium(store, dvd_facts::kPlusRw) {
    StopFormat();
}

CDvdPlusRwMedium::Background CDvdPlusRwMedium::FormatStatus() const {
    return static_cast<Background>(Extra(kBackground));
}

uint32_t CDvdPlusRwMedium::Reach() const {
    return std::min(Capacity(), RoundUpToEcc(std::max(Extra(kFormatted), WrittenBlocks())));
}

bool CDvdPlusRwMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kDvdPlusRw || CDvdMedium::IsFeatureCurrent(code);
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
    if (!isFormatted) {
        return {{.blocks = Capacity(), .type = 1}, whole};
    }
    return {{.blocks = FormattedBlocks(), .type = 2}, whole};
}

SenseCode CDvdPlusRwMedium::CheckWrite(int32_t block, uint32_t count) const {
    if (FormatStatus() == kNone) {
        return sense::kMediumNotFormatted;
    }
    return IsInside(block, count, FormattedBlocks()) ? sense::kGood : sense::kAddressOutOfRange;
}

SenseCode CDvdPlusRwMedium::Flush(const WriteParameters&, Aftermath*) {
    if (FormatStatus() != kRunning || Reach() < Capacity()) {
        return sense::kGood;
    }
    State().extra[kBackground] = kComplete;
    return Keep();
}

SenseCode CDvdPlusRwMedium::StopFormat() {
    if (FormatStatus() != kRunning) {
        return sense::kGood;
    }
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
        (descriptor.blocks != Capacity() && descriptor.blocks != kAllBlocks)) {
        return sense::kInvalidFieldInParameterList;
    }
    if (descriptor.parameter == kRestart) {
        if (FormatStatus() == kNone) {
            return sense::kInvalidFieldInParameterList;
        }
        if (FormatStatus() == kInterrupted) {
            State().extra[kBackground] = kRunning;
        }
        return Keep();
    }
    State().extra[kBackground] = kRunning;
    State().extra[kFormatted] = 0;
    return Store().Erase() ? sense::kGood : sense::kWriteError;
}

void CDvdPlusRwMedium::RunBackground(double share) {
    if (FormatStatus() != kRunning) {
        return;
    }
    const double reach = Extra(kFormatted) + share * Capacity();
    State().extra[kFormatted] = static_cast<uint32_t>(std::min<double>(reach, Capacity()));
    if (Reach() == Capacity()) {
        StopFormat();
    }
}

// --- DVD-RAM ---

bool CDvdRamMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kRandomWritable || code == feature::kDefectManagement ||
           CDvdMedium::IsFeatureCurrent(code);
}

DiscInformation CDvdRamMedium::Information(const WriteParameters&) const {
    // Neither empty nor complete if there is data: it can be written at any time.
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
        (descriptor.blocks != Capacity() && descriptor.blocks != kAllBlocks)) {
        return sense::kInvalidFieldInParameterList;
    }
    return Store().Erase() ? sense::kGood : sense::kWriteError;
}

} // namespace larkspin
