// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiCD: sending commands, and the waits and events around them.
#include "drive/direct_command.h"
#include "drive/mmc.h"
#include "drive/scsi_command.h"
#include "drive/srb.h"
#include "drive/timeouts.h"
#include "drive/waiting.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace larkspin {

namespace {

constexpr uint64_t kDefaultWaitMs = 10'000;

// How long a library may take to return a command that it was told to abort.
constexpr uint64_t kAbortGraceMs = 1000;

constexpr int kPollMs = 1000;

// A drive is given up after this many answers in a row that are neither ready, not ready nor a unit
// attention, and left alone after this many events in a row.
constexpr int kMaxStrangeAnswers = 100;
constexpr int kMaxEventRounds = 100;

// Classes of GET EVENT STATUS NOTIFICATION (MMC, "Notification Class").
enum EventClass : uint8_t {
    kNoEvent = 0,
    kOperationalChange = 1,
    kPowerManagement = 2,
    kMedia = 4,
    kDeviceBusy = 6,
};

// What HandleEvents does about events, and what it has to remember between them.
class EventResponder {
  public:
    explicit EventResponder(CScsiCommand& command) : m_command(command) {}

    void StartUnit() {
        if (m_bStarted) {
            return;
        }
        m_command[0] = mmc::kStartStopUnit;
        m_command[4] = 1; // start
        m_command.Transport(Direction::NONE);
        m_bStarted = true;
        m_nProfile = 0;
    }

    void ReadProfile() {
        if (m_nProfile != 0) {
            return;
        }
        std::array<uint8_t, 8> answer = {};
        m_command[0] = mmc::kGetConfiguration;
        m_command[8] = answer.size();
        if (m_command.Transport(Direction::READ, answer.data(), answer.size()) == 0) {
            m_nProfile = LoadBe16(&answer[6]);
        }
    }

  private:
    CScsiCommand& m_command;
    bool m_bStarted = false;
    uint16_t m_nProfile = 0;
};

// How many bytes a command must move to be of use: all bytes sent to the drive, all blocks read,
// and of an answer the part that callers use without checking its length (SPC, MMC). `length` is
// the number of bytes requested.
uint32_t NeededBytes(uint8_t direction, uint8_t opcode, uint32_t length) {
    if ((direction & SRB_DIR_IN) == 0 || opcode == mmc::kRead10 || opcode == mmc::kReadCd) {
        return length;
    }
    static constexpr std::pair<uint8_t, uint32_t> kHeads[] = {
        {mmc::kReadFormatCapacities, 12}, // list header and current capacity
        {mmc::kReadToc, 4},
        {mmc::kGetConfiguration, 8},
        {mmc::kGetEventStatus, 4},
        {mmc::kReadDiscInformation, 24},  // up to the last possible lead-out
        {mmc::kReadTrackInformation, 28}, // up to the track's size, as the oldest drives return it
        {mmc::kModeSense10, 8},
        {mmc::kReadBufferCapacity, 12},
        {mmc::kGetPerformance, 8},
        {mmc::kReadDvdStructure, 4},
    };
    const auto* head = std::find_if(std::begin(kHeads), std::end(kHeads),
                                    [opcode](const auto& row) { return row.first == opcode; });
    return head != std::end(kHeads) ? std::min(length, head->second) : 0;
}

bool ChangesDisc(uint8_t opcode) {
    static constexpr uint8_t kChanging[] = {mmc::kWrite10,          mmc::kBlank,
                                            mmc::kFormatUnit,       mmc::kReserveTrack,
                                            mmc::kSendDvdStructure, mmc::kCloseTrackSession};
    return std::find(std::begin(kChanging), std::end(kChanging), opcode) != std::end(kChanging);
}

} // namespace

uint8_t CAspiCD::SendCommand(uint8_t direction, std::span<const uint8_t> cdb, void* data,
                             uint32_t length, uint8_t* sense, uint8_t senseLength) {
    for (int reports = 0; reports < kMaxAttentionRepeats; ++reports) {
        std::array<uint8_t, kSrbSenseBytes> told = {};
        const std::span<uint8_t> wanted =
            std::span(told).first(std::min(senseLength, kSrbSenseBytes));
        const uint8_t status = SendOnce(direction, cdb, data, length, wanted);
        if (IsDeferred(told) && SenseKeyOf(told) <= kKeyRecovered) {
            continue;
        }
        if (IsDeferred(told) && IsRecordingError(SenseKeyOf(told)) && m_bDiscTouched) {
            m_bCacheLost = true;
        }
        if (sense != nullptr) {
            std::copy(wanted.begin(), wanted.end(), sense);
        }
        return status;
    }
    m_byLastStatus = SS_ERR; // the command was never run
    return m_byLastStatus;
}

