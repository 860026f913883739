// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Setting up a drive for a DVD recording, depending on the profile of the medium.
#include "drive/bd_media.h"
#include "drive/dvd_detail.h"
#include "drive/format_list.h"
#include "drive/mmc.h"
#include "drive/mode_pages.h"
#include "drive/profiles.h"
#include "drive/scsi_command.h"
#include "drive/sense.h"
#include "drive/waiting.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace larkspin {

namespace {

using Failure = CAspiCD::CgrowisofsException;

// READ DVD STRUCTURE and SEND DVD STRUCTURE formats (MMC).
constexpr uint8_t kLayerBoundaryFormat = 0x20;
constexpr uint8_t kPhysicalFormat = 0x10;

constexpr uint16_t kIncrementalStreamingFeature = 0x21;

// READ DVD STRUCTURE. The allocation length is the size of `answer` (below 256).
int ReadDvdStructure(CScsiCommand& command, uint8_t format, std::span<uint8_t> answer) {
    command[0] = mmc::kReadDvdStructure;
    command[7] = format;
    command[9] = static_cast<uint8_t>(answer.size());
    return command.Transport(Direction::READ, answer.data(), static_cast<uint32_t>(answer.size()));
}

// The user should know when the second layer of a DVD-R DL would be wasted.
void CheckMinusRDlLayers(CScsiCommand& command, int64_t size) {
    std::array<uint8_t, 20> answer = {};
    if (ReadDvdStructure(command, kPhysicalFormat, answer) != 0) {
        throw Failure("unable to read dvd-r dl structure");
    }
    const uint32_t layerEnd = LoadBe32(&answer[16]) & 0xFFFFFF;
    if (size / kLogicalBlockBytes <= layerEnd) {
        throw Failure("more than half of space on DVD-R DL disk will be wasted, use single layer "
                      "disk instead");
    }
}

// If the drive refuses the reservation, the first write shows it.
void ReserveTrack(CScsiCommand& command, int64_t size) {
    command[0] = mmc::kReserveTrack;
    StoreBe32(&command[5], BlocksInFullEcc(size));
    command.Transport(Direction::NONE);
}

uint32_t ReadFirstWritableBlock(CScsiCommand& command, uint32_t track) {
    std::array<uint8_t, 32> answer = {};
    constexpr uint8_t nextWritableAddressValid = 1;
    if (ReadTrackInformation(command, track, answer) != 0 ||
        (answer[7] & nextWritableAddressValid) == 0) {
        return 0;
    }
    return LoadBe32(&answer[12]);
}

// Calibrates the laser unless the disc has a stored calibration.
void CalibrateDvd(CScsiCommand& command) {
    std::array<uint8_t, 8> info = {};
    command[0] = mmc::kReadDiscInformation;
    command[8] = info.size();
    if (command.Transport(Direction::READ, info.data(), info.size()) != 0) {
        throw Failure("internal error #1006");
    }
    constexpr uint16_t lengthWithoutCalibrations = 32;
    if (LoadBe16(info.data()) > lengthWithoutCalibrations) {
        return;
    }
    command[0] = mmc::kSendOpcInformation;
    command[1] = 1; // do it now
    const int code = command.Transport(Direction::NONE);
    if (code > 0 && (code >> 8 & 0xFF) == kAscPowerCalibration) {
        throw Failure("power calibration failed");
    }
}

// Size of the drive's buffer from page 2Ah, in KB.
uint32_t DriveBufferKB(std::span<const uint8_t> page) {
    constexpr uint32_t least = 512;
    if (page.size() < 14 || page[1] < 12) {
        return least;
    }
    return std::max<uint32_t>(LoadBe16(&page[12]), least);
}

// The write mode for incremental or one-go writing of a sequential dash disc.
uint8_t SequentialMinusWriteMode(DvdRecording& dvd, CScsiCommand& command,
                                 const MediumTraits& medium) {
    if (dvd.m_nNextTrack == 1) {
        std::array<uint8_t, 16> feature = {};
        command[0] = mmc::kGetConfiguration;
        command[1] = 2; // the one feature
        StoreBe16(&command[2], kIncrementalStreamingFeature);
        command[8] = feature.size();
        if (command.Transport(Direction::READ, feature.data(), feature.size()) != 0) {
            throw Failure("cannot access drive configuration");
        }
        constexpr uint8_t current = 1;
        if (LoadBe32(feature.data()) >= 12 && (feature[10] & current) == 0) {
            dvd.m_bDaoOnly = true;
            dvd.m_bDaoMode = true;
        }
    }
    uint8_t writeMode =
        kMultiSessionOpen | (dvd.m_bDaoMode ? kWriteTypeSessionAtOnce : kWriteTypeIncremental);
    if (medium.isDoubleLayer || dvd.m_bDaoOnly) {
        writeMode &= static_cast<uint8_t>(~kMultiSessionOpen);
    }
    return writeMode;
}

// MODE SENSE(10)'s answer with the whole write parameters page.
std::vector<uint8_t> ReadWriteParameters(CScsiCommand& command) {
    constexpr size_t needed = kPacketSize + 4;
    std::vector<uint8_t> answer(12);
    if (SenseModePage(command, kPageWriteParameters, answer) != 0) {
        throw Failure("internal error #1016");
    }
    const size_t descriptors = BlockDescriptorBytes(answer);
    if (descriptors != 0 && ModeDataBytes(answer) <= kModeHeaderBytes + descriptors + needed) {
        throw Failure("internal error #1017");
    }
    answer.resize(WholeAnswerBytes(answer));
    if (SenseModePage(command, kPageWriteParameters, answer) != 0) {
        throw Failure("internal error #1018");
    }
    if (PageOf(answer).size() < needed) {
        throw Failure("internal error #1019");
    }
    return answer;
}

constexpr uint8_t kLinkSizeValid = 0x20;
constexpr uint8_t kFixedPacket = 0x20;
constexpr uint8_t kDvdLinkBlocks = 16;

// Fills in the page for `medium`; `track` is READ TRACK INFORMATION's answer for track 1.
void FillWriteParameters(uint8_t* page, std::span<const uint8_t> track, const MediumTraits& medium,
                         uint8_t writeMode) {
    page[0] &= static_cast<uint8_t>(~kParametersSavable);
    page[kWriteType] = (page[kWriteType] & 0xE0) | (writeMode & 0x1F) | kBufe;
    if (medium.IsIncremental()) {
        page[kWriteType] |= kLinkSizeValid;
        page[kLinkSize] = kDvdLinkBlocks;
    } else {
        page[kWriteType] &= static_cast<uint8_t>(~kLinkSizeValid);
        page[kLinkSize] = 0;
    }
    const uint8_t trackMode = medium.IsMinusR() ? 5 : track[5] & 0x0F;
    const uint8_t multiSession =
        medium.setup == DvdSetup::MinusRwOverwrite ? 0 : writeMode & kMultiSessionOpen;
    page[kTrackMode] =
        static_cast<uint8_t>((page[kTrackMode] & 0x30) | kFixedPacket | multiSession | trackMode);
    page[kDataBlockType] = kMode1Block;

    const bool fixedPackets = (track[6] & 0x10) != 0;
    if (fixedPackets) {
        std::memcpy(&page[kPacketSize], &track[20], 4);
    } else {
        StoreBe32(&page[kPacketSize], kEccBlocks);
        if (!medium.IsMinusR()) {
            page[kTrackMode] &= static_cast<uint8_t>(~kFixedPacket);
            page[kPacketSize + 3] = 0;
        }
    }
    page[kSessionFormat] = 0;
}

} // namespace

