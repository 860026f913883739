// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/drive.h"

#include "virtualdrive/medium_kinds.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace larkspin {

namespace {

// The read speed of an empty drive: the fastest it supports.
constexpr uint32_t kDefaultReadKB = 8468;

// A background format of a whole disc takes this many times as long as an operation in the
// foreground.
constexpr double kBackgroundLength = 20.0;

} // namespace

CDrive::CDrive(IClock& clock) : m_clock(clock), m_speed(clock) {
    SelectDefaultSpeeds();
}

const CDrive::Row* CDrive::FindRow(uint8_t opcode) {
    static constexpr std::array kRows = {
        Row{0x00, Data, &CDrive::TestUnitReady},
        Row{0x03, Always, &CDrive::RequestSense},
        Row{0x04, Data, &CDrive::FormatUnit},
        Row{0x12, Always, &CDrive::Inquiry},
        Row{0x15, UnitAttention | Idle, &CDrive::ModeSelect6},
        Row{0x1A, UnitAttention, &CDrive::ModeSense6},
        Row{0x1B, UnitAttention | Idle, &CDrive::StartStopUnit},
        Row{0x1E, UnitAttention, &CDrive::PreventAllow},
        Row{0x23, UnitAttention | Idle | Ready, &CDrive::ReadFormatCapacities},
        Row{0x25, Data, &CDrive::ReadCapacity},
        Row{0x28, Data, &CDrive::Read10},
        Row{0x2A, Data, &CDrive::Write10},
        Row{0x2B, Data, &CDrive::Seek},
        Row{0x2E, Data, &CDrive::WriteAndVerify},
        Row{0x2F, Data, &CDrive::Verify},
        Row{0x35, Data, &CDrive::SynchronizeCache},
        Row{0x43, Data, &CDrive::ReadToc},
        Row{0x46, Always, &CDrive::GetConfiguration},
        Row{0x4A, Always, &CDrive::GetEventStatus},
        Row{0x51, Data, &CDrive::ReadDiscInformation},
        Row{0x52, Data, &CDrive::ReadTrackInformation},
        Row{0x53, Data, &CDrive::ReserveTrack},
        Row{0x54, Data, &CDrive::SendOpc},
        Row{0x55, UnitAttention | Idle, &CDrive::ModeSelect10},
        Row{0x58, Data, &CDrive::RepairTrack},
        Row{0x5A, UnitAttention, &CDrive::ModeSense10},
        Row{0x5B, Data, &CDrive::CloseTrackSession},
        Row{0x5C, UnitAttention | Medium, &CDrive::ReadBufferCapacity},
        Row{0x5D, Data, &CDrive::SendCueSheet},
        Row{0xA0, Always, &CDrive::ReportLuns},
        Row{0xA1, Data, &CDrive::Blank},
        Row{0xA7, Data, &CDrive::SetReadAhead},
        Row{0xA8, Data, &CDrive::Read12},
        Row{0xAA, Data, &CDrive::Write12},
        Row{0xAC, UnitAttention | Medium | Ready, &CDrive::GetPerformance},
        Row{0xAD, Data, &CDrive::ReadDiscStructure},
        Row{0xB6, UnitAttention | Medium | Ready, &CDrive::SetStreaming},
        Row{0xB9, Data, &CDrive::ReadCdMsf},
        Row{0xBB, UnitAttention, &CDrive::SetCdSpeed},
        Row{0xBD, UnitAttention, &CDrive::MechanismStatus},
        Row{0xBE, Data, &CDrive::ReadCd},
        Row{0xBF, Data, &CDrive::SendDiscStructure},
    };
    const auto* found = std::find_if(kRows.begin(), kRows.end(),
                                     [opcode](const Row& row) { return row.opcode == opcode; });
    return found != kRows.end() ? found : nullptr;
}