uint8_t CAspiCD::SendOnce(uint8_t direction, std::span<const uint8_t> cdb, void* data,
                          uint32_t length, std::span<uint8_t> sense) {
    if (ChangesDisc(cdb[0])) {
        m_bDiscTouched = true;
    }
    if (cdb[0] == mmc::kWrite10 && m_beforeFirstBlock) {
        std::exchange(m_beforeFirstBlock, nullptr)();
    }
    auto request = std::make_unique<AspiRequest>();
    SRB_ExecSCSICmd& srb = request->exec;
    srb.Header.SRB_Cmd = SC_EXEC_SCSI_CMD;
    srb.Header.SRB_HaId = m_byAdapter;
    const bool countsResidual = m_pTransport->CountsResidual(m_byAdapter);
    srb.Header.SRB_Flags = direction;
    if (countsResidual) {
        srb.Header.SRB_Flags |= SRB_ENABLE_RESIDUAL_COUNT;
    }
    srb.SRB_Target = m_byTarget;
    srb.SRB_Lun = m_byLun;
    srb.SRB_BufLen = length;
    srb.SRB_BufPointer = static_cast<uint8_t*>(data);
    srb.SRB_SenseLen = static_cast<uint8_t>(sense.size());
    srb.SRB_CDBLen = static_cast<uint8_t>(std::min<size_t>(cdb.size(), kSrbCdbBytes));
    std::copy_n(cdb.begin(), srb.SRB_CDBLen, srb.CDBByte);

    // A library may write to the buffer after a time-out, when the caller's is long gone. Only the
    // shim, which is done when the call returns, uses the caller's buffer.
    const bool copyData = !m_pTransport->m_bUsePassThrough && length > 0;
    if (copyData) {
        const auto* bytes = static_cast<const uint8_t*>(data);
        request->data.assign(bytes, bytes + length);
        srb.SRB_BufPointer = request->data.data();
    }

    const uint32_t asked = m_pTransport->m_nTimeoutSeconds;
    const uint32_t seconds = std::max(asked, LeastSeconds(cdb));
    m_pTransport->m_nTimeoutSeconds = seconds;
    m_pTransport->SendSrb(&srb.Header);
    m_pTransport->m_nTimeoutSeconds = asked;
    if (!m_pTransport->AwaitSrb(srb.Header, seconds != 0 ? seconds * 1000ULL : kDefaultWaitMs)) {
        request->abort.Header.SRB_Cmd = SC_ABORT_SRB;
        request->abort.Header.SRB_HaId = m_byAdapter;
        request->abort.SRB_ToAbort = &srb.Header;
        m_pTransport->SendSrb(&request->abort.Header);
        const bool gaveBack = m_pTransport->AwaitSrb(srb.Header, kAbortGraceMs);
        m_byLastStatus = SrbStatusOf(srb.Header);
        if (!gaveBack) {
            m_pTransport->Abandon(std::move(request));
        }
        return SS_ABORTED;
    }
    if (copyData && (direction & SRB_DIR_IN) != 0) {
        std::memcpy(data, request->data.data(), length);
    }
    m_byLastStatus = SrbStatusOf(srb.Header);
    std::copy_n(srb.SenseArea, sense.size(), sense.begin());
    if (IsDeferred(sense)) {
        return m_byLastStatus;
    }
    if (IsRecovered(sense)) {
        std::ranges::fill(sense, uint8_t{0});
        // A library ends every check condition as an error.
        if (m_byLastStatus == SS_ERR && !m_pTransport->m_bUsePassThrough) {
            m_byLastStatus = SS_COMP;
        }
    }
    const uint32_t moved = countsResidual ? length - std::min(srb.SRB_BufLen, length) : length;
    if (m_byLastStatus == SS_COMP && SenseKeyOf(sense) == 0) {
        if ((direction & SRB_DIR_IN) != 0 && moved < length) {
            std::memset(static_cast<uint8_t*>(data) + moved, 0, length - moved);
        }
        if (moved < NeededBytes(direction, srb.CDBByte[0], length)) {
            std::ranges::fill(sense, uint8_t{0});
            m_byLastStatus = SS_ERR;
        }
    }
    return m_byLastStatus;
}

