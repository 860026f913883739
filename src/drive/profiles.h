// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The properties of each kind of medium, by profile number (MMC): one table for everybody.
#pragma once

#include <cstdint>
#include <string>

namespace larkspin {

class DvdRecording;

// GetCurrentProfile's result for a drive without GET CONFIGURATION, which is taken for a CD drive.
constexpr uint32_t kUnknownProfile = 65535;

constexpr uint32_t kProfileCdR = 0x09;
constexpr uint32_t kProfileCdRw = 0x0A;

// How a disc is recorded.
enum class Recording {
    Other,      // like a CD, or not at all
    Sequential, // from the inside out, one session after another
    InPlace,    // anywhere, over what is there: no sessions
    Random,     // a BD-R in random mode, which is not recorded
};

// How the DVD logic sets a recording up, which also decides how it is closed.
enum class DvdSetup {
    NotSupported,
    MinusSequential,
    MinusRwOverwrite,
    Ram,
    PlusSequential, // BD-R too
    PlusRw,
    BdRe,
};

enum class SpeedUnit { None, Cd, Dvd, Bd };

// Which entry of the drive's list of formats holds the capacity.
enum class CapacityFormat { None, Current, Full, PlusRw, CurrentOrFull };

enum class Erasing {
    AsReported, // blanked, if the disc report says that it can be
    Blank,      // blanked, whatever the disc report says
    Overwrite,  // can't be blanked: formatted, or filled with zeros
};

struct MediumTraits {
    using Finisher = void (*)(DvdRecording& dvd);

    uint32_t profile = 0;
    const char16_t* name = u"";
    bool hasDvdWay = false; // recorded by the DVD logic; the jobs record all others like CDs
    SpeedUnit speed = SpeedUnit::None;
    Recording recording = Recording::Other;
    bool hasSessions = false; // the jobs append data as further sessions
    DvdSetup setup = DvdSetup::NotSupported;
    Finisher finish = nullptr; // closes a recording of the DVD logic
    CapacityFormat capacity = CapacityFormat::None;
    Erasing erasing = Erasing::AsReported;
    bool isDoubleLayer = false;

    bool IsWrittenInPlace() const { return recording == Recording::InPlace; }
    bool IsSequential() const { return recording == Recording::Sequential; }
    // Only Blu-ray discs that are recorded.
    bool IsBd() const { return speed == SpeedUnit::Bd; }
    // Images and volumes overwrite what it holds, whatever the disc report says.
    bool IsOverwritten() const { return IsWrittenInPlace() && erasing != Erasing::AsReported; }
    // The dash families of DVD. A DVD-RW in overwrite mode belongs only to the second.
    bool IsSequentialMinus() const { return setup == DvdSetup::MinusSequential; }
    bool IsDash() const { return IsSequentialMinus() || setup == DvdSetup::MinusRwOverwrite; }
    // DVD-R, or DVD-RW written like one.
    bool IsIncremental() const { return IsSequentialMinus() && !isDoubleLayer; }
    bool IsMinusR() const { return IsIncremental() && erasing == Erasing::AsReported; }
    bool IsPlusR() const { return setup == DvdSetup::PlusSequential && !isDoubleLayer && !IsBd(); }
    bool IsPlusRDl() const { return setup == DvdSetup::PlusSequential && isDoubleLayer; }
    // The drive needs no closing command: what was written is on the disc once the cache is empty.
    bool HasNothingToClose() const { return setup == DvdSetup::Ram || setup == DvdSetup::BdRe; }
};

// `profile` may include MEDIA_BLANK. An unknown number gives the traits of no medium.
const MediumTraits& TraitsOf(uint32_t profile);

// The medium's name for the user, by MMC profile number; empty for an unknown number.
std::u16string DiskTypeName(uint32_t profile);

// True for the DVDs that the DVD logic records; false for Blu-ray discs.
bool IsDvdProfile(uint32_t profile);

} // namespace larkspin
