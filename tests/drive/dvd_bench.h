// A scripted DVD recorder that answers the questions of a recording sensibly, and what the tests
// of DVD recording read off it.
#pragma once

#include "drive/dvd_detail.h"
#include "drive/mmc.h"
#include "drive/scsi_command.h"
#include "platform/byte_order.h"
#include "support/scripted_port.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace larkspin {

// The CDBs in hex without the zero bytes at their ends, "5B 01 02".
inline std::vector<std::string> Trace(const std::vector<SentCommand>& commands) {
    std::vector<std::string> trace;
    for (const SentCommand& command : commands) {
        size_t length = command.cdb.size();
        while (length > 1 && command.cdb[length - 1] == 0)
            --length;
        std::string text;
        for (size_t i = 0; i < length; ++i) {
            constexpr char digits[] = "0123456789ABCDEF";
            if (i > 0)
                text += ' ';
            text += digits[command.cdb[i] >> 4];
            text += digits[command.cdb[i] & 0x0F];
        }
        trace.push_back(std::move(text));
    }
    return trace;
}

// The text of the failure that `operation` throws; empty if it throws none.
template <typename Operation>
std::string FailureOf(Operation operation) {
    try {
        operation();
    } catch (const CAspiCD::CgrowisofsException& failure) {
        return failure.what();
    }
    return {};
}

// An answer of `length` zero bytes but for those given by position.
inline Bytes Answer(size_t length, const std::vector<std::pair<size_t, uint8_t>>& set = {}) {
    Bytes bytes(length);
    for (const auto& [position, value] : set)
        bytes.at(position) = value;
    return bytes;
}

// MODE SENSE(10)'s answer with this page.
inline Bytes ModeAnswer(const Bytes& page, size_t descriptorBytes = 0) {
    Bytes answer(8 + descriptorBytes + page.size());
    std::copy(page.begin(), page.end(),
              answer.begin() + static_cast<std::ptrdiff_t>(8 + descriptorBytes));
    StoreBe16(answer.data(), static_cast<uint16_t>(answer.size() - 2));
    StoreBe16(&answer[6], static_cast<uint16_t>(descriptorBytes));
    return answer;
}

// READ TRACK INFORMATION's answer for a mode 1 track that takes data at `nextBlock`.
inline Bytes TrackAnswer(uint32_t nextBlock, uint32_t freeBlocks, bool fixedPackets = false) {
    Bytes answer = Answer(36, {{5, 4}, {6, 1}, {7, 1}});
    if (fixedPackets) {
        answer[6] |= 0x10;
        StoreBe32(&answer[20], kEccBlocks);
    }
    StoreBe32(&answer[12], nextBlock);
    StoreBe32(&answer[16], freeBlocks);
    return answer;
}

struct FormatDescriptor {
    uint32_t blocks;
    uint8_t type; // a format type, or the descriptor type in the first one
};

// READ FORMAT CAPACITIES' answer; the current capacity first.
inline Bytes FormatsAnswer(const std::vector<FormatDescriptor>& descriptors) {
    Bytes answer(4 + 8 * descriptors.size());
    answer[3] = static_cast<uint8_t>(8 * descriptors.size());
    for (size_t i = 0; i < descriptors.size(); ++i) {
        uint8_t* const bytes = &answer[4 + 8 * i];
        StoreBe32(bytes, descriptors[i].blocks);
        bytes[4] = i == 0 ? descriptors[i].type : static_cast<uint8_t>(descriptors[i].type << 2);
        StoreBe16(bytes + 6, i == 0 ? 2048 : 0);
    }
    return answer;
}

// A stream of whole blocks, each of its own pattern, with a primary and a Joliet descriptor.
inline Bytes VolumeStream(uint32_t blocks, uint32_t statedBlocks) {
    Bytes stream(blocks * size_t{2048});
    for (size_t i = 0; i < stream.size(); ++i)
        stream[i] = static_cast<uint8_t>(i / 2048 * 7 + i % 251);
    for (const auto& [block, type] : {std::pair<uint32_t, uint8_t>{16, 1}, {17, 2}, {18, 255}}) {
        if (block >= blocks)
            break;
        uint8_t* const descriptor = &stream[block * size_t{2048}];
        descriptor[0] = type;
        std::copy_n("CD001", 5, descriptor + 1);
        StoreBoth32(descriptor + kVolumeSpaceSize, statedBlocks);
    }
    return stream;
}

