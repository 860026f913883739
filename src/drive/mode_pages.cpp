// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Mode pages: reading and setting them, and what the capabilities and write options pages say.
#include "drive/mode_pages.h"
#include "drive/aspi_cd.h"
#include "drive/direct_command.h"
#include "drive/mmc.h"
#include "drive/scsi_command.h"
#include "platform/byte_order.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr size_t kPageHeaderBytes = 2; // page code and page length
constexpr size_t kDescriptorBytes = 8;

// Page 2Ah, byte 4.
constexpr uint8_t kBurnProofCapable = 0x80;

// Vendor page 30h: byte 2 holds what the drive can do, byte 3 what it is to do.
constexpr size_t kVendorAbilities = 2;
constexpr size_t kVendorChoices = 3;
constexpr uint8_t kVendorPageLength = 14;
constexpr uint8_t kAbilityBufe = 0x02;
constexpr uint8_t kAbilitySpeedControl = 0x20;
constexpr uint8_t kChoiceBufe = 0x01;
constexpr uint8_t kChoiceSpeedControlOff = 0x20;

} // namespace

int SenseModePage(CScsiCommand& command, uint8_t page, std::span<uint8_t> answer) {
    constexpr uint8_t kNoBlockDescriptors = 0x08;
    std::ranges::fill(answer, uint8_t{0});
    command[0] = mmc::kModeSense10;
    command[1] = kNoBlockDescriptors;
    command[2] = page;
    StoreBe16(&command[7], static_cast<uint16_t>(answer.size()));
    return command.Transport(Direction::READ, answer.data(), static_cast<uint32_t>(answer.size()));
}

size_t ModeDataBytes(std::span<const uint8_t> answer) {
    return answer.size() < kModeHeaderBytes ? 0 : LoadBe16(answer.data()) + size_t{2};
}

size_t WholeAnswerBytes(std::span<const uint8_t> head) {
    size_t bytes = ModeDataBytes(head);
    // With block descriptors, the page is somewhere further on.
    if (BlockDescriptorBytes(head) == 0) {
        bytes = std::max(bytes, kModeHeaderBytes + kPageHeaderBytes + head[kModeHeaderBytes + 1]);
    }
    return std::min(bytes, kMaxAllocation);
}

size_t BlockDescriptorBytes(std::span<const uint8_t> answer) {
    return answer.size() < kModeHeaderBytes ? 0 : LoadBe16(&answer[6]);
}

std::span<const uint8_t> PageOf(std::span<const uint8_t> answer) {
    const size_t begin = kModeHeaderBytes + BlockDescriptorBytes(answer);
    const size_t end = std::min(ModeDataBytes(answer), answer.size());
    if (end < begin + kPageHeaderBytes) {
        return {};
    }
    return answer.subspan(begin, end - begin);
}

void SelectSessionAtOnce(std::span<uint8_t> writeParameters) {
    writeParameters[0] &= static_cast<uint8_t>(~kParametersSavable);
    writeParameters[kWriteType] = (writeParameters[kWriteType] & 0xE2) | kWriteTypeSessionAtOnce;
}

int CAspiCD::ModeSense(uint8_t page, std::span<uint8_t> buffer, uint8_t* header,
                       uint8_t* blockDescriptor) {
    constexpr size_t kRoomForDescriptors = 100;
    std::vector<uint8_t> answer(buffer.size() + kModeHeaderBytes + kRoomForDescriptors);
    std::ranges::fill(buffer, uint8_t{0});
    Cdb cdb(mmc::kModeSense10);
    cdb[2] = page & 0x3F; // current values
    StoreBe16(&cdb[7], static_cast<uint16_t>(answer.size()));
    const auto length = static_cast<uint32_t>(answer.size());
    if (SendDirect(*this, SRB_DIR_IN, cdb, answer.data(), length).Failed()) {
        return 1;
    }

    if (header != nullptr) {
        std::copy_n(answer.begin(), kModeHeaderBytes, header);
    }
    const size_t descriptors = BlockDescriptorBytes(answer);
    if (blockDescriptor != nullptr) {
        if (descriptors >= kDescriptorBytes) {
            std::copy_n(answer.begin() + kModeHeaderBytes, kDescriptorBytes, blockDescriptor);
        } else {
            std::fill_n(blockDescriptor, kDescriptorBytes, uint8_t{0});
        }
    }
    const size_t begin = kModeHeaderBytes + descriptors;
    const bool hasPage = ModeDataBytes(answer) > begin && begin + kPageHeaderBytes <= answer.size();
    if (!hasPage || (answer[begin] & 0x3F) != (page & 0x3F)) {
        return 1;
    }
    const size_t pageBytes = answer[begin + 1] + kPageHeaderBytes;
    const auto source = answer.begin() + static_cast<std::ptrdiff_t>(begin);
    std::copy_n(source, std::min({pageBytes, buffer.size(), answer.size() - begin}),
                buffer.begin());
    return 0;
}