// If the user cancels before anything on the disc has been changed, no finisher is set: there is
// nothing to be written.
void DvdRecording::PrepareDvdMedia(int64_t size) {
    m_pfnFinalize = nullptr;
    const auto isStopped = [this] {
        return !m_drive.IsDiscTouched() && IsCancelled(m_drive.Cancel());
    };
    CScsiCommand command(m_drive);
    command[0] = mmc::kPreventAllowMediumRemoval;
    command[4] = 1; // a door that can't be locked is no obstacle
    command.Transport(Direction::NONE);
    m_drive.HandleEvents(command);
    if (isStopped()) {
        return;
    }

    const MediumTraits& medium = TraitsOf(m_nProfile);
    switch (medium.setup) {
    case DvdSetup::MinusRwOverwrite:
        PrepareDvdRecording(command, medium.profile);
        if (isStopped()) {
            return;
        }
        QuickGrowMinusRw(command, size);
        m_nNextWriteAddress = 0;
        break;
    case DvdSetup::Ram:
        PrepareDvdRecording(command, medium.profile);
        m_nNextWriteAddress = 0;
        break;
    case DvdSetup::MinusSequential:
        PrepareDvdRecording(command, medium.profile);
        if (medium.isDoubleLayer && size > 0) {
            CheckMinusRDlLayers(command, size);
        }
        if (isStopped()) {
            return;
        }
        if (m_bDaoMode && size > 0) {
            ReserveTrack(command, size);
        }
        m_nNextWriteAddress = ReadFirstWritableBlock(command, static_cast<uint32_t>(m_nNextTrack));
        break;
    case DvdSetup::PlusRw: {
        enum BackgroundFormat : uint8_t { kNeverFormatted = 0, kInterrupted = 1 };
        const uint8_t formatState = m_abyDiscInfo[7] & 3;
        if (formatState == kNeverFormatted) {
            FormatPlusRw(command);
        } else if (formatState == kInterrupted) {
            RestartPlusRwFormat(command, size);
        }
        PrepareDvdRecording(command, medium.profile);
        m_nNextWriteAddress = 0;
        break;
    }
    case DvdSetup::BdRe:
        if (CurrentCapacityTypeOf(m_abyFormats) != kFormatted) {
            FormatBdRe(*this, command);
        }
        PrepareDvdRecording(command, medium.profile);
        m_nNextWriteAddress = 0;
        break;
    case DvdSetup::PlusSequential:
        PrepareDvdRecording(command, medium.profile);
        if (isStopped()) {
            return;
        }
        if (medium.isDoubleLayer && m_nNextTrack == 1 && size > 0 && m_bDaoOnly) {
            SplitPlusRDl(command, size);
        }
        m_nNextWriteAddress = ReadFirstWritableBlock(command, static_cast<uint32_t>(m_nNextTrack));
        break;
    case DvdSetup::NotSupported:
        throw Failure("disk type not supported");
    }
    if (!isStopped()) {
        m_pfnFinalize = medium.finish;
    }
}

