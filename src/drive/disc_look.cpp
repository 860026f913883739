// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiCD: waiting for a unit before its disc is judged, and what is on a disc that may be
// overwritten. Whatever can't be found out is reported as unknown: reporting "nothing" would cost
// the user the disc.
#include "drive/direct_command.h"
#include "drive/dvd_detail.h"
#include "drive/format_list.h"
#include "drive/mmc.h"
#include "drive/profiles.h"
#include "drive/waiting.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <optional>

namespace larkspin {

namespace {

constexpr uint64_t kUnitPollMs = 1000;
constexpr uint64_t kPauseSliceMs = 200;

// If the drive can't answer, it is asked again once the unit is ready: a drive that was reset or
// has fallen asleep reports that first.
constexpr int kMostTries = 3;

constexpr uint32_t kBlocksOfStart = 32; // system area, volume descriptors, UDF recognition

enum FormatState : uint8_t { kFormatInterrupted = 1, kFormatRunning = 2 };

bool Pause(IClock& clock, uint64_t milliseconds, const CAspiCD::GoOn& goOn) {
    for (uint64_t left = milliseconds; left > 0;) {
        if (!goOn()) {
            return false;
        }
        const uint64_t slice = std::min(left, kPauseSliceMs);
        clock.Sleep(std::chrono::milliseconds(slice));
        left -= slice;
    }
    return goOn();
}

// Nothing has been recorded at this address. That is an answer, not a failure.
bool IsNotRecorded(const DirectResult& result) {
    return result.Key() == kKeyBlankCheck || result.Code() == mmc::kLbaOutOfRange;
}

class Looker {
  public:
    Looker(CAspiCD& drive, const CAspiCD::GoOn& goOn) : m_drive(drive), m_goOn(goOn) {}

    // Reads 32 bytes of READ DISC INFORMATION. False if the drive does not tell.
    bool ReadDiscInformation(std::span<uint8_t> answer) {
        Cdb cdb(mmc::kReadDiscInformation);
        StoreBe16(&cdb[7], static_cast<uint16_t>(answer.size()));
        return !Ask(cdb, answer).Failed();
    }

    enum class Block { Read, NotRecorded, Failed };

    Block Read(uint32_t lba, std::span<uint8_t> data) {
        Cdb cdb(mmc::kRead10);
        StoreBe32(&cdb[2], lba);
        StoreBe16(&cdb[7], static_cast<uint16_t>(data.size() / kLogicalBlockBytes));
        const DirectResult result = Ask(cdb, data);
        if (IsNotRecorded(result)) {
            return Block::NotRecorded;
        }
        return result.Failed() ? Block::Failed : Block::Read;
    }

    // Number of blocks in the disc's present format; nothing if the drive does not tell.
    std::optional<uint32_t> FormattedBlocks() {
        std::array<uint8_t, 12> formats = {};
        Cdb cdb(mmc::kReadFormatCapacities);
        cdb[8] = formats.size();
        if (Ask(cdb, formats).Failed()) {
            return std::nullopt;
        }
        return CurrentCapacityTypeOf(formats) == kFormatted ? LoadBe32(&formats[kCurrentBlocks])
                                                            : 0;
    }

  private:
    DirectResult Ask(const Cdb& cdb, std::span<uint8_t> answer) {
        for (int tries = 1;; ++tries) {
            std::ranges::fill(answer, uint8_t{0});
            const DirectResult result = SendDirect(m_drive, SRB_DIR_IN, cdb, answer.data(),
                                                   static_cast<uint32_t>(answer.size()));
            if (!result.Failed() || IsNotRecorded(result) || tries == kMostTries ||
                m_drive.AwaitUnit(m_goOn) != CAspiCD::UnitState::Ready) {
                return result;
            }
        }
    }

