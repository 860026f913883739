// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Mode pages, configuration and speeds.
#include "virtualdrive/answer.h"
#include "virtualdrive/drive.h"
#include "virtualdrive/features.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr size_t kHeaderBytes6 = 4;
constexpr size_t kHeaderBytes10 = 8;
constexpr size_t kBlockDescriptorBytes = 8;

constexpr uint16_t kSpeedMaximum = 0xFFFF;

enum PerformanceType : uint8_t { kPerformance = 0, kWriteSpeeds = 3 };
constexpr size_t kPerformanceHeaderBytes = 8;
constexpr size_t kStreamingBytes = 28;
constexpr size_t kDescriptorBytes = 16;

} // namespace

SenseCode CDrive::SensePages(const CCommand& command, bool longForm) {
    const auto control = static_cast<CModePages::Control>(command.Byte(2) >> 6);
    if (control == CModePages::Control::Saved) {
        return sense::kSavingNotSupported;
    }
    const size_t headerBytes = longForm ? kHeaderBytes10 : kHeaderBytes6;
    CAnswer answer(headerBytes); // no block descriptor (MMC)
    if (!m_pages.Sense(command.Byte(2) & 0x3F, control, Speeds(), answer)) {
        return sense::kInvalidFieldInCdb;
    }
    if (longForm) {
        answer.Set16(0, static_cast<uint32_t>(answer.Size() - 2));
    } else {
        answer[0] = static_cast<uint8_t>(answer.Size() - 1);
    }
    command.Answer(answer.Bytes(), longForm ? command.Be16(7) : command.Byte(4));
    return sense::kGood;
}

SenseCode CDrive::ModeSense6(const CCommand& command) {
    return SensePages(command, false);
}

SenseCode CDrive::ModeSense10(const CCommand& command) {
    return SensePages(command, true);
}

SenseCode CDrive::SelectPages(const CCommand& command, size_t headerBytes, uint32_t listBytes) {
    // Page format; saved pages are not supported.
    if (!command.Bit(1, 0x10) || command.Bit(1, 0x01)) {
        return sense::kInvalidFieldInCdb;
    }
    if (listBytes == 0) {
        return sense::kGood;
    }
    if (command.Sent().size() < listBytes) {
        return sense::kDataPhaseError;
    }
    const std::span<const uint8_t> list = command.Sent().first(listBytes);
    if (listBytes < headerBytes) {
        return sense::kParameterListLength;
    }
    const size_t descriptors = headerBytes == kHeaderBytes10 ? LoadBe16(&list[6]) : size_t{list[3]};
    if (descriptors != 0 && descriptors != kBlockDescriptorBytes) {
        return sense::kInvalidFieldInParameterList;
    }
    if (listBytes < headerBytes + descriptors) {
        return sense::kParameterListLength;
    }
    return m_pages.Select(list.subspan(headerBytes + descriptors), m_medium.get());
}

SenseCode CDrive::ModeSelect6(const CCommand& command) {
    return SelectPages(command, kHeaderBytes6, command.Byte(4));
}

SenseCode CDrive::ModeSelect10(const CCommand& command) {
    return SelectPages(command, kHeaderBytes10, command.Be16(7));
}

SenseCode CDrive::GetConfiguration(const CCommand& command) {
    const uint8_t choice = command.Byte(1) & 0x03;
    if (choice > static_cast<uint8_t>(FeatureChoice::One)) {
        return sense::kInvalidFieldInCdb;
    }
    CAnswer answer;
    AppendConfiguration(m_medium.get(), static_cast<FeatureChoice>(choice), command.Be16(2),
                        answer);
    command.Answer(answer.Bytes(), command.Be16(7));
    return sense::kGood;
}

SenseCode CDrive::SetCdSpeed(const CCommand& command) {
    const uint16_t read = command.Be16(2);
    const uint16_t write = command.Be16(4);
    const uint32_t fastestRead = m_medium != nullptr ? m_medium->ReadSpeed() : m_readKB;
    m_readKB = read == kSpeedMaximum ? fastestRead : std::min<uint32_t>(read, fastestRead);
    m_writeKB = ClosestWriteSpeed(write);
    m_speed.SelectWriteSpeed(m_writeKB);
    return sense::kGood;
}

SenseCode CDrive::GetPerformance(const CCommand& command) {
    const uint8_t type = command.Byte(10);
    const uint32_t room = command.Be16(8);
    CAnswer answer(kPerformanceHeaderBytes);
    uint32_t descriptors = 0;
    const uint32_t lastBlock = m_store->State().capacity - 1;
    if (type == kWriteSpeeds) {
        for (const uint32_t speed : m_medium->WriteSpeeds()) {
            if (descriptors++ >= room) {
                continue;
            }
            answer.Append32(0); // constant linear velocity, no exact value promised
            answer.Append32(lastBlock);
            answer.Append32(m_medium->ReadSpeed());
            answer.Append32(speed);
        }
    } else if (type == kPerformance) {
        const bool isWrite = command.Bit(1, 0x04);
        if ((command.Byte(1) & 0x03) != 0) { // exceptions: none are supported
            answer[4] = 1;
        } else if (!isWrite || m_writeKB != 0) {
            const uint32_t speed = isWrite ? m_writeKB : m_readKB;
            descriptors = 1;
            if (room > 0) {
                answer.Append32(0);
                answer.Append32(speed);
                answer.Append32(lastBlock);
                answer.Append32(speed);
            }
        }
        answer[4] |= isWrite ? 2 : 0;
    } else {
        return sense::kInvalidFieldInCdb;
    }
    answer.Set32(
        0, static_cast<uint32_t>(kPerformanceHeaderBytes - 4 + descriptors * kDescriptorBytes));
    command.Answer(answer.Bytes(), static_cast<uint32_t>(answer.Size()));
    return sense::kGood;
}

SenseCode CDrive::SetStreaming(const CCommand& command) {
    const uint32_t bytes = command.Be16(9);
    if (bytes != kStreamingBytes) {
        return sense::kInvalidFieldInCdb;
    }
    if (command.Sent().size() < bytes) {
        return sense::kDataPhaseError;
    }
    const std::span<const uint8_t> list = command.Sent().first(bytes);
    if ((list[0] & 0x04) != 0) { // restore the defaults
        SelectDefaultSpeeds();
        return sense::kGood;
    }
    const uint32_t readTime = LoadBe32(&list[16]);
    const uint32_t writeTime = LoadBe32(&list[24]);
    if (readTime == 0 || writeTime == 0) {
        return sense::kInvalidFieldInParameterList;
    }
    // Sizes in KB per time in ms.
    const uint64_t read = uint64_t{LoadBe32(&list[12])} * 1000 / readTime;
    const uint64_t write = uint64_t{LoadBe32(&list[20])} * 1000 / writeTime;
    m_readKB = static_cast<uint32_t>(std::min<uint64_t>(read, m_medium->ReadSpeed()));
    m_writeKB = ClosestWriteSpeed(static_cast<uint32_t>(std::min<uint64_t>(write, UINT32_MAX)));
    m_speed.SelectWriteSpeed(m_writeKB);
    return sense::kGood;
}

} // namespace larkspin