CDrive::Outcome CDrive::Run(const CCommand& command) {
    m_waitMs = 0;
    m_ejected = false;
    RunBackground();
    Outcome outcome;
    const Row* row = FindRow(command.Byte(0));
    if (row == nullptr) {
        outcome.code = sense::kInvalidOpcode;
        return outcome;
    }
    outcome.code = Check(*row);
    if (outcome.code.IsGood()) {
        outcome.code = (this->*row->handler)(command);
    }
    if (m_operation && outcome.code == m_operation->code) {
        outcome.progress = Progress();
    }
    outcome.waitMs = m_waitMs;
    outcome.ejected = m_ejected;
    if (outcome.code.IsGood()) {
        outcome.moved = command.Moved();
    }
    return outcome;
}

SenseCode CDrive::Check(const Row& row) {
    if ((row.needs & UnitAttention) != 0) {
        if (const SenseCode attention = TakeAttention(); !attention.IsGood()) {
            return attention;
        }
    }
    if ((row.needs & Medium) != 0 && m_medium == nullptr) {
        return NoMedium();
    }
    if ((row.needs & Ready) != 0) {
        Wake();
        if (IsSpinningUp()) {
            return sense::kBecomingReady;
        }
    }
    if ((row.needs & Idle) != 0 && IsBusy()) {
        return m_operation->code;
    }
    return sense::kGood;
}

SenseCode CDrive::TakeAttention() {
    if (std::exchange(m_hasReset, false)) {
        return sense::kPowerOnOrReset;
    }
    // The event is the change from not ready to ready (SPC, "Unit attention conditions").
    if (!IsSpinningUp() && std::exchange(m_hasAttention, false)) {
        return sense::kMediumMayHaveChanged;
    }
    return sense::kGood;
}

uint64_t CDrive::SpinUpLeft() const {
    const uint64_t now = m_clock.TickMs();
    return m_medium != nullptr && now < m_readyTick ? m_readyTick - now : 0;
}

void CDrive::SpinUp() {
    m_readyTick = m_clock.TickMs() + m_timing.spinUpMs;
}

void CDrive::Wake() {
    const uint64_t now = m_clock.TickMs();
    const bool rests = m_timing.restMs > 0 && !IsBusy() && m_speed.DrainMs() == 0 &&
                       now >= std::max(m_usedTick, m_readyTick) + m_timing.restMs;
    m_usedTick = now;
    if (rests) {
        SpinUp();
    }
}

SenseCode CDrive::NoMedium() const {
    return m_isTrayOpen ? sense::kNoMediumTrayOpen : sense::kNoMediumTrayClosed;
}

bool CDrive::IsBusy() {
    if (m_operation && m_clock.TickMs() >= m_operation->end) {
        m_operation.reset();
    }
    return m_operation.has_value();
}

uint16_t CDrive::Progress() {
    const uint64_t length = std::max<uint64_t>(m_operation->end - m_operation->begin, 1);
    const uint64_t done = std::min(m_clock.TickMs() - m_operation->begin, length);
    return static_cast<uint16_t>(std::min<uint64_t>(done * 65536 / length, 65535));
}

void CDrive::BeginLongOperation(const SenseCode& code, bool immediate) {
    if (m_timing.longOperationMs == 0) {
        return;
    }
    const uint64_t now = m_clock.TickMs();
    const uint64_t end = now + m_waitMs + m_timing.longOperationMs;
    m_operation = Operation{code, now, end};
    m_usedTick = end;
    if (!immediate) {
        m_waitMs += m_timing.longOperationMs;
    }
}

bool CDrive::Insert(const std::string& folder) {
    auto store = std::make_unique<CDiscStore>();
    if (!store->Open(folder)) {
        return false;
    }
    const MediumKind* kind = FindMediumKind(store->State().kind);
    if (kind == nullptr) {
        return false;
    }
    if (std::string problem; !m_defects.Load(folder, &problem)) {
        std::fprintf(stderr, "%s/%s: %s\n", folder.c_str(), kDefectsName, problem.c_str());
        return false;
    }
    m_medium.reset();
    m_store = std::move(store);
    m_medium = kind->make(*m_store);
    m_kind = kind->name;
    m_folder = folder;
    m_isTrayOpen = false;
    m_onTray.clear();
    m_operation.reset();
    m_hasAttention = true;
    m_mediaEvent = MediaEvent::NewMedia;
    m_hasProfileEvent = true;
    SelectDefaultSpeeds();
    SpinUp();
    return true;
}