    CAspiCD& m_drive;
    const CAspiCD::GoOn& m_goOn;
};

bool IsDiscEmpty(std::span<const uint8_t> discInformation) {
    return (discInformation[2] & 3) == 0;
}

// What a disc holds that is written in place and has no ISO 9660 volume.
CAspiCD::DiscContent LookInPlace(Looker& looker, uint8_t formatState) {
    using Content = CAspiCD::DiscContent;
    const std::optional<uint32_t> blocks = looker.FormattedBlocks();
    if (!blocks) {
        return Content::Unknown;
    }
    std::vector<uint8_t> data(kDvdChunkBytes);
    for (uint32_t lba = 0; lba < std::min(*blocks, kBlocksOfStart); lba += kDvdChunkBlocks) {
        switch (looker.Read(lba, data)) {
        case Looker::Block::Failed:
            return Content::Unknown;
        case Looker::Block::NotRecorded:
            continue;
        case Looker::Block::Read:
            break;
        }
        if (std::ranges::any_of(data, [](uint8_t byte) { return byte != 0; })) {
            return Content::Other;
        }
    }
    // What the background format has not reached can't be read, but was never written either.
    const bool mayBeUnformatted =
        formatState == kFormatInterrupted || formatState == kFormatRunning;
    const std::span<uint8_t> block(data.data(), kLogicalBlockBytes);
    for (const uint32_t fromEnd : {0U, 1U, kFirstAnchor + 1}) {
        const uint32_t lba = fromEnd == 0 ? kFirstAnchor : *blocks - fromEnd;
        if (lba >= *blocks) {
            continue;
        }
        const Looker::Block found = looker.Read(lba, block);
        if (found == Looker::Block::Failed && !mayBeUnformatted) {
            return Content::Unknown;
        }
        if (found == Looker::Block::Read && IsAnchor(block)) {
            return Content::Other;
        }
    }
    return Content::Nothing;
}

} // namespace

CAspiCD::UnitState CAspiCD::AwaitUnit(const GoOn& goOn) {
    constexpr uint64_t kLimitMs = 60'000;
    constexpr uint8_t kManualIntervention = 3;
    constexpr uint8_t kNeedsStart = 2;
    IClock& clock = m_pTransport->Clock();
    const uint64_t start = clock.TickMs();
    bool isStarted = false;
    for (int attentions = 0;;) {
        const DirectResult result = SendDirect(*this, SRB_DIR_IN, Cdb(mmc::kTestUnitReady));
        uint64_t pause = kUnitPollMs;
        if (result.Key() == kKeyUnitAttention && attentions < kMaxAttentionRepeats) {
            ++attentions;
            pause = kAttentionPauseMs;
        } else if (result.Key() == kKeyNotReady && result.Asc() == kAscMediumNotPresent) {
            return UnitState::NoDisc;
        } else if (result.Key() == kKeyNotReady && result.Asc() == kAscNotReady &&
                   result.Ascq() != kManualIntervention) {
            if (result.Ascq() == kNeedsStart && !isStarted) {
                Cdb cdb(mmc::kStartStopUnit);
                cdb[4] = 1; // start
                SendDirect(*this, SRB_DIR_IN, cdb);
                isStarted = true;
            }
        } else if (!result.Unanswered()) {
            return UnitState::Ready; // or in some trouble that waiting won't fix
        }
        if (clock.TickMs() - start >= kLimitMs) {
            return UnitState::Busy;
        }
        if (!Pause(clock, pause, goOn)) {
            return UnitState::Cancelled;
        }
    }
}

CAspiCD::VolumeLook CAspiCD::LookForIsoVolume(const GoOn& goOn) {
    std::array<uint8_t, kLogicalBlockBytes> block = {};
    Looker looker(*this, goOn);
    if (!looker.ReadDiscInformation(block)) {
        return VolumeLook::Unknown;
    }
    if (IsDiscEmpty(block)) {
        return VolumeLook::None;
    }
    switch (looker.Read(kFirstDescriptorBlock, block)) {
    case Looker::Block::Failed:
        return VolumeLook::Unknown;
    case Looker::Block::NotRecorded:
        return VolumeLook::None;
    case Looker::Block::Read:
        break;
    }
    return IsPrimaryDescriptor(block.data()) ? VolumeLook::Found : VolumeLook::None;
}

bool CAspiCD::HasIsoVolume() {
    return LookForIsoVolume([] { return true; }) == VolumeLook::Found;
}

CAspiCD::DiscContent CAspiCD::LookAtContent(const GoOn& goOn) {
    switch (LookForIsoVolume(goOn)) {
    case VolumeLook::Found:
        return DiscContent::IsoVolume;
    case VolumeLook::Unknown:
        return DiscContent::Unknown;
    case VolumeLook::None:
        break;
    }
    Looker looker(*this, goOn);
    std::array<uint8_t, 32> info = {};
    if (!looker.ReadDiscInformation(info)) {
        return DiscContent::Unknown;
    }
    if (IsDiscEmpty(info)) {
        return DiscContent::Nothing;
    }
    constexpr size_t kFormatState = 7;
    return TraitsOf(GetCurrentProfile()).IsWrittenInPlace()
               ? LookInPlace(looker, info[kFormatState] & 3)
               : DiscContent::Other;
}

} // namespace larkspin
