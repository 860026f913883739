// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The bulk-only transport of the USB mass storage class, revision 1.0, on the drive's side: command
// blocks come in, data goes one way or the other, status goes back. The numbers in brackets are
// those of the class's "thirteen cases" (6.7).
//
// It knows no threads: all calls come from the one that serves the bus. A command runs elsewhere
// (IScsiUnit) and its end is told with Finish().
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
    uint32_t number = 0; // of the command, to tell a stale end
    std::vector<uint8_t> cdb;
    bool out = false;          // the host sends data
    std::vector<uint8_t> data; // what the host sent, or room for the answer
};

// What became of it.
struct ScsiResult {
    enum Status : uint8_t { Passed = 0, Failed = 1, PhaseError = 2 };

    uint32_t number = 0;
    Status status = Passed;
    std::vector<uint8_t> data; // the answer, as long as the drive wants it
    uint32_t taken = 0;        // bytes of the host's data that were used
};

// Runs commands, one at a time, in the order in which they come.
class IScsiUnit {
  public:
    virtual ~IScsiUnit() = default;
    // Does not wait. The end is told to the transport with the job's number.
    virtual void Start(ScsiJob job) = 0;
};

// Where answers to the host's transfers go.
class IUsbReplies {
  public:
    virtual ~IUsbReplies() = default;
    // `status` 0 or a negative errno. Of a transfer to the host `data` is what it gets, of one
    // from the host `actual` tells how much was taken.
    virtual void Reply(uint32_t sequence, int32_t status, std::span<const uint8_t> data,
                       uint32_t actual) = 0;
};

class CBulkOnly {
  public:
    CBulkOnly(IScsiUnit& unit, IUsbReplies& replies) : m_unit(unit), m_replies(replies) {}

    // Transfers on the two bulk endpoints, by their sequence number.
    void SubmitOut(uint32_t sequence, std::span<const uint8_t> bytes);
    void SubmitIn(uint32_t sequence, uint32_t room);
    // False if the transfer is not waiting here (any more). It gets no reply then.
    bool TakeBack(uint32_t sequence);

    void Finish(ScsiResult result);

    // Bulk-only mass storage reset (3.1), and the start of a configuration: the drive waits for a
    // command block. A command that still runs goes on, and what it says is forgotten.
    void Reset();
    // Requests for an endpoint's halt feature.
    void SetHalt(bool in);
    void ClearHalt(bool in);
    bool IsHalted(bool in) const { return in ? m_isInHalted : m_isOutHalted; }

  private:
    enum class State : uint8_t {
        Command, // waits for a command block wrapper
        DataOut, // takes what the host sends
        Running, // the command is at work
        DataIn,  // hands out the answer
        Status,  // hands out the command status wrapper
        Broken,  // an invalid wrapper came (6.6.1): nothing but a reset helps
    };

    struct WaitingIn {
        uint32_t sequence = 0;
        uint32_t room = 0;
    };

    void TakeWrapper(uint32_t sequence, std::span<const uint8_t> bytes);
    void Run();
    // Answers waiting transfers to the host as far as there is something for them.
    void Serve();
    void SendStatus(const WaitingIn& transfer);

    IScsiUnit& m_unit;
    IUsbReplies& m_replies;
    State m_state = State::Command;
    std::deque<WaitingIn> m_waiting;
    bool m_isInHalted = false;
    bool m_isOutHalted = false;

    // Of the command on its way.
    uint32_t m_number = 0;
    std::array<uint8_t, 4> m_tag = {};
    uint32_t m_expected = 0; // bytes that the host wants to move
    bool m_isOut = false;
    std::vector<uint8_t> m_cdb;
    std::vector<uint8_t> m_data; // in either direction
    size_t m_sent = 0;
    uint32_t m_moved = 0;
    ScsiResult::Status m_result = ScsiResult::Passed;
};

} // namespace larkspin
