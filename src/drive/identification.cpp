// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiCD: identifying the disc in the drive. First the direct family, on which the jobs base their
// decisions for any disc; then the family of the DVD recorder.
#include "drive/direct_command.h"
#include "drive/dvd_detail.h"
#include "drive/format_list.h"
#include "drive/mmc.h"
#include "drive/mode_pages.h"
#include "drive/profiles.h"
#include "drive/scsi_command.h"
#include "drive/srb.h"
#include "drive/timeouts.h"
#include "drive/waiting.h"
#include "platform/byte_order.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr int32_t kFramesPerSecond = 75;
constexpr int32_t kBlocksBeforeZero = 150;
constexpr size_t kFullAnswer = 255;
constexpr size_t kFeatureHeaderBytes = 8;
constexpr size_t kFormatsBytes = 260;

// Set in the profile numbers of DVDs, clear in those of CDs and BDs.
constexpr uint32_t kDvdProfileBits = 0x30;

// Byte 2 of READ DISC INFORMATION.
constexpr uint8_t kErasableBit = 0x10;
enum DiscStatus : uint8_t { kDiscEmpty = 0, kDiscIncomplete = 1, kDiscComplete = 2 };
uint8_t DiscStatusOf(const uint8_t* info) {
    return info[2] & 3;
}
uint8_t LastSessionStateOf(const uint8_t* info) {
    return info[2] >> 2 & 3;
}
int32_t LastSessionFirstTrack(std::span<const uint8_t> info) {
    return info[10] << 8 | info[5];
}
enum SessionState : uint8_t { kEmptySession = 0, kIncompleteSession = 1, kDamagedSession = 2 };

// Fields of READ DISC INFORMATION that hold an address as minutes, seconds and frames.
constexpr size_t kLastSessionLeadIn = 17;
constexpr size_t kLastLeadOut = 21;

// GET CONFIGURATION for just the current profile.
DirectResult GetConfiguration(CAspiCD& drive, std::span<uint8_t> answer) {
    Cdb cdb(mmc::kGetConfiguration);
    cdb[1] = 1;
    cdb[8] = static_cast<uint8_t>(answer.size());
    return SendDirect(drive, SRB_DIR_IN, cdb, answer.data(), static_cast<uint32_t>(answer.size()));
}

DirectResult ReadDiscInformation(CAspiCD& drive, std::span<uint8_t> answer,
                                 uint32_t timeoutSeconds = 0) {
    Cdb cdb(mmc::kReadDiscInformation);
    StoreBe16(&cdb[7], static_cast<uint16_t>(answer.size()));
    return SendDirect(drive, SRB_DIR_IN, cdb, answer.data(), static_cast<uint32_t>(answer.size()),
                      timeoutSeconds);
}

// The last possible start of the lead-out, as a block address; nothing if unknown.
std::optional<int32_t> LeadOutLimit(std::span<const uint8_t> info) {
    const uint8_t* const msf = &info[kLastLeadOut];
    if (msf[0] == 0xFF && msf[1] == 0xFF && msf[2] == 0xFF) {
        return std::nullopt;
    }
    return (msf[0] * 60 + msf[1]) * kFramesPerSecond + msf[2] - kBlocksBeforeZero;
}

// READ TRACK INFORMATION of the track with this number.
DirectResult ReadTrack(CAspiCD& drive, int32_t number, std::span<uint8_t> track) {
    Cdb cdb(mmc::kReadTrackInformation);
    cdb[1] = 1; // the number below is a track
    StoreBe16(&cdb[4], static_cast<uint16_t>(number));
    cdb[8] = static_cast<uint8_t>(track.size());
    return SendDirect(drive, SRB_DIR_IN, cdb, track.data(), static_cast<uint32_t>(track.size()));
}

// Free blocks plus the next writable address, from an answer of READ TRACK INFORMATION.
uint32_t EndOfFreeBlocks(std::span<const uint8_t> track) {
    constexpr uint8_t kNextAddressValid = 1;
    const uint64_t next = (track[7] & kNextAddressValid) != 0 ? LoadBe32(&track[12]) : 0;
    return static_cast<uint32_t>(std::min<uint64_t>(LoadBe32(&track[16]) + next, INT32_MAX));
}

