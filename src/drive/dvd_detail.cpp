// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/dvd_detail.h"
#include "drive/mmc.h"
#include "drive/scsi_command.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <cstring>

namespace larkspin {

CAspiCD::CgrowisofsException::CgrowisofsException(const char* text) {
    std::copy_n(text, ::strnlen(text, m_szText.size() - 1), m_szText.begin());
}

bool WriteNextChunk(DvdRecording& dvd, const uint8_t* chunk) {
    const int written = dvd.WriteDvdChunk(chunk, dvd.m_nCurrentOffset);
    if (written == kChunkCancelled) {
        return false;
    }
    if (written != static_cast<int>(kDvdChunkBytes)) {
        throw CAspiCD::CgrowisofsException(written == 0 ? kDvdOutOfSpace : kDvdWriteError);
    }
    dvd.m_nCurrentOffset += kDvdChunkBytes;
    return true;
}

void ReportProgress(const DvdRecording& dvd, const ProgressFunctor& progress) {
    if (!progress) {
        return;
    }
    const int64_t whole = dvd.m_nFinalOffset - dvd.m_nStartOffset;
    const int64_t done = dvd.m_nCurrentOffset - dvd.m_nStartOffset;
    progress(whole > 0 ? static_cast<int>(std::clamp<int64_t>(done * 100 / whole, 0, 100)) : 0);
}

uint32_t BlocksInFullEcc(int64_t bytes) {
    const int64_t blocks = bytes / kLogicalBlockBytes;
    return static_cast<uint32_t>((blocks + kEccBlocks - 1) / kEccBlocks * kEccBlocks);
}

int ReadTrackInformation(CScsiCommand& command, uint32_t track, std::span<uint8_t> answer) {
    command[0] = mmc::kReadTrackInformation;
    command[1] = 1; // the number below is a track
    StoreBe32(&command[2], track);
    command[8] = static_cast<uint8_t>(answer.size());
    return command.Transport(Direction::READ, answer.data(), static_cast<uint32_t>(answer.size()));
}

int SynchronizeCache(CScsiCommand& command, bool immediate, uint32_t timeoutSeconds) {
    command[0] = mmc::kSynchronizeCache;
    command[1] = immediate ? 2 : 0;
    command.Timeout(timeoutSeconds);
    return command.Transport(Direction::NONE);
}

bool IsPrimaryDescriptor(const uint8_t* block) {
    return std::memcmp(block,
                       "\x01"
                       "CD001",
                       6) == 0;
}

bool IsAnchor(std::span<const uint8_t> block) {
    constexpr uint16_t kAnchorTag = 2;
    constexpr size_t kAtChecksum = 4;
    constexpr size_t kTagBytes = 16;
    uint8_t sum = 0;
    for (size_t i = 0; i < kTagBytes; ++i) {
        sum = static_cast<uint8_t>(sum + (i == kAtChecksum ? 0 : block[i]));
    }
    return LoadLe16(block.data()) == kAnchorTag && block[kAtChecksum] == sum;
}

int64_t VolumeEnd(const DvdRecording& dvd, const uint8_t* descriptor, int64_t start) {
    const int64_t size = LoadLe32(descriptor + kVolumeSpaceSize);
    return dvd.m_bSpaceFromDiscStart ? size : start + size;
}

} // namespace larkspin