int CAspiCD::ModeSelect(std::span<const uint8_t> page, const uint8_t* header) {
    const size_t pageBytes = page[1] + kPageHeaderBytes;
    std::vector<uint8_t> list(kModeHeaderBytes + pageBytes);
    if (header != nullptr) {
        // Only the medium type and the device-specific byte of the header go back to the drive.
        list[2] = header[2];
        list[3] = header[3];
    }
    std::copy_n(page.begin(), std::min(pageBytes, page.size()), list.begin() + kModeHeaderBytes);
    Cdb cdb(mmc::kModeSelect10);
    cdb[1] = 0x10; // page format
    StoreBe16(&cdb[7], static_cast<uint16_t>(list.size()));
    const auto length = static_cast<uint32_t>(list.size());
    return SendDirect(*this, SRB_DIR_OUT, cdb, list.data(), length).Failed() ? 1 : 0;
}

void CAspiCD::ReadCapabilities() {
    m_dwCapabilities = 0;
    std::array<uint8_t, 32> capabilities = {};
    if (ModeSense(kPageCapabilities, capabilities) != 0) {
        return;
    }
    if ((capabilities[4] & kBurnProofCapable) != 0) {
        m_dwCapabilities |= CAP_BUFE;
    }
    std::array<uint8_t, 14> vendor = {};
    if (ModeSense(kPageVendorWriteOptions, vendor) != 0 || vendor[1] != kVendorPageLength) {
        return;
    }
    if ((vendor[kVendorAbilities] & kAbilitySpeedControl) != 0) {
        m_dwCapabilities |= CAP_VENDOR_SPEED;
    }
    if ((vendor[kVendorAbilities] & kAbilityBufe) != 0) {
        m_dwCapabilities |= CAP_VENDOR_BUFE;
    }
}

int CAspiCD::SetVendorWriteOptions(bool burnFree, bool speedControl) {
    if ((m_dwCapabilities & (CAP_VENDOR_BUFE | CAP_VENDOR_SPEED)) == 0) {
        return 0;
    }
    std::array<uint8_t, kVendorPageLength + kPageHeaderBytes> page = {};
    if (ModeSense(kPageVendorWriteOptions, page) != 0) {
        return 1;
    }
    uint8_t& choices = page[kVendorChoices];
    if ((m_dwCapabilities & CAP_VENDOR_BUFE) != 0) {
        choices = static_cast<uint8_t>((choices & ~kChoiceBufe) | (burnFree ? kChoiceBufe : 0));
    }
    if ((m_dwCapabilities & CAP_VENDOR_SPEED) != 0) {
        choices = static_cast<uint8_t>((choices & ~kChoiceSpeedControlOff) |
                                       (speedControl ? 0 : kChoiceSpeedControlOff));
    }
    return ModeSelect(page);
}

uint8_t CAspiCD::SetBlockSize2048() {
    // An old form of the parameter list, with a header of four bytes: byte 3 is the length of the
    // block descriptor, whose last three bytes are the block length.
    std::array<uint8_t, 12> list = {};
    list[3] = kDescriptorBytes;
    list[10] = 2048 >> 8;
    Cdb cdb(mmc::kModeSelect10);
    cdb[8] = list.size();
    return SendDirect(*this, SRB_DIR_OUT, cdb, list.data(), list.size()).status;
}

} // namespace larkspin