inline Bytes VolumeStream(uint32_t blocks) {
    return VolumeStream(blocks, blocks);
}

class DvdBench : public ScriptedDrive {
  public:
    explicit DvdBench(uint32_t profile) {
        s_nDaoToggle = -1;
        drive.m_nProfile = profile;
        drive.m_pWriteBuffer = std::make_unique<uint8_t[]>(kDvdBufferBytes);
        configuration = GoodAnswer(Answer(8, {{7, static_cast<uint8_t>(profile)}}));
        incremental = GoodAnswer(Answer(16, {{3, 12}, {10, 1}}));
        Bytes parameters(52);
        parameters[0] = 5;
        parameters[1] = 50;
        writeParameters = GoodAnswer(ModeAnswer(parameters));
        Bytes capabilities(32);
        capabilities[0] = 0x2A;
        capabilities[1] = 30;
        StoreBe16(&capabilities[12], 1024); // buffer in KB
        StoreBe16(&capabilities[28], 5540); // current write speed in KB/s
        page2A = GoodAnswer(ModeAnswer(capabilities));
        port.Always(mmc::kReadDiscInformation, GoodAnswer(Answer(32, {{1, 40}, {2, 0x10}})));
        port.Always(mmc::kReadTrackInformation,
                    GoodAnswer(TrackAnswer(0, 2'295'104, profile == 0x13)));
        port.Always(mmc::kGetPerformance, SenseAnswer(5, 0x20, 0));
        port.OnCommand([this](const SentCommand& sent) { return AnswerByField(sent); });
    }

    // Lists what IdentifyMedia would have read, and what the drive will answer if asked.
    void SetFormats(const std::vector<FormatDescriptor>& descriptors) {
        const Bytes answer = FormatsAnswer(descriptors);
        drive.m_abyFormats.fill(0);
        std::copy(answer.begin(), answer.end(), drive.m_abyFormats.begin());
        port.Always(mmc::kReadFormatCapacities, GoodAnswer(answer));
    }
    void SetDiscInfo(const Bytes& info) {
        std::copy(info.begin(), info.end(), drive.m_abyDiscInfo.begin());
        port.Always(mmc::kReadDiscInformation, GoodAnswer(info));
    }

    // The `nth` command (from 0) fails with this; all others are answered as usual.
    void FailCommand(size_t nth, ScriptedAnswer answer) {
        m_nFailing = nth;
        m_failure = std::move(answer);
    }

    std::vector<std::string> Trace() const { return larkspin::Trace(port.Sent()); }

    // What the WRITEs left on the disc, from block 0 on.
    Bytes Recorded() const {
        Bytes disc;
        for (const SentCommand& write : port.Sent(mmc::kWrite10)) {
            const size_t begin = LoadBe32(&write.cdb[2]) * size_t{2048};
            EXPECT_EQ(write.dataOut.size(), LoadBe16(&write.cdb[7]) * size_t{2048});
            disc.resize(std::max(disc.size(), begin + write.dataOut.size()));
            std::copy(write.dataOut.begin(), write.dataOut.end(),
                      disc.begin() + static_cast<std::ptrdiff_t>(begin));
        }
        return disc;
    }

    ScriptedAnswer configuration;   // GET CONFIGURATION: the current profile
    ScriptedAnswer incremental;     // GET CONFIGURATION: Incremental Streaming Writable
    ScriptedAnswer writeParameters; // MODE SENSE page 5
    ScriptedAnswer page2A;

  private:
    std::optional<ScriptedAnswer> AnswerByField(const SentCommand& sent) {
        if (port.Sent().size() == m_nFailing + 1)
            return m_failure;
        if (sent.cdb[0] == mmc::kGetConfiguration)
            return sent.cdb[1] == 2 ? incremental : configuration;
        if (sent.cdb[0] == mmc::kModeSense10)
            return sent.cdb[2] == 5 ? writeParameters : page2A;
        return std::nullopt;
    }

    size_t m_nFailing = SIZE_MAX - 1;
    ScriptedAnswer m_failure;
};

} // namespace larkspin