void DvdRecording::PrepareDvdRecording(CScsiCommand& command, uint32_t profile) {
    const MediumTraits& medium = TraitsOf(profile);
    const bool dashFamily = medium.IsDash();
    if (medium.IsSequentialMinus()) {
        SetupWriteParameters(command, profile, SequentialMinusWriteMode(*this, command, medium));
    } else if (medium.IsPlusR() || dashFamily) {
        SetupWriteParameters(command, profile, kMultiSessionOpen);
    }

    std::vector<uint8_t> page2A = ReadPage2A(command);
    m_nDriveBufferKB = DriveBufferKB(PageOf(page2A));
    if (SetDvdWriteSpeed(command, dashFamily, &page2A) < 0) {
        VelocityFromPage2A(dashFamily, page2A);
    }
    if (dashFamily) {
        CalibrateDvd(command);
        m_drive.HandleEvents(command);
    }
}

void DvdRecording::SetupWriteParameters(CScsiCommand& command, uint32_t profile,
                                        uint8_t writeMode) {
    const MediumTraits& medium = TraitsOf(profile);
    std::array<uint8_t, 32> track = {};
    // Track 1 stands for all tracks of a DVD.
    if (ReadTrackInformation(command, 1, track) != 0) {
        throw Failure("internal error #1015");
    }
    const std::vector<uint8_t> parameters = ReadWriteParameters(command);
    constexpr uint8_t mode1 = 1;
    if ((track[6] & 0x0F) != mode1) {
        throw Failure("track 1 is not mode 1. cannot continue");
    }
    const bool fixedPackets = (track[6] & 0x10) != 0;
    if (medium.setup == DvdSetup::MinusRwOverwrite && !fixedPackets) {
        throw Failure("internal error #1020. packet size is not fixed");
    }
    if (medium.IsIncremental() && fixedPackets) {
        throw Failure("internal error #1021. packet size is fixed");
    }

    const std::span<const uint8_t> page = PageOf(parameters);
    std::vector<uint8_t> list(kModeHeaderBytes + page.size()); // after a header of zeros
    std::ranges::copy(page, list.begin() + kModeHeaderBytes);
    FillWriteParameters(&list[kModeHeaderBytes], track, medium, writeMode);
    const auto length = static_cast<uint16_t>(list.size());
    command[0] = mmc::kModeSelect10;
    command[1] = 0x10; // page format
    StoreBe16(&command[7], length);
    if (command.Transport(Direction::WRITE, list.data(), length) != 0) {
        throw Failure("internal error #1022");
    }
}

void DvdRecording::SplitPlusRDl(CScsiCommand& command, int64_t size) {
    std::array<uint8_t, 12> boundary = {};
    if (ReadDvdStructure(command, kLayerBoundaryFormat, boundary) != 0) {
        throw Failure("cannot read DVD+R DL boundary information");
    }
    if (LoadBe16(boundary.data()) < 10) {
        throw Failure("internal error #1007");
    }
    constexpr uint8_t fixedBoundary = 0x80;
    if ((boundary[4] & fixedBoundary) != 0) {
        return;
    }
    const uint32_t blocks = BlocksInFullEcc(size);
    if (blocks <= LoadBe32(&boundary[8])) {
        throw Failure("more than half of space on DVD+R DL disk will be wasted, use single layer "
                      "disk instead");
    }
    std::array<uint8_t, 12> split = {};
    split[1] = 10; // length of what follows
    StoreBe32(&split[8], (blocks / kEccBlocks + 1) / 2 * kEccBlocks);
    command[0] = mmc::kSendDvdStructure;
    command[7] = kLayerBoundaryFormat;
    command[9] = split.size();
    if (command.Transport(Direction::WRITE, split.data(), split.size()) != 0) {
        throw Failure("cannot set DVD+R DL layer information");
    }
}

} // namespace larkspin
