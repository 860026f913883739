// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/profiles.h"
#include "drive/dvd_detail.h"

#include <algorithm>
#include <iterator>

namespace larkspin {

namespace {

template <void (DvdRecording::*Finish)()>
void By(DvdRecording& dvd) {
    (dvd.*Finish)();
}

constexpr MediumTraits::Finisher kFinishMinusR = By<&DvdRecording::FinishMinusR>;
constexpr MediumTraits::Finisher kFinishMinusRw = By<&DvdRecording::FinishMinusRw>;
constexpr MediumTraits::Finisher kFinishPlusR = By<&DvdRecording::FinishPlusR>;
constexpr MediumTraits::Finisher kFinishPlusRw = By<&DvdRecording::FinishPlusRw>;
constexpr MediumTraits::Finisher kFinishRam = By<&DvdRecording::FinishRam>;

constexpr bool kDvdWay = true;
constexpr bool kCdWay = false;
constexpr bool kSessions = true;
constexpr bool kNoSessions = false;

using enum Recording;
using Unit = SpeedUnit;
using Setup = DvdSetup;
using List = CapacityFormat;

// clang-format off
constexpr MediumTraits kTraits[] = {
    {0x00, u"<no disk>"},
    {0x01, u"<non removable>"},
    {0x02, u"<removable disk>"},
    {0x03, u"Magneto-Optical disk"},
    {0x04, u"Write-Once disk"},
    {0x05, u"AS-MO disk"},
    {0x08, u"CD-ROM"},
    {kProfileCdR, u"CD-R", kCdWay, Unit::Cd, Other, kSessions},
    {kProfileCdRw, u"CD-RW", kCdWay, Unit::Cd, Other, kSessions},
    {0x10, u"DVD-ROM", kDvdWay},
    {0x11, u"DVD-R", kDvdWay, Unit::Dvd, Sequential, kSessions,
     Setup::MinusSequential, kFinishMinusR},
    {0x12, u"DVD-RAM", kDvdWay, Unit::Dvd, InPlace, kNoSessions,
     Setup::Ram, kFinishRam, List::Current},
    {0x13, u"DVD-RW", kDvdWay, Unit::Dvd, InPlace, kNoSessions,
     Setup::MinusRwOverwrite, kFinishMinusRw, List::Full, Erasing::Blank},
    {0x14, u"DVD-RW", kDvdWay, Unit::Dvd, Sequential, kSessions,
     Setup::MinusSequential, kFinishMinusR, List::None, Erasing::Blank},
    // DVD-R DL, and the same with layer jumps
    {0x15, u"", kCdWay, Unit::None, Sequential, kNoSessions,
     Setup::MinusSequential, kFinishMinusR, List::None, Erasing::AsReported, true},
    {0x16, u"", kCdWay, Unit::None, Sequential, kNoSessions,
     Setup::NotSupported, nullptr, List::None, Erasing::AsReported, true},
    {0x1A, u"DVD+RW", kDvdWay, Unit::Dvd, InPlace, kNoSessions,
     Setup::PlusRw, kFinishPlusRw, List::PlusRw, Erasing::Overwrite},
    {0x1B, u"DVD+R", kDvdWay, Unit::Dvd, Sequential, kSessions,
     Setup::PlusSequential, kFinishPlusR},
    // DVD+RW DL
    {0x2A, u"", kCdWay, Unit::None, InPlace, kNoSessions,
     Setup::NotSupported, nullptr, List::None, Erasing::Overwrite, true},
    {0x2B, u"DVD+R DL", kDvdWay, Unit::Dvd, Sequential, kSessions,
     Setup::PlusSequential, kFinishPlusR, List::None, Erasing::AsReported, true},
    {0x40, u"BD-ROM"},
    {0x41, u"BD-R", kDvdWay, Unit::Bd, Sequential, kSessions,
     Setup::PlusSequential, kFinishPlusR},
    {0x42, u"BD-R", kCdWay, Unit::None, Random},
    {0x43, u"BD-RE", kDvdWay, Unit::Bd, InPlace, kNoSessions,
     Setup::BdRe, kFinishRam, List::CurrentOrFull, Erasing::Overwrite},
    {kUnknownProfile, u"<unknown>", kCdWay, Unit::Cd, Other, kSessions},
};
// clang-format on

constexpr MediumTraits kNothing;
constexpr uint32_t kNumber = 0xFFFF;

} // namespace

const MediumTraits& TraitsOf(uint32_t profile) {
    const auto* found = std::ranges::find(kTraits, profile & kNumber, &MediumTraits::profile);
    return found != std::end(kTraits) ? *found : kNothing;
}

std::u16string DiskTypeName(uint32_t profile) {
    return TraitsOf(profile).name;
}

bool IsDvdProfile(uint32_t profile) {
    const MediumTraits& traits = TraitsOf(profile);
    return traits.hasDvdWay && !traits.IsBd();
}

} // namespace larkspin
