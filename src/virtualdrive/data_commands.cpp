// Reading, writing, closing, erasing.
#include "virtualdrive/answer.h"
#include "virtualdrive/drive.h"

namespace larkspin {

namespace {

// FORMAT UNIT's parameter list; bits of byte 1 of its header.
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
    if (command.Room().size() < bytes)
        return sense::kDataPhaseError;
    command.Gave(bytes);
    return m_medium->Read(static_cast<int32_t>(command.Be32(2)), count,
                          command.Room().first(bytes));
}

SenseCode CDrive::Read10(const CCommand& command) {
    return ReadBlocks(command, command.Be16(7));
}

SenseCode CDrive::Read12(const CCommand& command) {
    return ReadBlocks(command, command.Be32(6));
}

SenseCode CDrive::ReadCd(const CCommand& command) {
    ReadCdRequest request;
    request.expectedType = command.Byte(1) >> 2 & 0x07;
    request.fields = command.Byte(9);
    if ((command.Byte(10) & kSubChannelMask) != 0)
        return sense::kInvalidFieldInCdb;
    const uint32_t count = command.Be24(6);
    if (count == 0)
        return sense::kGood;
    uint32_t bytesPerBlock = 0;
    const SenseCode code = m_medium->ReadCd(static_cast<int32_t>(command.Be32(2)), count, request,
                                            command.Room(), &bytesPerBlock);
    if (!code.IsGood())
        return code;
    const size_t bytes = size_t{count} * bytesPerBlock;
    if (command.Room().size() < bytes)
        return sense::kDataPhaseError;
    command.Gave(bytes);
    return sense::kGood;
}

SenseCode CDrive::CheckWriteParameters() const {
    // They may stem from before the disc came in.
    return m_medium->CheckParameters(m_pages.CurrentWriteParameters()).IsGood()
               ? sense::kGood
               : sense::kIllegalModeForTrack;
}

SenseCode CDrive::WriteBlocks(const CCommand& command, uint32_t count) {
    if (const SenseCode code = CheckWriteParameters(); !code.IsGood())
        return code;
    const std::span<const uint8_t> data = command.Sent();
    const auto bytes = static_cast<uint32_t>(data.size());
    if (count > 0 && !m_speed.HasRoomFor(bytes))
        return sense::kLongWriteInProgress;
    const SenseCode code = m_medium->Write(m_pages.CurrentWriteParameters(),
                                           static_cast<int32_t>(command.Be32(2)), count, data);
    if (code.IsGood())
        m_speed.Take(bytes);
    return code;
}

SenseCode CDrive::Write10(const CCommand& command) {
    return WriteBlocks(command, command.Be16(7));
}

SenseCode CDrive::Write12(const CCommand& command) {
    return WriteBlocks(command, command.Be32(6));
}

SenseCode CDrive::SynchronizeCache(const CCommand& command) {
    const bool immediate = command.Bit(1, 0x02);
    const uint64_t drainMs = m_speed.DrainMs();
    Aftermath aftermath = Aftermath::None;
    const SenseCode code = m_medium->Flush(m_pages.CurrentWriteParameters(), &aftermath);
    if (!code.IsGood())
        return code;
    const uint64_t now = m_clock.TickMs();
    if (immediate && drainMs > 0)
        m_operation = Operation{sense::kLongWriteInProgress, now, now + drainMs};
    else
        m_waitMs += drainMs;
    // The lead-out follows the data by itself, and the host has to ask when it is done.
    if (aftermath == Aftermath::LeadOut)
        BeginLongOperation(sense::kLongWriteInProgress, true);
    return sense::kGood;
}

SenseCode CDrive::CloseTrackSession(const CCommand& command) {
    m_waitMs += m_speed.DrainMs();
    const SenseCode code =
        m_medium->Close(m_pages.CurrentWriteParameters(), command.Byte(2) & 0x07, command.Be16(4));
    if (code.IsGood())
        BeginLongOperation(sense::kOperationInProgress, command.Bit(1, 0x01));
    return code;
}

SenseCode CDrive::ReserveTrack(const CCommand& command) {
    if (const SenseCode code = CheckWriteParameters(); !code.IsGood())
        return code;
    return m_medium->Reserve(m_pages.CurrentWriteParameters(), command.Be32(5));
}

SenseCode CDrive::SendOpc(const CCommand& command) {
    // Calibration at the drive's own discretion only; no speeds are sent along.
    if (command.Be16(7) != 0)
        return sense::kInvalidFieldInCdb;
    return m_medium->IsWritable() ? sense::kGood : sense::kCannotWriteIncompatibleMedium;
}

SenseCode CDrive::SendCueSheet(const CCommand& command) {
    if (const SenseCode code = CheckWriteParameters(); !code.IsGood())
        return code;
    const uint32_t bytes = command.Be24(6);
    if (command.Sent().size() < bytes)
        return sense::kDataPhaseError;
    return m_medium->SendCueSheet(m_pages.CurrentWriteParameters(), command.Sent().first(bytes));
}

SenseCode CDrive::Blank(const CCommand& command) {
    const SenseCode code = m_medium->Blank(command.Byte(1) & 0x07, command.Be32(2));
    if (!code.IsGood())
        return code;
    AdoptKind();
    BeginLongOperation(sense::kOperationInProgress, command.Bit(1, 0x10));
    return sense::kGood;
}

SenseCode CDrive::FormatUnit(const CCommand& command) {
    // Format data with format code 1 (MMC); the list is a header and one descriptor.
    if ((command.Byte(1) & 0x1F) != 0x11)
        return sense::kInvalidFieldInCdb;
    if (command.Sent().size() < kFormatListBytes)
        return sense::kParameterListLength;
    const std::span<const uint8_t> list = command.Sent().first(kFormatListBytes);
    // The options of byte 1 mean something only where FOV says so; a try-out is not known.
    const bool areOptionsGood =
        (list[1] & kFormatTryOut) == 0 &&
        ((list[1] & kFormatOptionsValid) != 0 || (list[1] & kFormatOptions) == 0);
    if (LoadBe16(&list[2]) != kFormatListBytes - 4 || !areOptionsGood)
        return sense::kInvalidFieldInParameterList;
    const SenseCode code = m_medium->FormatMedium(list);
    if (!code.IsGood())
        return code;
    AdoptKind();
    BeginLongOperation(sense::kFormatInProgress, (list[1] & kFormatImmediate) != 0);
    return sense::kGood;
}

} // namespace larkspin
