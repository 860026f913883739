// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the kinds of media are like, by profile number (MMC): one table for all who decide by it.
#pragma once

#include <cstdint>
#include <string>

namespace larkspin {

class DvdRecording;

// GetCurrentProfile's answer for a drive without GET CONFIGURATION. It is taken for one of CDs.
constexpr uint32_t kUnknownProfile = 65535;

constexpr uint32_t kProfileCdR = 0x09;
constexpr uint32_t kProfileCdRw = 0x0A;

// How a disc is recorded, once the drive has been told which it is.
enum class Recording {
    Other,      // as a CD is, or not at all
    Sequential, // from the inside out, a session behind the other
    InPlace,    // anywhere, and over what is there: no sessions
    Random,     // a BD-R in random mode, which is not recorded
};

// What has to be set up before a recording of the DVD logic, and thereby what closes it.
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

// Which entry of the drive's list of formats tells the capacity.
enum class CapacityFormat { None, Current, Full, PlusRw, CurrentOrFull };

enum class Erasing {
    AsReported, // blanked, if the disc report says that it can be
    Blank,      // blanked, whatever the disc report says
    Overwrite,  // knows no blanking: formatted, or filled with zeros
};

struct MediumTraits {
    using Finisher = void (*)(DvdRecording& dvd);

    uint32_t profile = 0;
    const char16_t* name = u"";
    bool hasDvdWay = false; // recorded by the DVD logic; all else takes the CD way through a job
    SpeedUnit speed = SpeedUnit::None;
    Recording recording = Recording::Other;
    bool hasSessions = false; // the jobs add data to it by sessions
    DvdSetup setup = DvdSetup::NotSupported;
    Finisher finish = nullptr; // closes a recording of the DVD logic
    CapacityFormat capacity = CapacityFormat::None;
    Erasing erasing = Erasing::AsReported;
    bool isDoubleLayer = false;

    bool IsWrittenInPlace() const { return recording == Recording::InPlace; }
    bool IsSequential() const { return recording == Recording::Sequential; }
    // A kind that is recorded.
    bool IsBd() const { return speed == SpeedUnit::Bd; }
    // Takes an image or a volume over what it holds, whatever the disc report says.
    bool IsOverwritten() const { return IsWrittenInPlace() && erasing != Erasing::AsReported; }
    // The families of DVD by their dash. An overwritten DVD-RW is of the second only.
    bool IsSequentialMinus() const { return setup == DvdSetup::MinusSequential; }
    bool IsDash() const { return IsSequentialMinus() || setup == DvdSetup::MinusRwOverwrite; }
    // DVD-R, and a DVD-RW that is written like one.
    bool IsIncremental() const { return IsSequentialMinus() && !isDoubleLayer; }
    bool IsMinusR() const { return IsIncremental() && erasing == Erasing::AsReported; }
    bool IsPlusR() const { return setup == DvdSetup::PlusSequential && !isDoubleLayer && !IsBd(); }
    bool IsPlusRDl() const { return setup == DvdSetup::PlusSequential && isDoubleLayer; }
    // The drive needs no closing: what was written is there once its cache is empty.
    bool HasNothingToClose() const { return setup == DvdSetup::Ram || setup == DvdSetup::BdRe; }
};

// `profile` may have the mark MEDIA_BLANK. A number that the table has not
// gives the traits of nothing.
const MediumTraits& TraitsOf(uint32_t profile);

// Name of a medium by its MMC profile number for the user; empty for a number that has none.
std::u16string DiskTypeName(uint32_t profile);

// The DVD test.
bool IsDvdProfile(uint32_t profile);

} // namespace larkspin