// Converts a number of blocks of the capacity list's block length to blocks of 2048 bytes.
uint32_t ScaleBlocks(std::span<const uint8_t> formats, uint32_t blocks) {
    const uint32_t length =
        uint32_t{formats[kBlockLength]} << 16 | LoadBe16(&formats[kBlockLength + 1]);
    uint64_t scaled = blocks;
    if (length > kLogicalBlockBytes) {
        scaled *= length / kLogicalBlockBytes;
    } else if (length > 0) {
        scaled /= kLogicalBlockBytes / length;
    }
    return static_cast<uint32_t>(std::min<uint64_t>(scaled, INT32_MAX));
}

// Scaled blocks of a type's format descriptor; 0 if the list has none.
uint32_t FormatBlocks(std::span<const uint8_t> formats, FormatType type) {
    const uint8_t* const descriptor = FindFormat(formats, type);
    return descriptor != nullptr ? ScaleBlocks(formats, LoadBe32(descriptor)) : 0;
}

// A medium's capacity in blocks of 2048 bytes according to its list of formats; 0 for other media.
uint32_t CapacityFromFormats(uint32_t profile, std::span<const uint8_t> formats) {
    switch (TraitsOf(profile).capacity) {
    case CapacityFormat::Current:
        return ScaleBlocks(formats, LoadBe32(&formats[kCurrentBlocks]));
    case CapacityFormat::Full:
        return FormatBlocks(formats, kFormatTypeFull);
    case CapacityFormat::PlusRw:
        return FormatBlocks(formats, kFormatTypePlusRw);
    case CapacityFormat::CurrentOrFull: // the present format; if unformatted, the format to come
        return CurrentCapacityTypeOf(formats) == kFormatted
                   ? ScaleBlocks(formats, LoadBe32(&formats[kCurrentBlocks]))
                   : FormatBlocks(formats, kFormatTypeFull);
    case CapacityFormat::None:
        break;
    }
    return 0;
}

// Media that the jobs write from the inside out, and never format.
bool IsSequential(uint32_t profile) {
    const MediumTraits& medium = TraitsOf(profile);
    return medium.IsSequential() && medium.hasSessions;
}

// Reads a list of formats in two steps: its length, then all of it. `send` sends READ FORMAT
// CAPACITIES with the given allocation length, reads into `formats` and tells whether that worked.
// Returns false when a command failed or the two lengths make no sense.
template <typename Send>
bool ReadFormats(std::span<uint8_t> formats, uint8_t leastLength, const Send& send) {
    constexpr uint16_t kFirstAllocation = 12;
    std::ranges::fill(formats, uint8_t{0});
    if (!send(kFirstAllocation)) {
        return false;
    }
    const uint8_t length = formats[kListLength];
    if (length % 8 != 0 || length < leastLength) {
        return false;
    }
    return send(static_cast<uint16_t>(length + kListHeaderBytes)) && formats[kListLength] == length;
}

// The current profile; 0 if there is no disc. Tries once to close a tray that may be open.
uint32_t ReadProfileOfLoadedDisc(CAspiCD& drive, CScsiCommand& command) {
    constexpr int kWithoutQualifier = 0xFFF00;
    constexpr int kNoMedium = 0x23A00;
    constexpr uint64_t kLoadLimitMs = 120'000;
    for (bool loaded = false;; loaded = true) {
        std::array<uint8_t, 8> configuration = {};
        command[0] = mmc::kGetConfiguration;
        command[8] = configuration.size();
        if (command.Transport(Direction::READ, configuration.data(), configuration.size()) != 0) {
            throw CAspiCD::CgrowisofsException("not a DVD drive");
        }
        const uint32_t profile = LoadBe16(&configuration[6]);
        if (profile != 0 || loaded) {
            return profile;
        }
        command[0] = mmc::kTestUnitReady;
        if ((command.Transport(Direction::NONE) & kWithoutQualifier) != kNoMedium) {
            return 0;
        }
        command[0] = mmc::kStartStopUnit;
        command[4] = 3; // load
        if (command.Transport(Direction::NONE) != 0) {
            throw CAspiCD::CgrowisofsException("cannot close tray");
        }
        IClock& clock = drive.Clock();
        const uint64_t start = clock.TickMs();
        const CancelFunctor overdue([&] { return clock.TickMs() - start >= kLoadLimitMs; });
        drive.WaitForUnit(command, &overdue);
    }
}

} // namespace

