// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A port whose drives answer by script, for tests of the drive layer one command at a time.
//
// Every command is recorded. What answers it is, in this order: the answer set for its place in the
// row; the handler set with OnCommand if it gives an answer; the oldest answer queued for what it
// asks; the standing answer to that; the default, good status with the data left alone. All on one
// thread.
#pragma once

#include "drive/dvd_detail.h"
#include "drive/port.h"
#include "drive/timeouts.h"
#include "drive/transport.h"
#include "support/manual_clock.h"
#include "support/port_answers.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace larkspin {

using Bytes = std::vector<uint8_t>;

// One command as the device saw it.
struct SentCommand {
    Bytes cdb;
    PortDirection direction = PortDirection::None;
    uint32_t length = 0;
    uint32_t timeoutSeconds = 0;
    Bytes dataOut; // what went to the device, for PortDirection::Out
    int letterIndex = 0;
};

// What answers a command: as data alone with good status.
struct Reply {
    Reply(Bytes bytes = {}, PortCompletion completed = {})
        : data(std::move(bytes)), completion(completed) {}

    Bytes data; // copied to the host's buffer as far as both reach
    PortCompletion completion;
    std::optional<uint32_t> moved; // bytes that went over; empty: all that was asked for
};

// Sense of this code, (sense key << 16) | (ASC << 8) | ASCQ.
inline Reply Sense(int code, Bytes data = {}) {
    return {std::move(data),
            CheckCondition(static_cast<uint8_t>(code >> 16), static_cast<uint8_t>(code >> 8),
                           static_cast<uint8_t>(code))};
}

// The device never answered.
inline Reply NoReply(PortError error = PortError::TimedOut) {
    Reply reply;
    reply.completion.error = error;
    return reply;
}

// What a command asks: its operation code, with a second number where one code asks many things.
constexpr uint16_t ModePage(uint8_t page) {
    return uint16_t{0x5A00} | page;
}
constexpr uint16_t Feature(uint8_t number) { // 0: the current profile
    return uint16_t{0x4600} | number;
}
constexpr uint16_t PerformanceData(uint8_t type) {
    return uint16_t{0xAC00} | type;
}

class ScriptedPort final : public IScsiPort {
  public:
    using Handler = std::function<std::optional<Reply>(const SentCommand& command)>;

    struct Drive {
        PortAddress address;
        PortError addressError = PortError::None;
        Bytes inquiry; // 36 bytes
        bool opensForWriting = true;
        bool opensForReading = true;
        bool answersInquiry = true;
        LockResult lock; // what an attempt to lock it ends in
        bool locked = false;
        int opens = 0; // handles opened so far
        int live = 0;  // handles open now
    };

    // `vendor` and `product` are padded with blanks.
    Drive& AddDrive(int letterIndex, PortAddress address = {}, const std::string& vendor = "LARK",
                    const std::string& product = "WRITER ONE") {
        Drive& drive = m_drives[letterIndex];
        drive.address = address;
        drive.inquiry = {5, 0x80, 0, 0, 31, 0, 0, 0};
        drive.inquiry.resize(36, ' ');
        std::copy_n(vendor.begin(), std::min<size_t>(vendor.size(), 8), drive.inquiry.begin() + 8);
        std::copy_n(product.begin(), std::min<size_t>(product.size(), 16),
                    drive.inquiry.begin() + 16);
        std::copy_n("1.00", 4, drive.inquiry.begin() + 32);
        return drive;
    }
    Drive& DriveAt(int letterIndex) { return m_drives.at(letterIndex); }

    void OnCommand(Handler handler) { m_handler = std::move(handler); }
    // To an operation code, or to one of the questions above, which goes first.
    void Queue(uint16_t question, const Reply& answer, int times = 1) {
        m_queued[question].insert(m_queued[question].end(), static_cast<size_t>(times), answer);
    }
    void Always(uint16_t question, Reply answer) { m_standing[question] = std::move(answer); }
    // To the command at this place since the last Clear, counted from 0.
    void AnswerNth(size_t place, Reply answer) {
        m_nPlace = place;
        m_atPlace = std::move(answer);
    }

