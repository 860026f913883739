// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A DVD recording up to its last chunk: reset, open, and the stream.
#include "drive/dvd_detail.h"
#include "drive/profiles.h"
#include "drive/waiting.h"
#include "platform/byte_order.h"

#include <algorithm>

namespace larkspin {

namespace {

// The result of reading one buffer from the source.
struct Filled {
    size_t bytes = 0; // in the buffer
    bool cancelled = false;
};

// Reads until `buffer` is full, the source ends or the user cancels. A source that fails must not
// be mistaken for one that has ended: its stream would look complete on the disc.
Filled Fill(DvdRecording& dvd, IByteSource& source, std::span<uint8_t> buffer,
            const ProgressFunctor& progress) {
    Filled filled;
    while (filled.bytes < buffer.size() && !filled.cancelled) {
        ReportProgress(dvd, progress);
        const std::ptrdiff_t got =
            source.Read(buffer.data() + filled.bytes, buffer.size() - filled.bytes);
        if (got < 0) {
            throw CAspiCD::CgrowisofsException("cannot read source");
        }
        filled.cancelled = IsCancelled(dvd.Drive().Cancel());
        if (got == 0) {
            break;
        }
        filled.bytes += static_cast<size_t>(got);
    }
    return filled;
}

constexpr double kNoSpeedWish = -1.0;

} // namespace

void DvdRecording::ResetDvdState() {
    m_bMediaWritten = false;
    m_nWriteError = 0;
    m_nNextTrack = 1;
    m_bDaoMode = false;
    m_bQuickGrown = false;
    m_bStopAfterFinish = true;
    m_nNextWriteAddress = 1;
    m_nPollDelayMs = 189;
    m_nDriveBufferKB = 512;
    m_abyFormats.fill(0);
    m_abyDiscInfo.fill(0);
    m_bDaoOnly = false;
    m_nProfile = 0;
    m_dSpeedFactor = 0.0;
    m_bZeroFill = false;
    m_nVelocity = 0;
    m_pfnFinalize = nullptr;
    m_nPreviousStart = 0;
    m_nNextStart = 0;
    m_nSessionStart = 0;
    m_bSpaceFromDiscStart = false;
    m_nStartOffset = 0;
    m_nCurrentOffset = 0;
    m_nFinalOffset = 0;
}

void DvdRecording::OpenDvdForWriting(bool ignorePrevious, double speed) {
    m_pWriteBuffer = std::make_unique<uint8_t[]>(kDvdBufferBytes);
    if (speed != kNoSpeedWish) {
        m_dSpeedFactor = speed;
    }
    m_nProfile = IdentifyMedia();
    if (const MediumTraits& medium = TraitsOf(m_nProfile);
        !medium.IsSequential() && !medium.IsWrittenInPlace()) {
        throw CgrowisofsException("disk is not a recordable DVD");
    }

    m_nPreviousStart = 0;
    m_nNextStart = 0;
    m_nSessionStart = 0;
    const bool readable = (m_nProfile & MEDIA_BLANK) == 0 &&
                          m_drive.ReadBlocks(m_pWriteBuffer.get(), 1, kFirstDescriptorBlock);
    if (ignorePrevious) {
        return;
    }
    if (!readable) {
        throw CgrowisofsException("unable to read previous session");
    }
    if (!IsPrimaryDescriptor(m_pWriteBuffer.get())) {
        throw CgrowisofsException("previous session is not iso9660");
    }
    m_nSessionStart =
        GetNextSessionStart({m_pWriteBuffer.get(), size_t{kLogicalBlockBytes}}, &m_nPreviousStart);
}

void DvdRecording::WriteDvdFromHandle(IByteSource& source, int64_t offset,
                                      const ProgressFunctor& progress,
                                      const CancelFunctor* cancel) {
    const CancelScope cancelScope(m_drive, cancel);
    const int64_t capacity = GetDvdBytes(); // 0 when unknown
    m_nStartOffset = offset;
    m_nCurrentOffset = offset;
    m_nFinalOffset = 0;
    if (IsCancelled(cancel)) {
        return;
    }

    const std::span<uint8_t> buffer(m_pWriteBuffer.get(), kDvdBufferBytes);
    const Filled head = Fill(*this, source, buffer, nullptr);
    // A stream that ends before its first descriptors are complete holds no volume.
    if (head.cancelled || head.bytes < buffer.size()) {
        return;
    }
    const uint8_t* const descriptor = buffer.data() + kDvdChunkBytes;
    const bool isVolume = IsPrimaryDescriptor(descriptor);
    const int64_t end =
        isVolume ? VolumeEnd(*this, descriptor, offset / kLogicalBlockBytes) * kLogicalBlockBytes
                 : offset;
    if (capacity != 0 && end > capacity) {
        throw CgrowisofsException("disk capacity is too low");
    }
    PrepareDvdMedia(end);
    if (m_pfnFinalize == nullptr) {
        return; // cancelled
    }
    m_nFinalOffset = end > offset ? end : capacity;
    if (capacity != 0) {
        m_nFinalOffset = std::min(m_nFinalOffset, capacity);
    }

    if (!WriteNextChunk(*this, buffer.data()) || !WriteNextChunk(*this, descriptor)) {
        return;
    }
    // From here on only the first half is used: UpdateVolumeDescriptors needs the descriptors in
    // the second.
    const std::span<uint8_t> chunk = buffer.first(kDvdChunkBytes);
    bool ended = false;
    while (!ended) {
        const Filled filled = Fill(*this, source, chunk, progress);
        if (filled.cancelled) {
            return;
        }
        ended = filled.bytes < chunk.size();
        if (filled.bytes == 0) {
            continue;
        }
        std::fill(chunk.begin() + static_cast<std::ptrdiff_t>(filled.bytes), chunk.end(), 0);
        if (!WriteNextChunk(*this, chunk.data())) {
            return;
        }
    }
    // Every chunk lay before the first writable block and was skipped.
    if (!m_bMediaWritten) {
        throw CgrowisofsException(kDvdWriteError);
    }
}

// --- the interface in CAspiCD ---

void CAspiCD::ResetDvdState() {
    m_pDvd->ResetDvdState();
    m_bCacheLost = false;
}

void CAspiCD::OpenDvdForWriting(bool ignorePrevious, double speed) {
    m_pDvd->OpenDvdForWriting(ignorePrevious, speed);
}

void CAspiCD::CountSpaceFromDiscStart() {
    m_pDvd->m_bSpaceFromDiscStart = true;
}

int64_t CAspiCD::GetDvdBytes() {
    return m_pDvd->GetDvdBytes();
}

void CAspiCD::WriteDvdFromHandle(IByteSource& source, int64_t offset,
                                 const ProgressFunctor& progress, const CancelFunctor* cancel) {
    m_pDvd->WriteDvdFromHandle(source, offset, progress, cancel);
}

void CAspiCD::FormatDvdRewritable(int64_t offset, bool quick, const ProgressFunctor& progress,
                                  const CancelFunctor* cancel) {
    m_pDvd->FormatDvdRewritable(offset, quick, progress, cancel);
}

std::vector<CAspiCD::DvdChunk> CAspiCD::UpdateVolumeDescriptors() {
    return m_pDvd->UpdateVolumeDescriptors();
}

bool CAspiCD::FinishDvd() {
    const auto finish = std::exchange(m_pDvd->m_pfnFinalize, nullptr);
    if (finish == nullptr) {
        return true;
    }
    finish(*m_pDvd);
    // A finisher that stops early leaves the flag set.
    return !m_pDvd->m_bMediaWritten && !m_bCacheLost;
}

DvdFacts CAspiCD::GetDvdFacts() const {
    const DvdRecording& dvd = *m_pDvd;
    return {dvd.m_nProfile,       dvd.m_nPreviousStart, dvd.m_nNextStart, dvd.m_nStartOffset,
            dvd.m_nCurrentOffset, dvd.m_nFinalOffset,   dvd.m_nWriteError};
}

} // namespace larkspin
