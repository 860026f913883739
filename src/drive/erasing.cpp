// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Making rewritable discs ready: blanking, formatting, overwriting with zeros.
//
// CD-RW and DVD-RW are blanked by the drive, which goes on by itself once told. A DVD+RW can't be
// blanked and is overwritten. Formats run to their end inside PrepareDvdMedia: an interrupted
// format leaves a disc that can't be written, so they can't be cancelled.
#include "drive/bd_media.h"
#include "drive/direct_command.h"
#include "drive/dvd_detail.h"
#include "drive/format_list.h"
#include "drive/mmc.h"
#include "drive/scsi_command.h"
#include "drive/waiting.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

uint32_t PlusRwFormatBlocks(const DvdRecording& dvd) {
    const uint8_t* const format = FindFormat(dvd.m_abyFormats, kFormatTypePlusRw);
    if (format == nullptr) {
        throw CAspiCD::CgrowisofsException("can't locate DVD+RW format descriptor");
    }
    return LoadBe32(format);
}

// True if `size` bytes lie within the part of the disc that is already formatted.
bool FitsCurrentFormat(const DvdRecording& dvd, int64_t size) {
    return BlocksInFullEcc(size) <= LoadBe32(&dvd.m_abyFormats[kCurrentBlocks]);
}

// `parameter`: 24 bits, whose meaning depends on the type.
int SendFormatUnit(CScsiCommand& command, FormatType type, uint32_t blocks, uint32_t parameter) {
    std::array<uint8_t, 12> list = {};
    list[1] = 2; // immediate
    list[3] = 8; // length of the descriptor that follows
    StoreBe32(&list[4], blocks);
    StoreBe32(&list[8], uint32_t{type} << 26 | parameter);
    command[0] = mmc::kFormatUnit;
    command[1] = 0x11; // format data, format code 1
    return command.Transport(Direction::WRITE, list.data(), list.size());
}

// Waits until a format has run to its end.
int WaitForFormat(CScsiCommand& command) {
    const CancelScope toTheEnd(command.Drive(), nullptr);
    return command.Drive().WaitForUnit(command);
}

} // namespace

void FormatBdRe(DvdRecording& dvd, CScsiCommand& command) {
    const uint8_t* const format = FindFormat(dvd.m_abyFormats, kFormatTypeFull);
    if (format == nullptr) {
        throw CAspiCD::CgrowisofsException("the drive offers no format for this BD-RE");
    }
    // Only the drive knows what the type's parameter means: it gets back what it offered.
    const uint32_t parameter = LoadBe32(format + 4) & 0xFFFFFF;
    if (SendFormatUnit(command, kFormatTypeFull, LoadBe32(format), parameter) != 0 ||
        WaitForFormat(command) != 0 || dvd.Drive().LateError() != 0) {
        throw CAspiCD::CgrowisofsException("formatting the BD-RE failed");
    }
}

int CAspiCD::BlankDisk(bool full) {
    constexpr uint8_t immediate = 0x10;
    enum BlankType : uint8_t { kWholeDisc = 0, kMinimal = 1 };
    Cdb cdb(mmc::kBlank);
    cdb[1] = immediate | (full ? kWholeDisc : kMinimal);
    const DirectResult result = SendDirect(*this, SRB_DIR_IN, cdb);
    m_nBlankError = result.Error();
    return m_nBlankError;
}

bool CAspiCD::IsBlankingInProgress(int* percent) {
    std::array<uint8_t, 255> info = {};
    Cdb cdb(mmc::kReadDiscInformation);
    cdb[8] = info.size();
    const DirectResult result =
        SendDirect(*this, SRB_DIR_IN, cdb, info.data(), info.size(), 0, kLongSenseBytes);
    const uint8_t ascq = result.Ascq();
    const bool busy = result.Key() == kKeyNotReady && result.Asc() == kAscNotReady &&
                      (ascq == 4 || ascq == 7 || ascq == 8);
    if (!busy && m_nBlankError == 0 && IsRecordingError(result.Key())) {
        m_nBlankError = result.Code();
    }
    if (busy && percent != nullptr) {
        const std::optional<uint16_t> progress = ProgressOf(result.sense);
        *percent = progress ? *progress * 100 / 65'536 : -1;
    }
    return busy;
}

void DvdRecording::FormatDvdRewritable(int64_t offset, bool quick, const ProgressFunctor& progress,
                                       const CancelFunctor* cancel) {
    const CancelScope cancelScope(m_drive, cancel);
    const int64_t capacity = GetDvdBytes();
    m_bZeroFill = true;
    m_nStartOffset = offset;
    m_nCurrentOffset = offset;
    m_nFinalOffset = 0;
    if (IsCancelled(cancel)) {
        return;
    }
    std::fill_n(m_pWriteBuffer.get(), kDvdBufferBytes, uint8_t{0});
    PrepareDvdMedia(offset);
    if (m_pfnFinalize == nullptr) {
        return; // cancelled
    }
    m_nFinalOffset = quick ? offset + static_cast<int64_t>(kDvdBufferBytes) : capacity;
    for (size_t half = 0; half < kDvdBufferBytes; half += kDvdChunkBytes) {
        if (!WriteNextChunk(*this, m_pWriteBuffer.get() + half)) {
            return;
        }
        ReportProgress(*this, progress);
    }
    if (quick) {
        return;
    }
    while (!IsCancelled(cancel)) {
        ReportProgress(*this, progress);
        if (!WriteNextChunk(*this, m_pWriteBuffer.get())) {
            return;
        }
    }
}

void DvdRecording::FormatPlusRw(CScsiCommand& command) {
    if (CurrentCapacityTypeOf(m_abyFormats) != kUnformatted) {
        return;
    }
    constexpr uint8_t fromTheStart = 0;
    if (SendFormatUnit(command, kFormatTypePlusRw, PlusRwFormatBlocks(*this), fromTheStart) != 0) {
        throw CgrowisofsException("format command failed");
    }
    WaitForFormat(command);
    if (SynchronizeCache(command, false) != 0) {
        throw CgrowisofsException("flush failed");
    }
}

int DvdRecording::RestartPlusRwFormat(CScsiCommand& command, int64_t size) {
    if (!m_bDaoOnly && size != 0 && FitsCurrentFormat(*this, size)) {
        return 0;
    }
    constexpr uint8_t restart = 1;
    if (SendFormatUnit(command, kFormatTypePlusRw, PlusRwFormatBlocks(*this), restart) != 0) {
        return 1;
    }
    WaitForFormat(command);
    return 0;
}

int DvdRecording::QuickGrowMinusRw(CScsiCommand& command, int64_t size) {
    const bool formatted = CurrentCapacityTypeOf(m_abyFormats) == kFormatted;
    if (formatted && size != 0 && FitsCurrentFormat(*this, size)) {
        return 0;
    }
    const uint8_t* const growable = FindFormat(m_abyFormats, kFormatTypeQuickGrow);
    if (growable == nullptr) {
        // The disc is quick formatted: its session has to be closed at the end.
        if (!formatted) {
            m_bQuickGrown = true;
        }
        return 0;
    }
    if (formatted && LoadBe32(growable) == 0) {
        return 0; // nowhere to grow
    }
    m_bQuickGrown = true;
    if (SendFormatUnit(command, kFormatTypeQuickGrow, 0, kEccBlocks) != 0) {
        return 1;
    }
    return WaitForFormat(command);
}

} // namespace larkspin