bool CAspiCD::HasCurrentProfile() {
    if (!m_bConfigKnown) {
        constexpr uint8_t kNoSuchConfiguration = 0x14;
        std::array<uint8_t, kFeatureHeaderBytes> answer = {};
        const DirectResult result = GetConfiguration(*this, answer);
        m_bHasConfig = !(result.Key() == kKeyIllegalRequest &&
                         result.Asc() == kNoSuchConfiguration && result.Ascq() == 0);
        m_bConfigKnown = true;
    }
    return m_bHasConfig;
}

uint32_t CAspiCD::GetCurrentProfile() {
    if (!HasCurrentProfile()) {
        return kUnknownProfile;
    }
    std::array<uint8_t, kFeatureHeaderBytes> answer = {};
    if (GetConfiguration(*this, answer).Failed()) {
        return 0;
    }
    return LoadBe16(&answer[6]);
}

bool CAspiCD::IsDiskErasable() {
    std::array<uint8_t, kFullAnswer> info = {};
    return !ReadDiscInformation(*this, info).Failed() && (info[2] & kErasableBit) != 0;
}

void CAspiCD::ReadDiskInfo() {
    m_disk = {};

    std::array<uint8_t, kFullAnswer> info = {};
    DirectResult result = ReadDiscInformation(*this, info, kDiscReportSeconds);
    for (int repeat = 0; repeat < kMaxAttentionRepeats && result.Key() == kKeyUnitAttention &&
                         result.Asc() == kAscMediumChanged;
         ++repeat) {
        m_pTransport->Clock().Sleep(std::chrono::milliseconds(kAttentionPauseMs));
        result = ReadDiscInformation(*this, info, kDiscReportSeconds);
    }
    if (!result.Failed()) {
        TakeDiskInfo(info);
    }

    constexpr size_t kLastCompleteSession = 3;
    std::array<uint8_t, 12> sessions = {};
    Cdb cdb(mmc::kReadToc);
    cdb[2] = 1; // session information
    cdb[8] = sessions.size();
    const bool hasSessions =
        !SendDirect(*this, SRB_DIR_IN, cdb, sessions.data(), sessions.size()).Failed();
    if (hasSessions && (m_disk.m_dwDiskKnown & DISK_BLANK) == 0) {
        m_disk.m_dwDiskKnown |= DISK_BLANK;
        if (sessions[kLastCompleteSession] == 0) {
            m_disk.m_dwDiskState |= DISK_BLANK;
        }
    }
}

void CAspiCD::TakeDiskInfo(std::span<const uint8_t> info) {
    if ((info[2] & kErasableBit) != 0) {
        m_disk.m_dwDiskState |= DISK_ERASABLE;
    }
    const uint8_t status = DiscStatusOf(info.data());
    if (status == kDiscEmpty) {
        m_disk.m_dwDiskState |= DISK_BLANK | DISK_APPENDABLE;
    } else if (status == kDiscIncomplete && LastSessionStateOf(info.data()) == kEmptySession) {
        m_disk.m_dwDiskState |= DISK_APPENDABLE;
        int32_t next = 0;
        if (ReadSaoNextAddress(&next) == 0) {
            m_disk.m_nNextAddress = next + kBlocksBeforeZero;
        } else {
            // The lead-in of the last session, plus the minute that it takes up.
            const uint8_t* const msf = &info[kLastSessionLeadIn];
            m_disk.m_nNextAddress = ((msf[0] + 1) * 60 + msf[1]) * kFramesPerSecond + msf[2];
        }
    }
    const uint8_t session = LastSessionStateOf(info.data());
    if (status == kDiscIncomplete &&
        (session == kIncompleteSession || session == kDamagedSession)) {
        m_disk.m_dwDiskState |= DISK_SESSION_OPEN;
    }
    m_disk.m_dwDiskKnown |= DISK_ERASABLE | DISK_BLANK | DISK_APPENDABLE | DISK_SESSION_OPEN;

    if (const std::optional<int32_t> limit = LeadOutLimit(info)) {
        m_disk.m_dwDiskKnown |= DISK_CAPACITY_KNOWN;
        m_disk.m_nCapacity = *limit;
    }
}