void CDrive::AdoptKind() {
    if (m_store->State().kind == m_kind) {
        return;
    }
    m_kind = m_store->State().kind;
    m_medium = FindMediumKind(m_kind)->make(*m_store);
    m_hasProfileEvent = true;
}

void CDrive::RunBackground() {
    const uint64_t now = m_clock.TickMs();
    if (m_medium != nullptr && m_timing.longOperationMs > 0 && !IsBusy()) {
        m_medium->RunBackground(static_cast<double>(now - m_backgroundTick) /
                                (kBackgroundLength * m_timing.longOperationMs));
    }
    m_backgroundTick = now;
}

bool CDrive::LayOnTray(const std::string& folder) {
    if (!m_isTrayOpen) {
        return false;
    }
    m_onTray = folder;
    return true;
}

bool CDrive::CloseTray() {
    if (!m_isTrayOpen) {
        return false;
    }
    m_isTrayOpen = false;
    if (!m_onTray.empty()) {
        Insert(m_onTray);
    }
    return true;
}

void CDrive::Reset() {
    m_hasReset = true;
    m_isLocked = false;
    m_pages = CModePages();
    if (m_medium != nullptr) {
        m_medium = FindMediumKind(m_kind)->make(*m_store);
        SpinUp();
    }
    SelectDefaultSpeeds();
}

bool CDrive::PressEject() {
    if (m_isLocked) {
        m_mediaEvent = MediaEvent::EjectRequest;
        return false;
    }
    TakeOut(true);
    return true;
}

void CDrive::Remove() {
    TakeOut(false);
}

void CDrive::TakeOut(bool openTray) {
    if (openTray && m_isTrayOpen) {
        return; // what lies in it stays there
    }
    if (m_medium != nullptr) {
        m_mediaEvent = MediaEvent::Removal;
        m_hasProfileEvent = true;
    }
    m_medium.reset();
    m_store.reset();
    m_operation.reset();
    m_isTrayOpen = openTray;
    m_onTray.clear();
    m_hasAttention = false;
    SelectDefaultSpeeds();
}

void CDrive::Configure(const DriveTiming& timing) {
    m_timing = timing;
    m_usedTick = m_clock.TickMs();
    m_speed.Configure(timing.bufferKB, timing.speedFactor);
}

void CDrive::SelectDefaultSpeeds() {
    m_readKB = m_medium != nullptr ? m_medium->ReadSpeed() : kDefaultReadKB;
    m_writeKB = m_medium != nullptr && !m_medium->WriteSpeeds().empty()
                    ? m_medium->WriteSpeeds().front()
                    : 0;
    m_speed.SelectWriteSpeed(m_writeKB);
}

SpeedReport CDrive::Speeds() const {
    SpeedReport report;
    report.maxReadKB = m_medium != nullptr ? m_medium->ReadSpeed() : kDefaultReadKB;
    report.currentReadKB = m_readKB;
    report.currentWriteKB = m_writeKB;
    report.bufferKB = m_timing.bufferKB;
    if (m_medium != nullptr) {
        report.writeKB = m_medium->WriteSpeeds();
    }
    return report;
}

uint32_t CDrive::ClosestWriteSpeed(uint32_t kiloBytes) const {
    // The fastest one not above the requested speed, or else the slowest.
    if (m_medium == nullptr || m_medium->WriteSpeeds().empty()) {
        return 0;
    }
    for (const uint32_t speed : m_medium->WriteSpeeds()) {
        if (speed <= kiloBytes) {
            return speed;
        }
    }
    return m_medium->WriteSpeeds().back();
}

} // namespace larkspin
