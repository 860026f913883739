// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The drive's side of the bulk-only transport of the USB mass storage class, revision 1.0: command
// blocks come in, data goes one way or the other, status goes back. Numbers in brackets refer to
// the class's "thirteen cases" (6.7).
//
// It has no threads: all calls come from the thread that serves the bus. A command runs elsewhere
// (IScsiUnit), which reports its end with Finish().
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

namespace larkspin {

// One SCSI command as it came over the bus.
struct ScsiJob {
    uint32_t number = 0; // of the command, to recognise a stale result
    std::vector<uint8_t> cdb;
    bool out = false;          // the host sends data
    std::vector<uint8_t> data; // data from the host, or room for the answer
};

// The result of a command.
struct ScsiResult {
    enum Status : uint8_t { Passed = 0, Failed = 1, PhaseError = 2 };

    uint32_t number = 0;
    Status status = Passed;
    std::vector<uint8_t> data; // the answer, as long as the drive wants it to be
    uint32_t taken = 0;        // bytes of the host's data that were used
};

// Runs commands in order, one at a time.
class IScsiUnit {
  public:
    virtual ~IScsiUnit() = default;
    // Does not wait. The result is reported to the transport with the job's number.
    virtual void Start(ScsiJob job) = 0;
};

// Receives the answers to the host's transfers.
class IUsbReplies {
  public:
    virtual ~IUsbReplies() = default;
    // `status` is 0 or a negative errno. For a transfer to the host, `data` is what it gets; for
    // one from the host, `actual` is how much was used.
    virtual void Reply(uint32_t sequence, int32_t status, std::span<const uint8_t> data,
                       uint32_t actual) = 0;
};

class CBulkOnly {
  public:
    CBulkOnly(IScsiUnit& unit, IUsbReplies& replies) : m_unit(unit), m_replies(replies) {}

    // Transfers on the two bulk endpoints, by their sequence number.
    void SubmitOut(uint32_t sequence, std::span<const uint8_t> bytes);
    void SubmitIn(uint32_t sequence, uint32_t room);
    // False if the transfer is not waiting here any more. Otherwise it gets no reply.
    bool TakeBack(uint32_t sequence);

    void Finish(ScsiResult result);

    // Bulk-only mass storage reset (3.1), and the start of a configuration: the drive waits for a
    // command block. A running command continues, but its result is ignored.
    void Reset();
    // Requests for an endpoint's halt feature.
    void SetHalt(bool in);
    void ClearHalt(bool in);
    bool IsHalted(bool in) const { return in ? m_isInHalted : m_isOutHalted; }

  private:
    enum class State : uint8_t {
        Command, // waiting for a command block wrapper
        DataOut, // receiving data from the host
        Running, // the command is running
        DataIn,  // sending the answer
        Status,  // sending the command status wrapper
        Broken,  // an invalid wrapper was received (6.6.1): only a reset helps
    };

    struct WaitingIn {
        uint32_t sequence = 0;
        uint32_t room = 0;
    };

    void TakeWrapper(uint32_t sequence, std::span<const uint8_t> bytes);
    void Run();
    // Answers waiting transfers to the host as far as there is data for them.
    void Serve();
    void SendStatus(const WaitingIn& transfer);

    IScsiUnit& m_unit;
    IUsbReplies& m_replies;
    State m_state = State::Command;
    std::deque<WaitingIn> m_waiting;
    bool m_isInHalted = false;
    bool m_isOutHalted = false;

    // Of the current command.
    uint32_t m_number = 0;
    std::array<uint8_t, 4> m_tag = {};
    uint32_t m_expected = 0; // bytes that the host wants to transfer
    bool m_isOut = false;
    std::vector<uint8_t> m_cdb;
    std::vector<uint8_t> m_data; // in either direction
    size_t m_sent = 0;
    uint32_t m_moved = 0;
    ScsiResult::Status m_result = ScsiResult::Passed;
};

} // namespace larkspin