    // All commands since the last Clear, oldest first.
    const std::vector<SentCommand>& Sent() const { return m_sent; }
    std::vector<SentCommand> Sent(uint8_t opcode) const {
        std::vector<SentCommand> found;
        std::copy_if(m_sent.begin(), m_sent.end(), std::back_inserter(found),
                     [opcode](const SentCommand& sent) { return sent.cdb[0] == opcode; });
        return found;
    }
    Bytes SentOpcodes() const {
        Bytes opcodes;
        for (const SentCommand& sent : m_sent) {
            opcodes.push_back(sent.cdb[0]);
        }
        return opcodes;
    }
    // Answers that were queued and never asked for.
    size_t QueuedLeft() const {
        size_t left = 0;
        for (const auto& [question, answers] : m_queued) {
            left += answers.size();
        }
        return left;
    }
    void Clear() {
        m_sent.clear();
        m_nPlace = SIZE_MAX;
    }
    // Back to the default answers.
    void ForgetAnswers() {
        m_queued.clear();
        m_standing.clear();
    }
    bool IsOpticalDrive(int letterIndex) override { return m_drives.contains(letterIndex); }
    std::u16string DisplayName(int letterIndex) override {
        return m_drives.contains(letterIndex)
                   ? u"sr" + std::u16string(1, static_cast<char16_t>(u'0' + letterIndex - 2))
                   : std::u16string();
    }
    std::unique_ptr<IPortDevice> Open(int letterIndex, bool writeAccess) override {
        const auto found = m_drives.find(letterIndex);
        if (found == m_drives.end()) {
            return nullptr;
        }
        Drive& drive = found->second;
        if (!(writeAccess ? drive.opensForWriting : drive.opensForReading)) {
            return nullptr;
        }
        ++drive.opens;
        ++drive.live;
        return std::make_unique<Device>(*this, letterIndex);
    }
    LockResult LockAndDismount(int letterIndex) override {
        Drive& drive = DriveAt(letterIndex);
        drive.locked = !drive.lock.Refused();
        return drive.lock;
    }
    void Unlock(int letterIndex) override { DriveAt(letterIndex).locked = false; }
    std::u16string WhyClosed(int letterIndex) override {
        return DriveAt(letterIndex).opensForReading ? u"" : u"no permission";
    }
    std::vector<std::u16string> DrivesWithoutLetter() override { return m_beyond; }
    std::string Inventory() override { return m_inventory; }
    std::vector<std::u16string> m_beyond; // the test's to set, as the next
    std::string m_inventory;

  private:
    class Device final : public IPortDevice {
      public:
        Device(ScriptedPort& port, int letterIndex) : m_port(port), m_letterIndex(letterIndex) {}
        Device(const Device&) = delete;
        Device& operator=(const Device&) = delete;
        ~Device() override { --m_port.DriveAt(m_letterIndex).live; }
        PortCompletion Execute(const PortRequest& request) override {
            return m_port.Run(m_letterIndex, request);
        }
        PortError Address(PortAddress* address) override {
            const Drive& drive = m_port.DriveAt(m_letterIndex);
            *address = drive.address;
            return drive.addressError;
        }

      private:
        ScriptedPort& m_port;
        int m_letterIndex;
    };

    PortCompletion Run(int letterIndex, const PortRequest& request) {
        SentCommand sent;
        sent.cdb.assign(request.cdb.begin(), request.cdb.end());
        sent.direction = request.direction;
        sent.length = request.length;
        sent.timeoutSeconds = request.timeoutSeconds;
        sent.letterIndex = letterIndex;
        if (request.direction == PortDirection::Out && request.data != nullptr) {
            const auto* bytes = static_cast<const uint8_t*>(request.data);
            sent.dataOut.assign(bytes, bytes + request.length);
        }
        m_sent.push_back(sent);
        const Reply answer = AnswerTo(sent);
        if (request.direction == PortDirection::In && request.data != nullptr) {
            std::copy_n(answer.data.begin(), std::min<size_t>(answer.data.size(), request.length),
                        static_cast<uint8_t*>(request.data));
        }
        PortCompletion completion = answer.completion;
        completion.moved = answer.moved.value_or(request.length);
        return completion;
    }

