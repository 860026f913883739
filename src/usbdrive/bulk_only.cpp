// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "usbdrive/bulk_only.h"

#include <algorithm>
#include <cerrno>

namespace larkspin {

namespace {

// Command block wrapper (5.1) and command status wrapper (5.2); numbers are little-endian.
constexpr size_t kWrapperBytes = 31;
constexpr std::array<uint8_t, 4> kWrapperSignature = {'U', 'S', 'B', 'C'};
constexpr size_t kTagAt = 4;
constexpr size_t kLengthAt = 8;
constexpr size_t kFlagsAt = 12;
constexpr size_t kLunAt = 13;
constexpr size_t kCdbLengthAt = 14;
constexpr size_t kCdbAt = 15;
constexpr uint8_t kFlagIn = 0x80;
constexpr size_t kMaxCdbBytes = 16;
constexpr size_t kStatusBytes = 13;
constexpr std::array<uint8_t, 4> kStatusSignature = {'U', 'S', 'B', 'S'};

// More than any sensible READ CD can ask for; the host must not fill up the drive's memory.
constexpr uint32_t kMaxData = 32 * 1024 * 1024;
// Room beyond what the host wants, to notice a drive that has more to send (2, 7).
constexpr uint32_t kSpareRoom = 64 * 1024;

uint32_t LoadLe32(const uint8_t* bytes) {
    return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

void StoreLe32(uint8_t* bytes, uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

// Valid and meaningful (6.2).
bool IsWrapper(std::span<const uint8_t> bytes) {
    return bytes.size() == kWrapperBytes &&
           std::equal(kWrapperSignature.begin(), kWrapperSignature.end(), bytes.begin()) &&
           (bytes[kFlagsAt] & ~kFlagIn) == 0 && bytes[kLunAt] == 0 && bytes[kCdbLengthAt] >= 1 &&
           bytes[kCdbLengthAt] <= kMaxCdbBytes && LoadLe32(&bytes[kLengthAt]) <= kMaxData;
}

} // namespace

void CBulkOnly::SubmitOut(uint32_t sequence, std::span<const uint8_t> bytes) {
    if (m_isOutHalted) {
        m_replies.Reply(sequence, -EPIPE, {}, 0);
        return;
    }
    if (m_state == State::DataOut) {
        const size_t wanted = std::min<size_t>(bytes.size(), m_expected - m_data.size());
        m_data.insert(m_data.end(), bytes.begin(),
                      bytes.begin() + static_cast<std::ptrdiff_t>(wanted));
        m_replies.Reply(sequence, 0, {}, static_cast<uint32_t>(bytes.size()));
        if (m_data.size() == m_expected) {
            Run();
        }
        return;
    }
    if (m_state == State::Command) {
        TakeWrapper(sequence, bytes);
    } else {
        m_replies.Reply(sequence, -EPIPE, {}, 0); // the host is out of step
    }
}

void CBulkOnly::TakeWrapper(uint32_t sequence, std::span<const uint8_t> bytes) {
    if (!IsWrapper(bytes)) {
        m_state = State::Broken;
        m_isInHalted = m_isOutHalted = true;
        m_replies.Reply(sequence, -EPIPE, {}, 0);
        Serve();
        return;
    }
    m_replies.Reply(sequence, 0, {}, static_cast<uint32_t>(bytes.size()));
    std::copy_n(bytes.begin() + kTagAt, m_tag.size(), m_tag.begin());
    m_expected = LoadLe32(&bytes[kLengthAt]);
    m_isOut = m_expected > 0 && (bytes[kFlagsAt] & kFlagIn) == 0;
    m_cdb.assign(bytes.begin() + kCdbAt, bytes.begin() + kCdbAt + bytes[kCdbLengthAt]);
    m_data.clear();
    if (m_isOut) {
        m_state = State::DataOut;
    } else {
        Run();
    }
}

void CBulkOnly::Run() {
    m_state = State::Running;
    ScsiJob job;
    job.number = ++m_number;
    job.cdb = std::move(m_cdb);
    job.out = m_isOut;
    job.data = std::move(m_data);
    if (!m_isOut) {
        job.data.resize(size_t{m_expected} + kSpareRoom);
    }
    m_unit.Start(std::move(job));
}

void CBulkOnly::Finish(ScsiResult result) {
    if (m_state != State::Running || result.number != m_number) {
        return;
    }
    m_result = result.status;
    m_sent = 0;
    m_data.clear();
    if (m_isOut) {
        m_moved = std::min(result.taken, m_expected);
        m_state = State::Status;
    } else {
        m_data = std::move(result.data);
        if (m_data.size() > m_expected) { // (2), (7)
            m_data.resize(m_expected);
            m_result = ScsiResult::PhaseError;
        }
        m_moved = static_cast<uint32_t>(m_data.size());
        m_state = State::DataIn;
    }
    Serve();
}

void CBulkOnly::SubmitIn(uint32_t sequence, uint32_t room) {
    m_waiting.push_back({sequence, room});
    Serve();
}

bool CBulkOnly::TakeBack(uint32_t sequence) {
    return std::erase_if(m_waiting, [sequence](const WaitingIn& transfer) {
               return transfer.sequence == sequence;
           }) > 0;
}

void CBulkOnly::Serve() {
    while (!m_waiting.empty()) {
        // Less than the host wants: the rest of its transfers is stalled (4, 5).
        if (m_state == State::DataIn && m_sent == m_data.size()) {
            m_state = State::Status;
            m_isInHalted = m_moved < m_expected;
        }
        const WaitingIn transfer = m_waiting.front();
        if (m_isInHalted) {
            m_waiting.pop_front();
            m_replies.Reply(transfer.sequence, -EPIPE, {}, 0);
        } else if (m_state == State::DataIn) {
            m_waiting.pop_front();
            const size_t count = std::min<size_t>(transfer.room, m_data.size() - m_sent);
            const std::span<const uint8_t> part = std::span(m_data).subspan(m_sent, count);
            m_sent += count;
            m_replies.Reply(transfer.sequence, 0, part, static_cast<uint32_t>(count));
        } else if (m_state == State::Status) {
            m_waiting.pop_front();
            SendStatus(transfer);
        } else {
            return; // nothing for it yet
        }
    }
}

void CBulkOnly::SendStatus(const WaitingIn& transfer) {
    std::array<uint8_t, kStatusBytes> status = {};
    std::copy(kStatusSignature.begin(), kStatusSignature.end(), status.begin());
    std::copy(m_tag.begin(), m_tag.end(), status.begin() + kTagAt);
    StoreLe32(&status[8], m_expected - m_moved);
    status[12] = m_result;
    m_state = State::Command;
    const size_t count = std::min<size_t>(transfer.room, status.size());
    m_replies.Reply(transfer.sequence, 0, std::span(status).first(count),
                    static_cast<uint32_t>(count));
}

void CBulkOnly::Reset() {
    m_state = State::Command;
    m_isInHalted = m_isOutHalted = false;
    for (const WaitingIn& transfer : m_waiting) {
        m_replies.Reply(transfer.sequence, -EPIPE, {}, 0);
    }
    m_waiting.clear();
}

void CBulkOnly::SetHalt(bool in) {
    (in ? m_isInHalted : m_isOutHalted) = true;
    Serve();
}

void CBulkOnly::ClearHalt(bool in) {
    if (m_state == State::Broken) {
        return;
    }
    (in ? m_isInHalted : m_isOutHalted) = false;
    Serve();
}

} // namespace larkspin
