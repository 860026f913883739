// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Appending to a DVD: finding the old volume and the start of the new session, and updating the
// volume descriptors on media that are written in place.
#include "drive/bd_media.h"
#include "drive/descriptor_set.h"
#include "drive/dvd_detail.h"
#include "drive/mmc.h"
#include "drive/profiles.h"
#include "drive/scsi_command.h"
#include "drive/sense.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

constexpr char kTrackUnreadable[] = "cannot read track information";
constexpr char kNotFlushed[] = "internal error #1008";

void RewriteChunk(DvdRecording& dvd, const uint8_t* chunk, uint32_t block) {
    if (dvd.WriteDvdChunk(chunk, block * kLogicalBlockBytes) != static_cast<int>(kDvdChunkBytes)) {
        throw CAspiCD::CgrowisofsException(
            "unable to update volume descriptors, added data may be not accessible");
    }
}

} // namespace

int32_t DvdRecording::GetNextSessionStart(std::span<const uint8_t> descriptor,
                                          int32_t* previousStart) {
    const MediumTraits& medium = TraitsOf(m_nProfile);
    if (!medium.IsWrittenInPlace()) {
        return ReadSequentialSessionStart(previousStart);
    }
    // A volume contains its own descriptor and ends where the disc can still be addressed. With any
    // other size, the new data would overwrite the old.
    const int64_t size = LoadLe32(descriptor.data() + kVolumeSpaceSize);
    // A session on a BD-RE does not begin in a cluster that holds old data.
    const int64_t unit = medium.IsBd() ? kBdClusterBlocks : int64_t{kEccBlocks};
    if (size <= kFirstDescriptorBlock || size > INT32_MAX - unit) {
        throw CgrowisofsException("previous session is not iso9660");
    }
    *previousStart = kFirstDescriptorBlock;
    m_nNextStart = static_cast<int32_t>((size + unit - 1) / unit * unit);
    return m_nNextStart;
}

int32_t DvdRecording::ReadSequentialSessionStart(int32_t* previousStart) {
    constexpr uint8_t incomplete = 1;
    if ((m_abyDiscInfo[2] & 3) != incomplete) {
        throw CgrowisofsException("disk is finalized, cannot append");
    }
    constexpr uint8_t lastSessionIncomplete = 4;
    if ((m_abyDiscInfo[2] & 0x0C) > lastSessionIncomplete) {
        throw CgrowisofsException("last disk session is not empty");
    }
    m_nNextTrack = m_abyDiscInfo[10] << 8 | m_abyDiscInfo[5];

    CScsiCommand command(m_drive);
    std::array<uint8_t, 36> track = {};
    if (ReadTrackInformation(command, static_cast<uint32_t>(m_nNextTrack), track) != 0) {
        throw CgrowisofsException(command.Asc() == kAscInvalidFieldInCdb ? "disk already full"
                                                                         : kTrackUnreadable);
    }
    std::array<uint8_t, 12> toc = {};
    command[0] = mmc::kReadToc;
    command[2] = 1; // session information
    command[8] = toc.size();
    if (command.Transport(Direction::READ, toc.data(), toc.size()) != 0) {
        throw CgrowisofsException("cannot read session info");
    }
    const int64_t previous = int64_t{LoadBe32(&toc[8])} + kFirstDescriptorBlock;
    const int64_t next = LoadBe32(&track[8]);
    // No session begins before the end of another one: data sent there would be lost.
    if (next <= previous || next > INT32_MAX) {
        throw CgrowisofsException(kTrackUnreadable);
    }
    *previousStart = static_cast<int32_t>(previous);
    m_nNextStart = static_cast<int32_t>(next);
    return m_nNextStart;
}

std::vector<CAspiCD::DvdChunk> DvdRecording::UpdateVolumeDescriptors() {
    // If nothing was written, the old descriptors are still correct. The new ones, if a cancelled
    // recording got as far as reading them, would hide the old files behind data that isn't there.
    if (m_nSessionStart == 0 || !m_bMediaWritten) {
        return {};
    }
    uint8_t* const older = m_pWriteBuffer.get();
    const uint8_t* const newer = m_pWriteBuffer.get() + kDvdChunkBytes;
    const auto sessionStart = static_cast<uint32_t>(m_nSessionStart);
    if (ReadOverwriteDescriptors(older) == 0) {
        return {};
    }
    if (!IsPrimaryDescriptor(newer)) {
        throw CgrowisofsException("internal error #1023");
    }
    const bool hadUdf = MergeDescriptorSets(
        {older, kDvdChunkBytes}, {newer, kDvdChunkBytes},
        static_cast<uint32_t>(VolumeEnd(*this, newer, m_nSessionStart)), sessionStart);
    std::vector<DvdChunk> rewritten;
    const auto rewrite = [&](uint32_t block) {
        RewriteChunk(*this, older, block);
        rewritten.push_back({block, {older, older + kDvdChunkBytes}});
    };
    rewrite(kFirstDescriptorBlock);
    // Some readers go to the anchor without checking whether the disc has a UDF volume.
    if (hadUdf && sessionStart > kFirstAnchor &&
        m_drive.ReadBlocks(older, kDvdChunkBlocks, kFirstAnchor) &&
        IsAnchor({older, kLogicalBlockBytes})) {
        std::fill_n(older, kLogicalBlockBytes, uint8_t{0});
        rewrite(kFirstAnchor);
    }
    return rewritten;
}

int DvdRecording::ReadOverwriteDescriptors(uint8_t* buffer) {
    const MediumTraits& medium = TraitsOf(m_nProfile);
    if (!medium.IsWrittenInPlace()) {
        return 0; // sequential media have real sessions
    }
    if (medium.setup == DvdSetup::MinusRwOverwrite) {
        m_bStopAfterFinish = false;
        FinishMinusRw();
        m_bStopAfterFinish = true;
        // Otherwise the finisher that the caller runs next would not notice.
        if (m_bMediaWritten) {
            throw CgrowisofsException(kNotFlushed);
        }
    } else if (medium.setup != DvdSetup::Ram && FlushDvdCache(true) != 0) {
        throw CgrowisofsException(kNotFlushed);
    }
    CScsiCommand command(m_drive);
    command[0] = mmc::kRead10;
    StoreBe32(&command[2], kFirstDescriptorBlock);
    StoreBe16(&command[7], kDvdChunkBlocks);
    if (command.Transport(Direction::READ, buffer, kDvdChunkBytes) != 0) {
        throw CgrowisofsException("disk read error");
    }
    return 1;
}

} // namespace larkspin
