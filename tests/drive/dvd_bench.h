// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A scripted DVD recorder that answers the questions of a recording sensibly, and what the tests
// of DVD recording write to it and read off it.
#pragma once

#include "drive/answers.h"
#include "drive/dvd_detail.h"
#include "drive/scsi_command.h"

#include <algorithm>

namespace larkspin {

constexpr size_t kBlock = 2048;

// A stream of whole blocks, each of its own pattern, with volume descriptors of these types from
// block 16 on. All begin alike where there is no descriptor.
inline Bytes VolumeStream(uint32_t blocks, uint32_t statedBlocks, const Bytes& types = {1, 2, 255},
                          uint8_t pattern = 0) {
    Bytes stream(blocks * kBlock);
    for (size_t i = 0; i < stream.size(); ++i) {
        stream[i] = i % kBlock == 0 ? 9 : static_cast<uint8_t>(i / kBlock * 7 + i % 251 + pattern);
    }
    for (size_t i = 0; i < types.size() && 16 + i < blocks; ++i) {
        uint8_t* const descriptor = &stream[(16 + i) * kBlock];
        descriptor[0] = types[i];
        std::copy_n("CD001", 5, descriptor + 1);
        StoreBoth32(descriptor + kVolumeSpaceSize, statedBlocks);
    }
    return stream;
}

inline Bytes VolumeStream(uint32_t blocks) {
    return VolumeStream(blocks, blocks);
}

inline Bytes BlocksOf(const Bytes& bytes, size_t first, size_t count) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(first * kBlock);
    return {begin, begin + static_cast<std::ptrdiff_t>(count * kBlock)};
}

class DvdBench : public ScriptedDrive {
  public:
    static constexpr uint32_t kDiscBlocks = 2'295'104;

    // A formatted disc of this profile; a sequential one takes data from block 0 on.
    explicit DvdBench(uint32_t profile, uint32_t discBlocks = kDiscBlocks) {
        s_nDaoToggle = -1;
        dvd.m_nProfile = profile;
        dvd.m_pWriteBuffer = std::make_unique<uint8_t[]>(kDvdBufferBytes);
        port.Always(Feature(0), ProfileAnswer(profile));
        port.Always(Feature(0x21), Answer(16, {{3, 12}, {10, 1}}));
        port.Always(ModePage(5), ModeAnswer(Page(5, 50)));
        SetPage2A(Answer(32, {{0, 0x2A}, {1, 30}, {12, 1024, 2}, {28, 5540, 2}}));
        SetDiscInfo(Answer(32, {{1, 40}, {2, 0x10}, {7, 3}})); // the background format is done
        SetFormats({{discBlocks, 2}, {discBlocks, 0}, {discBlocks, 0x26}});
        SetTrack(0, discBlocks);
        port.Always(kGetPerformance, Sense(0x52000));
    }
    // What a test leaves open is not closed.
    ~DvdBench() { dvd.m_pfnFinalize = nullptr; }
    DvdBench(const DvdBench&) = delete;
    DvdBench& operator=(const DvdBench&) = delete;

    uint32_t Profile() const { return dvd.m_nProfile & 0xFFFF; }
    void SetPage2A(const Bytes& page) { port.Always(ModePage(0x2A), ModeAnswer(page)); }
    void SetTrack(uint32_t nextBlock, uint32_t freeBlocks) {
        Bytes track = TrackAnswer(nextBlock, freeBlocks, Profile() == 0x13 ? 0x11 : 0x01);
        StoreBe32(&track[20], kEccBlocks); // packet size
        port.Always(kReadTrackInformation, track);
    }
    // What IdentifyMedia would have read, and what the drive will answer if asked.
    void SetFormats(const std::vector<FormatDescriptor>& descriptors) {
        const Bytes answer = FormatsAnswer(descriptors);
        dvd.m_abyFormats.fill(0);
        std::copy(answer.begin(), answer.end(), dvd.m_abyFormats.begin());
        port.Always(kReadFormatCapacities, answer);
    }
    void SetDiscInfo(const Bytes& info) {
        std::copy(info.begin(), info.end(), dvd.m_abyDiscInfo.begin());
        port.Always(kReadDiscInformation, info);
    }

    // What the WRITEs left on the disc, from block 0 on.
    Bytes Recorded() const {
        Bytes disc;
        for (const SentCommand& write : port.Sent(kWrite10)) {
            const size_t begin = LoadBe32(&write.cdb[2]) * size_t{2048};
            EXPECT_EQ(write.dataOut.size(), LoadBe16(&write.cdb[7]) * size_t{2048});
            disc.resize(std::max(disc.size(), begin + write.dataOut.size()));
            std::copy(write.dataOut.begin(), write.dataOut.end(),
                      disc.begin() + static_cast<std::ptrdiff_t>(begin));
        }
        return disc;
    }

    CScsiCommand command{drive};
};

} // namespace larkspin