CAspiCD::DiscPresence CAspiCD::AskForDisc() {
    const DirectResult first = SendDirect(*this, SRB_DIR_OUT, Cdb(mmc::kTestUnitReady));
    if (first.Key() != kKeyUnitAttention) {
        return first.Failed() ? DiscPresence::None : DiscPresence::Unmoved;
    }
    const DirectResult second = SendDirect(*this, SRB_DIR_OUT, Cdb(mmc::kTestUnitReady));
    return second.Failed() ? DiscPresence::None : DiscPresence::New;
}

std::optional<DiscGlance> CAspiCD::GlanceAtDisc() {
    DiscGlance glance;
    glance.profile = GetCurrentProfile();
    std::array<uint8_t, kFullAnswer> info = {};
    if (glance.profile == 0 || ReadDiscInformation(*this, info).Failed()) {
        return std::nullopt;
    }
    const MediumTraits& medium = TraitsOf(glance.profile);
    glance.erasable = (info[2] & kErasableBit) != 0;
    std::array<uint8_t, kFormatsBytes> formats = {};
    const auto readFormats = [&](uint16_t allocation) {
        Cdb cdb(mmc::kReadFormatCapacities);
        StoreBe16(&cdb[7], allocation);
        return !SendDirect(*this, SRB_DIR_IN, cdb, formats.data(), allocation).Failed();
    };
    if (medium.capacity != CapacityFormat::None) {
        if (ReadFormats(formats, 0, readFormats)) {
            glance.state = DiscGlance::State::InPlace;
            glance.blocks = CapacityFromFormats(glance.profile, formats);
        }
        return glance;
    }
    const uint8_t status = DiscStatusOf(info.data());
    if (status == kDiscComplete) {
        glance.state = DiscGlance::State::Closed;
        return glance;
    }
    const bool isBlank = status == kDiscEmpty;
    if (!isBlank &&
        (status != kDiscIncomplete || LastSessionStateOf(info.data()) != kEmptySession)) {
        return glance;
    }
    if (IsSequential(glance.profile)) {
        std::array<uint8_t, 32> track = {};
        glance.state = DiscGlance::State::Writable;
        if (!ReadTrack(*this, LastSessionFirstTrack(info), track).Failed()) {
            glance.blocks = EndOfFreeBlocks(track);
            glance.freeBlocks = LoadBe32(&track[16]);
        }
    } else if (medium.speed == SpeedUnit::Cd) {
        glance.state = DiscGlance::State::Writable;
        glance.blocks = LeadOutLimit(info).value_or(0);
        int32_t next = 0;
        const bool isNextKnown = isBlank || (ReadNextWritableAddress(&next) == 0 && next > 0);
        if (glance.blocks > 0 && isNextKnown) {
            glance.freeBlocks = std::max<int64_t>(glance.blocks - next, 0);
        }
    }
    return glance;
}

int CAspiCD::ReadNextWritableAddress(int32_t* address) {
    constexpr uint8_t kInvisibleTrack = 0xFF;
    constexpr uint8_t kBlankTrack = 0x40;
    constexpr uint8_t kReservedOrPackets = 0xB0; // reserved track, packet and fixed packet bits
    constexpr uint8_t kNextAddressValid = 1;
    std::array<uint8_t, 16> track = {};
    Cdb cdb(mmc::kReadTrackInformation);
    cdb[1] = 1; // the number below is a track
    cdb[5] = kInvisibleTrack;
    cdb[8] = track.size();
    if (SendDirect(*this, SRB_DIR_IN, cdb, track.data(), track.size(), kDiscReportSeconds)
            .Failed()) {
        return 1;
    }
    const bool usable = (track[6] & kBlankTrack) != 0 && (track[7] & kNextAddressValid) != 0 &&
                        (track[6] & kReservedOrPackets) == 0;
    if (address != nullptr) {
        *address = usable ? static_cast<int32_t>(LoadBe32(&track[12])) : 0;
    }
    return 0;
}

int CAspiCD::ReadSaoNextAddress(int32_t* address) {
    // The address depends on the current write type, so that is set first.
    std::array<uint8_t, 56> page = {};
    std::array<uint8_t, kModeHeaderBytes> header = {};
    if (ModeSense(kPageWriteParameters, page, header.data()) != 0) {
        return 1;
    }
    SelectSessionAtOnce(page);
    if (ModeSelect(page, header.data()) != 0) {
        return 1;
    }
    return ReadNextWritableAddress(address);
}