uint8_t CAspiCD::SendNoData(uint8_t direction, std::span<const uint8_t> cdb) {
    return SendCommand(direction, cdb, nullptr, 0, nullptr);
}

bool CAspiCD::ReadBlocks(void* buffer, uint32_t count, uint32_t lba) {
    const uint32_t bytes = static_cast<uint32_t>(count * kLogicalBlockBytes);
    std::memset(buffer, 0, bytes);
    Cdb cdb(mmc::kRead10);
    StoreBe32(&cdb[2], lba);
    StoreBe16(&cdb[7], static_cast<uint16_t>(count));
    const DirectResult result = SendDirect(*this, SRB_DIR_IN, cdb, buffer, bytes);
    return result.status == SS_COMP && !HasSense(result.sense);
}

uint32_t CAspiCD::HandleEvents(CScsiCommand& command) {
    uint8_t& mask = m_pTransport->m_byEventMask;
    EventResponder responder(command);
    uint32_t met = 0;
    for (int round = 0; mask != 0 && round < kMaxEventRounds; ++round) {
        std::array<uint8_t, 8> event = {};
        command[0] = mmc::kGetEventStatus;
        command[1] = 1; // polled
        command[4] = mask;
        command[8] = event.size();
        if (command.Transport(Direction::READ, event.data(), event.size()) != 0) {
            mask = 0;
            return met;
        }
        mask = event[3];
        const uint8_t eventClass = event[2] & 7;
        const uint8_t eventCode = event[4] & 0x0F;
        if (eventClass == kNoEvent || LoadBe16(&event[0]) == 2 || eventCode == 0) {
            return met;
        }

        const uint16_t detail = LoadBe16(&event[6]);
        if (eventClass == kDeviceBusy) {
            if (eventCode != 1 || (event[5] & 3) == 0) {
                continue;
            }
            const uint64_t pause = std::min(uint64_t{detail} * 100 + 100, BusyWait::kPatienceMs);
            if (!SleepUnlessCancelled(m_pTransport->Clock(), pause, m_pCancel)) {
                return met;
            }
            command[0] = mmc::kTestUnitReady;
            command.Transport(Direction::NONE);
        } else if (eventClass == kOperationalChange) {
            if (detail < 3) {
                responder.ReadProfile();
            } else {
                responder.StartUnit();
            }
        } else if ((eventClass == kPowerManagement && event[5] > 1) ||
                   (eventClass == kMedia && (event[5] & 2) != 0)) {
            responder.StartUnit();
        }
        met |= 1u << eventClass;
    }
    return met;
}

int CAspiCD::WaitForUnit(CScsiCommand& command, const CancelFunctor* cancel) {
    if (cancel == nullptr) {
        cancel = m_pCancel;
    }
    IClock& clock = m_pTransport->Clock();
    BusyWait wait(*this, cancel);
    int64_t delay = kPollMs;
    int strangeAnswers = 0;
    m_nLateError = 0;
    while (strangeAnswers < kMaxStrangeAnswers) {
        // Checks for a cancel even if a slow answer has used up the pause.
        if (!wait.Pause(static_cast<uint64_t>(std::max<int64_t>(delay, 0)))) {
            return -1;
        }
        const uint64_t sent = clock.TickMs();
        command[0] = mmc::kTestUnitReady;
        const int code = command.Transport(Direction::NONE);
        if (code == 0) {
            return 0;
        }
        if (!HasSense(command.Sense())) {
            return -1;
        }
        if (command.Asc() == kAscMediumNotPresent) {
            return code;
        }
        wait.NoteSense(command.Sense());
        const uint8_t key = command.Key();
        if (IsRecordingError(key) && m_nLateError == 0) {
            m_nLateError = code;
        }
        strangeAnswers = key == kKeyNotReady || key == kKeyUnitAttention ? 0 : strangeAnswers + 1;
        delay = kPollMs - static_cast<int64_t>(clock.TickMs() - sent);
    }
    return -1;
}

} // namespace larkspin
