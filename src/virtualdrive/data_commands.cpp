// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reading, writing, closing, erasing.
#include "virtualdrive/answer.h"
#include "virtualdrive/drive.h"
#include "virtualdrive/msf.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

namespace larkspin {

namespace {

// FORMAT UNIT's parameter list: bits of byte 1 of its header.
constexpr size_t kFormatListBytes = 12;
constexpr uint8_t kFormatOptionsValid = 0x80;
constexpr uint8_t kFormatOptions = 0x78; // DPRY, DCRT, STPF, IP
constexpr uint8_t kFormatTryOut = 0x04;
constexpr uint8_t kFormatImmediate = 0x02;

// READ CD, byte 10: sub-channel selection.
constexpr uint8_t kSubChannelMask = 0x07;

} // namespace

SenseCode CDrive::ReadBlocks(const CCommand& command, uint32_t count) {
    const size_t bytes = size_t{count} * kDataBlockBytes;
    if (command.Room().size() < bytes) {
        return sense::kDataPhaseError;
    }
    command.Gave(bytes);
    return ReadMedium(static_cast<int32_t>(command.Be32(2)), count, command.Room().first(bytes));
}

SenseCode CDrive::ReadMedium(int32_t block, uint32_t count, std::span<uint8_t> data) {
    const SenseCode code = m_medium->Read(block, count, data);
    return code.IsGood() ? m_defects.Read(block, data, kDataBlockBytes, &m_waitMs) : code;
}

SenseCode CDrive::Read10(const CCommand& command) {
    return ReadBlocks(command, command.Be16(7));
}

SenseCode CDrive::Read12(const CCommand& command) {
    return ReadBlocks(command, command.Be32(6));
}

SenseCode CDrive::ReadCdBlocks(const CCommand& command, int32_t block, uint32_t count) {
    ReadCdRequest request;
    request.expectedType = command.Byte(1) >> 2 & 0x07;
    request.fields = command.Byte(9);
    if ((command.Byte(10) & kSubChannelMask) != 0) {
        return sense::kInvalidFieldInCdb;
    }
    if (count == 0) {
        return sense::kGood;
    }
    uint32_t bytesPerBlock = 0;
    const SenseCode code = m_medium->ReadCd(block, count, request, command.Room(), &bytesPerBlock);
    if (!code.IsGood()) {
        return code;
    }
    const size_t bytes = size_t{count} * bytesPerBlock;
    if (command.Room().size() < bytes) {
        return sense::kDataPhaseError;
    }
    command.Gave(bytes);
    return m_defects.Read(block, command.Room().first(bytes), bytesPerBlock, &m_waitMs);
}

SenseCode CDrive::ReadCd(const CCommand& command) {
    return ReadCdBlocks(command, static_cast<int32_t>(command.Be32(2)), command.Be24(6));
}

SenseCode CDrive::ReadCdMsf(const CCommand& command) {
    const auto blockAt = [&](size_t index) -> std::optional<int32_t> {
        const uint8_t second = command.Byte(index + 1);
        const uint8_t frame = command.Byte(index + 2);
        if (second >= 60 || frame >= kFramesPerSecond) {
            return std::nullopt;
        }
        return FramesOfMsf(command.Byte(index), second, frame) - kPregapFrames;
    };
    const std::optional<int32_t> begin = blockAt(3);
    const std::optional<int32_t> end = blockAt(6); // one past the last block read
    if (!begin || !end || *end < *begin) {
        return sense::kInvalidFieldInCdb;
    }
    return ReadCdBlocks(command, *begin, static_cast<uint32_t>(*end - *begin));
}

SenseCode CDrive::Seek(const CCommand& command) {
    return command.Be32(2) <= m_medium->LastBlock() ? sense::kGood : sense::kAddressOutOfRange;
}

SenseCode CDrive::SetReadAhead(const CCommand& command) {
    const uint32_t last = m_medium->LastBlock();
    return command.Be32(2) <= last && command.Be32(6) <= last ? sense::kGood
                                                              : sense::kAddressOutOfRange;
}

SenseCode CDrive::VerifyBlocks(int32_t block, uint32_t count, std::span<const uint8_t> bytes) {
    std::array<uint8_t, kDataBlockBytes> found = {};
    for (uint32_t i = 0; i < count; ++i) {
        const SenseCode code = ReadMedium(block + static_cast<int32_t>(i), 1, found);
        if (!code.IsGood()) {
            return code;
        }
        if (!bytes.empty() && !std::equal(found.begin(), found.end(),
                                          bytes.begin() + std::ptrdiff_t{kDataBlockBytes} * i)) {
            return sense::kMiscompare;
        }
    }
    return sense::kGood;
}

SenseCode CDrive::Verify(const CCommand& command) {
    const uint32_t count = command.Be16(7);
    const bool comparesBytes = command.Bit(1, 0x02);
    if (comparesBytes && command.Sent().size() < size_t{count} * kDataBlockBytes) {
        return sense::kDataPhaseError;
    }
    return VerifyBlocks(static_cast<int32_t>(command.Be32(2)), count,
                        comparesBytes ? command.Sent() : std::span<const uint8_t>{});
}

SenseCode CDrive::CheckWriteParameters() const {
    // They may have been set before the disc was inserted.
    return m_medium->CheckParameters(m_pages.CurrentWriteParameters()).IsGood()
               ? sense::kGood
               : sense::kIllegalModeForTrack;
}

SenseCode CDrive::WriteBlocks(const CCommand& command, uint32_t count) {
    if (const SenseCode code = CheckWriteParameters(); !code.IsGood()) {
        return code;
    }
    const std::span<const uint8_t> data = command.Sent();
    const auto bytes = static_cast<uint32_t>(data.size());
    if (count > 0 && !m_speed.HasRoomFor(bytes)) {
        return sense::kLongWriteInProgress;
    }
    const auto block = static_cast<int32_t>(command.Be32(2));
    const std::vector<uint8_t> instead = WithoutLost(block, count, data);
    const SenseCode code = m_medium->Write(m_pages.CurrentWriteParameters(), block, count,
                                           instead.empty() ? data : instead);
    if (code.IsGood()) {
        m_speed.Take(bytes);
    }
    return code;
}

// `data` with the medium's old contents for blocks that are lost; empty if none are.
std::vector<uint8_t> CDrive::WithoutLost(int32_t first, uint32_t count,
                                         std::span<const uint8_t> data) {
    std::vector<uint8_t> instead;
    const size_t blockBytes = count > 0 ? data.size() / count : 0;
    for (size_t i = 0; i < count; ++i) {
        const int32_t block = first + static_cast<int32_t>(i);
        if (!m_defects.IsLost(block)) {
            continue;
        }
        if (instead.empty()) {
            instead.assign(data.begin(), data.end());
        }
        const std::span<uint8_t> lost = std::span(instead).subspan(i * blockBytes, blockBytes);
        if (blockBytes != kDataBlockBytes || !m_medium->Read(block, 1, lost).IsGood()) {
            std::fill(lost.begin(), lost.end(), uint8_t{0});
        }
    }
    return instead;
}

SenseCode CDrive::Write10(const CCommand& command) {
    return WriteBlocks(command, command.Be16(7));
}

SenseCode CDrive::Write12(const CCommand& command) {
    return WriteBlocks(command, command.Be32(6));
}

SenseCode CDrive::WriteAndVerify(const CCommand& command) {
    const uint32_t count = command.Be16(7);
    const SenseCode code = WriteBlocks(command, count);
    return code.IsGood()
               ? VerifyBlocks(static_cast<int32_t>(command.Be32(2)), count, command.Sent())
               : code;
}

SenseCode CDrive::SynchronizeCache(const CCommand& command) {
    const bool immediate = command.Bit(1, 0x02);
    const uint64_t drainMs = m_speed.DrainMs();
    Aftermath aftermath = Aftermath::None;
    const SenseCode code = m_medium->Flush(m_pages.CurrentWriteParameters(), &aftermath);
    if (!code.IsGood()) {
        return code;
    }
    const uint64_t now = m_clock.TickMs();
    if (immediate && drainMs > 0) {
        m_operation = Operation{sense::kLongWriteInProgress, now, now + drainMs};
    } else {
        m_waitMs += drainMs;
    }
    // The lead-out follows the data automatically, and the host has to ask when it is done.
    if (aftermath == Aftermath::LeadOut) {
        BeginLongOperation(sense::kLongWriteInProgress, true);
    }
    return sense::kGood;
}

SenseCode CDrive::CloseTrackSession(const CCommand& command) {
    m_waitMs += m_speed.DrainMs();
    const SenseCode code =
        m_medium->Close(m_pages.CurrentWriteParameters(), command.Byte(2) & 0x07, command.Be16(4));
    if (code.IsGood()) {
        BeginLongOperation(sense::kOperationInProgress, command.Bit(1, 0x01));
    }
    return code;
}

SenseCode CDrive::ReserveTrack(const CCommand& command) {
    if (const SenseCode code = CheckWriteParameters(); !code.IsGood()) {
        return code;
    }
    return m_medium->Reserve(m_pages.CurrentWriteParameters(), command.Be32(5));
}

SenseCode CDrive::RepairTrack(const CCommand& command) {
    TrackInformation track;
    const SenseCode code = m_medium->Track(TrackAddress::Track, command.Be16(4),
                                           m_pages.CurrentWriteParameters(), &track);
    if (!code.IsGood()) {
        return code;
    }
    // An incremental recording is never left damaged, and one in one go can't be continued.
    return track.damaged ? sense::kIllegalModeForTrack : sense::kGood;
}

SenseCode CDrive::SendOpc(const CCommand& command) {
    // Calibration only at the drive's own discretion, without speeds from the host.
    if (command.Be16(7) != 0) {
        return sense::kInvalidFieldInCdb;
    }
    return m_medium->IsWritable() ? sense::kGood : sense::kCannotWriteIncompatibleMedium;
}

SenseCode CDrive::SendCueSheet(const CCommand& command) {
    if (const SenseCode code = CheckWriteParameters(); !code.IsGood()) {
        return code;
    }
    const uint32_t bytes = command.Be24(6);
    if (command.Sent().size() < bytes) {
        return sense::kDataPhaseError;
    }
    return m_medium->SendCueSheet(m_pages.CurrentWriteParameters(), command.Sent().first(bytes));
}

SenseCode CDrive::Blank(const CCommand& command) {
    const SenseCode code = m_medium->Blank(command.Byte(1) & 0x07, command.Be32(2));
    if (!code.IsGood()) {
        return code;
    }
    AdoptKind();
    BeginLongOperation(sense::kOperationInProgress, command.Bit(1, 0x10));
    return sense::kGood;
}

SenseCode CDrive::FormatUnit(const CCommand& command) {
    // Format data with format code 1 (MMC); the list is a header and one descriptor.
    if ((command.Byte(1) & 0x1F) != 0x11) {
        return sense::kInvalidFieldInCdb;
    }
    if (command.Sent().size() < kFormatListBytes) {
        return sense::kParameterListLength;
    }
    const std::span<const uint8_t> list = command.Sent().first(kFormatListBytes);
    // The options of byte 1 are only valid with FOV; trial formatting is not supported.
    const bool areOptionsGood =
        (list[1] & kFormatTryOut) == 0 &&
        ((list[1] & kFormatOptionsValid) != 0 || (list[1] & kFormatOptions) == 0);
    if (LoadBe16(&list[2]) != kFormatListBytes - 4 || !areOptionsGood) {
        return sense::kInvalidFieldInParameterList;
    }
    const SenseCode code = m_medium->FormatMedium(list);
    if (!code.IsGood()) {
        return code;
    }
    AdoptKind();
    BeginLongOperation(sense::kFormatInProgress, (list[1] & kFormatImmediate) != 0);
    return sense::kGood;
}

} // namespace larkspin