    static uint16_t QuestionOf(const Bytes& cdb) {
        switch (cdb[0]) {
        case 0x5A:
            return ModePage(cdb[2]);
        case 0x46:
            return Feature(cdb[3]);
        case 0xAC:
            return PerformanceData(cdb[10]);
        default:
            return cdb[0];
        }
    }

    Reply AnswerTo(const SentCommand& sent) {
        if (m_sent.size() == m_nPlace + 1) {
            return m_atPlace;
        }
        if (m_handler) {
            if (std::optional<Reply> answer = m_handler(sent)) {
                return *answer;
            }
        }
        const uint16_t questions[] = {QuestionOf(sent.cdb), sent.cdb[0]};
        for (const uint16_t question : questions) {
            if (std::deque<Reply>& queue = m_queued[question]; !queue.empty()) {
                Reply reply = std::move(queue.front());
                queue.pop_front();
                return reply;
            }
        }
        for (const uint16_t question : questions) {
            if (const auto found = m_standing.find(question); found != m_standing.end()) {
                return found->second;
            }
        }
        constexpr uint8_t kInquiry = 0x12;
        if (sent.cdb[0] == kInquiry) {
            const Drive& drive = DriveAt(sent.letterIndex);
            return drive.answersInquiry ? Reply(drive.inquiry) : NoReply(PortError::Failed);
        }
        return {};
    }

    std::map<int, Drive> m_drives;
    std::map<uint16_t, std::deque<Reply>> m_queued;
    std::map<uint16_t, Reply> m_standing;
    size_t m_nPlace = SIZE_MAX;
    Reply m_atPlace;
    Handler m_handler;
    std::vector<SentCommand> m_sent;
};

using Lines = std::vector<std::string>;

// The CDBs in hex without the zero bytes at their ends, with the seconds that the command may take
// if those are not the usual ones: "51 00 00 00 00 00 00 00 FF @240".
inline Lines Trace(const std::vector<SentCommand>& commands) {
    Lines trace;
    for (const SentCommand& command : commands) {
        size_t length = command.cdb.size();
        while (length > 1 && command.cdb[length - 1] == 0) {
            --length;
        }
        std::string text;
        for (size_t i = 0; i < length; ++i) {
            constexpr char kDigits[] = "0123456789ABCDEF";
            text += i > 0 ? " " : "";
            text += {kDigits[command.cdb[i] >> 4], kDigits[command.cdb[i] & 0x0F]};
        }
        if (command.timeoutSeconds != std::max(LeastSeconds(command.cdb), 5u)) {
            text += " @" + std::to_string(command.timeoutSeconds);
        }
        trace.push_back(std::move(text));
    }
    return trace;
}

// One drive at "C:" behind a loaded transport, with its first commands off the record.
struct ScriptedBench {
    explicit ScriptedBench(PortAddress address = {}) {
        port.AddDrive(kFirstLetterIndex, address);
        transport.LoadTransport();
        port.Clear();
    }

    Lines Trace() const { return larkspin::Trace(port.Sent()); }

    ManualClock clock;
    ScriptedPort port;
    CAspiTransport transport{port, clock, {}};
};

// The same with its CAspiCD.
// What a drive keeps to itself.
struct CAspiCDPeek {
    static auto Identity(CAspiCD& drive) {
        return std::tie(drive.m_strName, drive.m_wDriveLetter, drive.m_pTransport,
                        drive.m_bConfigKnown, drive.m_bHasConfig);
    }
    static bool& HasConfig(CAspiCD& drive) { return drive.m_bHasConfig; }
    static uint32_t& Capabilities(CAspiCD& drive) { return drive.m_dwCapabilities; }
    static uint8_t Target(const CAspiCD& drive) { return drive.m_byTarget; }
};

struct ScriptedDrive : ScriptedBench {
    CAspiCD drive{0, 0, 0, &transport};
    DvdRecording& dvd = drive.Dvd();
};

} // namespace larkspin