int32_t CAspiCD::ReadLastSessionFirstTrack() {
    std::array<uint8_t, kFullAnswer> info = {};
    ReadDiscInformation(*this, info);
    return LastSessionFirstTrack(info);
}

int32_t CAspiCD::GetDvdCapacity() {
    std::array<uint8_t, kFormatsBytes> formats = {};
    bool isUnknownCommand = false;
    const auto send = [&](uint16_t allocation) {
        Cdb cdb(mmc::kReadFormatCapacities);
        StoreBe16(&cdb[7], allocation);
        const DirectResult result = SendDirect(*this, SRB_DIR_IN, cdb, formats.data(), allocation);
        isUnknownCommand = result.Code() == mmc::kInvalidOperationCode;
        return !HasSense(result.sense) && !result.Unanswered();
    };
    // Discs that are not formatted don't need the list, and some drives don't support it for them.
    if (!ReadFormats(formats, 0, send) && !isUnknownCommand) {
        return -1;
    }

    const uint32_t profile = GetCurrentProfile();
    if (isUnknownCommand && !IsSequential(profile)) {
        return -1;
    }
    if (IsSequential(profile)) {
        std::array<uint8_t, 32> track = {};
        const DirectResult result = ReadTrack(*this, ReadLastSessionFirstTrack(), track);
        if (HasSense(result.sense) || result.Unanswered()) {
            return 0;
        }
        return static_cast<int32_t>(EndOfFreeBlocks(track));
    }
    return static_cast<int32_t>(CapacityFromFormats(profile, formats));
}

uint32_t DvdRecording::IdentifyMedia() {
    CScsiCommand command(m_drive);
    std::array<uint8_t, 36> inquiry = {};
    command[0] = mmc::kInquiry;
    command[4] = inquiry.size();
    if (command.Transport(Direction::READ, inquiry.data(), inquiry.size()) != 0) {
        throw CgrowisofsException("inquiry failed");
    }
    if ((inquiry[0] & 0x1F) != kTypeCdRom) {
        throw CgrowisofsException("not a DVD drive");
    }

    const uint32_t profile = ReadProfileOfLoadedDisc(m_drive, command);
    const MediumTraits& medium = TraitsOf(profile);
    if ((profile & kDvdProfileBits) == 0 && !medium.IsBd()) {
        return profile;
    }

    m_abyDiscInfo.fill(0);
    command[0] = mmc::kReadDiscInformation;
    command[8] = static_cast<uint8_t>(m_abyDiscInfo.size());
    if (command.Transport(Direction::READ, m_abyDiscInfo.data(), m_abyDiscInfo.size()) != 0) {
        throw CgrowisofsException("cannot read disk information");
    }
    uint32_t media = profile;
    if (DiscStatusOf(m_abyDiscInfo.data()) == kDiscEmpty) {
        media |= MEDIA_BLANK;
    }
    if (medium.capacity == CapacityFormat::None) {
        return media;
    }

    constexpr uint8_t kOneMoreDescriptor = 16;
    const auto send = [&](uint16_t allocation) {
        command[0] = mmc::kReadFormatCapacities;
        StoreBe16(&command[7], allocation);
        return command.Transport(Direction::READ, m_abyFormats.data(), allocation) == 0;
    };
    if (!ReadFormats(m_abyFormats, kOneMoreDescriptor, send)) {
        throw CgrowisofsException("cannot detect disk format");
    }
    if (CurrentCapacityTypeOf(m_abyFormats) != kFormatted) {
        media |= MEDIA_BLANK;
    }
    return media;
}

uint32_t DvdRecording::GetDvdBlocks(CScsiCommand& command) {
    if (TraitsOf(m_nProfile).IsSequential()) {
        std::array<uint8_t, 32> track = {};
        if (ReadTrackInformation(command, static_cast<uint32_t>(m_nNextTrack), track) != 0) {
            return 0;
        }
        return EndOfFreeBlocks(track);
    }
    return CapacityFromFormats(m_nProfile, m_abyFormats);
}

int64_t DvdRecording::GetDvdBytes() {
    CScsiCommand command(m_drive);
    return int64_t{GetDvdBlocks(command)} * kLogicalBlockBytes;
}

} // namespace larkspin
