// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What lies on the disc.
#include "virtualdrive/answer.h"
#include "virtualdrive/drive.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr uint32_t kUnknownAddress = 0;

constexpr uint8_t kFormatNoMedium = 3;
constexpr uint32_t kMaxFormatBlocks = 62'500'864; // of the largest disc

constexpr size_t kDiscInformationBytes = 34;
constexpr size_t kTrackInformationBytes = 36;
constexpr size_t kStructureHeaderBytes = 4;
constexpr uint8_t kFirstCommonStructure = 0x80;

} // namespace

SenseCode CDrive::ReadDiscInformation(const CCommand& command) {
    if ((command.Byte(1) & 0x07) != 0) { // only the standard information
        return sense::kInvalidFieldInCdb;
    }
    const DiscInformation information = m_medium->Information(m_pages.CurrentWriteParameters());
    CAnswer answer(kDiscInformationBytes);
    answer.Set16(0, kDiscInformationBytes - 2);
    answer[2] = static_cast<uint8_t>((information.erasable ? 0x10 : 0) |
                                     information.lastSession << 2 | information.status);
    answer[3] = static_cast<uint8_t>(information.firstTrack);
    answer[4] = static_cast<uint8_t>(information.sessions);
    answer[5] = static_cast<uint8_t>(information.firstTrackOfLastSession);
    answer[6] = static_cast<uint8_t>(information.lastTrackOfLastSession);
    answer[7] = static_cast<uint8_t>(0x20 | information.backgroundFormat); // unrestricted use
    answer[8] = information.discType;
    answer[9] = static_cast<uint8_t>(information.sessions >> 8);
    answer[10] = static_cast<uint8_t>(information.firstTrackOfLastSession >> 8);
    answer[11] = static_cast<uint8_t>(information.lastTrackOfLastSession >> 8);
    answer.Set32(16, information.lastSessionLeadIn);
    answer.Set32(20, information.lastPossibleLeadOut);
    command.Answer(answer.Bytes(), command.Be16(7));
    return sense::kGood;
}

SenseCode CDrive::ReadTrackInformation(const CCommand& command) {
    const uint8_t by = command.Byte(1) & 0x03;
    if (by > static_cast<uint8_t>(TrackAddress::Session)) {
        return sense::kInvalidFieldInCdb;
    }
    TrackInformation track;
    const SenseCode code = m_medium->Track(static_cast<TrackAddress>(by), command.Be32(2),
                                           m_pages.CurrentWriteParameters(), &track);
    if (!code.IsGood()) {
        return code;
    }
    CAnswer answer(kTrackInformationBytes);
    answer.Set16(0, kTrackInformationBytes - 2);
    answer[2] = static_cast<uint8_t>(track.number);
    answer[3] = static_cast<uint8_t>(track.session);
    answer[5] = static_cast<uint8_t>((track.damaged ? 0x20 : 0) | track.trackMode);
    answer[6] = static_cast<uint8_t>((track.reserved ? 0x80 : 0) | (track.blank ? 0x40 : 0) |
                                     (track.packet ? 0x20 : 0) | (track.fixedPacket ? 0x10 : 0) |
                                     track.dataMode);
    answer[7] = static_cast<uint8_t>((track.lastRecorded ? 2 : 0) | (track.nextWritable ? 1 : 0));
    answer.Set32(8, static_cast<uint32_t>(track.start));
    answer.Set32(12, static_cast<uint32_t>(track.nextWritable.value_or(kUnknownAddress)));
    answer.Set32(16, track.freeBlocks);
    answer.Set32(20, track.packetBlocks);
    answer.Set32(24, track.size);
    answer.Set32(28, static_cast<uint32_t>(track.lastRecorded.value_or(kUnknownAddress)));
    answer[32] = static_cast<uint8_t>(track.number >> 8);
    answer[33] = static_cast<uint8_t>(track.session >> 8);
    command.Answer(answer.Bytes(), command.Be16(7));
    return sense::kGood;
}

SenseCode CDrive::ReadToc(const CCommand& command) {
    // The format used to be in the top bits of the control byte, and hosts still put it there.
    uint8_t format = command.Byte(2) & 0x0F;
    if (format == 0) {
        format = command.Byte(9) >> 6;
    }
    CAnswer answer(2);
    const SenseCode code = m_medium->Toc(format, command.Bit(1, 0x02), command.Byte(6), answer);
    if (!code.IsGood()) {
        return code;
    }
    answer.Set16(0, static_cast<uint32_t>(answer.Size() - 2));
    command.Answer(answer.Bytes(), command.Be16(7));
    return sense::kGood;
}

SenseCode CDrive::ReadCapacity(const CCommand& command) {
    CAnswer answer;
    answer.Append32(m_medium->LastBlock());
    answer.Append32(kDataBlockBytes);
    command.Answer(answer.Bytes(), static_cast<uint32_t>(answer.Size()));
    return sense::kGood;
}

SenseCode CDrive::ReadFormatCapacities(const CCommand& command) {
    std::vector<FormatCapacity> capacities = {
        {.blocks = kMaxFormatBlocks, .type = kFormatNoMedium}};
    if (m_medium != nullptr) {
        capacities = m_medium->FormatCapacities();
    }
    CAnswer answer(4);
    for (size_t i = 0; i < capacities.size(); ++i) {
        answer.Append32(capacities[i].blocks);
        // The type of the current capacity is in the low bits, that of a format in the high ones.
        const uint32_t type = i == 0 ? capacities[i].type : uint32_t{capacities[i].type} << 2;
        answer.Append32(type << 24 | capacities[i].parameter);
    }
    answer[3] = static_cast<uint8_t>(answer.Size() - 4);
    command.Answer(answer.Bytes(), command.Be16(7));
    return sense::kGood;
}

SenseCode CDrive::ReadDiscStructure(const CCommand& command) {
    // From 80h on, formats mean the same for all media types.
    if (command.Byte(7) < kFirstCommonStructure &&
        (command.Byte(1) & 0x0F) != m_medium->StructureMediaType()) {
        return sense::kCannotReadIncompatibleMedium;
    }
    CAnswer answer(kStructureHeaderBytes);
    const SenseCode code =
        m_medium->ReadStructure(command.Byte(7), command.Be32(2), command.Byte(6), answer);
    if (!code.IsGood()) {
        return code;
    }
    answer.Set16(0, static_cast<uint32_t>(answer.Size() - 2));
    command.Answer(answer.Bytes(), command.Be16(8));
    return sense::kGood;
}

SenseCode CDrive::SendDiscStructure(const CCommand& command) {
    const uint32_t bytes = command.Be16(8);
    if (command.Sent().size() < bytes) {
        return sense::kDataPhaseError;
    }
    if (bytes < kStructureHeaderBytes) {
        return sense::kParameterListLength;
    }
    return m_medium->SendStructure(command.Byte(7),
                                   command.Sent().first(bytes).subspan(kStructureHeaderBytes));
}

SenseCode CDrive::ReadBufferCapacity(const CCommand& command) {
    CAnswer answer(12);
    answer.Set16(0, 10);
    answer.Set32(4, m_speed.BufferBytes());
    answer.Set32(8, m_speed.FreeBytes());
    command.Answer(answer.Bytes(), command.Be16(7));
    return sense::kGood;
}

} // namespace larkspin
