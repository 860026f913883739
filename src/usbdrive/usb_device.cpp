// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "usbdrive/usb_device.h"

#include "usbdrive/usb_descriptors.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace larkspin {

namespace {

// bmRequestType: direction, type and recipient.
enum RequestType : uint8_t {
    kToDevice = 0x00,
    kToInterface = 0x01,
    kToEndpoint = 0x02,
    kClassToInterface = 0x21,
    kFromDevice = 0x80,
    kFromInterface = 0x81,
    kFromEndpoint = 0x82,
    kClassFromInterface = 0xA1,
};

enum Request : uint8_t {
    kGetStatus = 0,
    kClearFeature = 1,
    kSetFeature = 3,
    kSetAddress = 5,
    kGetDescriptor = 6,
    kGetConfiguration = 8,
    kSetConfiguration = 9,
    kGetInterface = 10,
    kSetInterface = 11,
    // Of the mass storage class.
    kGetMaxLun = 0xFE,
    kBulkOnlyReset = 0xFF,
};

constexpr uint16_t kEndpointHalt = 0; // feature selector
constexpr uint8_t kSelfPowered = 1;

constexpr uint16_t Key(uint8_t type, uint8_t request) {
    return static_cast<uint16_t>(type << 8 | request);
}

} // namespace

CUsbDevice::CUsbDevice(IScsiUnit& unit, IUsbReplies& replies, std::string serial)
    : m_replies(replies), m_bulk(unit, replies), m_serial(std::move(serial)) {}

void CUsbDevice::Submit(const UsbSubmit& transfer, std::span<const uint8_t> bytes) {
    if (transfer.endpoint == 0) {
        Control(transfer);
    } else if (transfer.endpoint == kBulkInEndpoint && transfer.in) {
        m_bulk.SubmitIn(transfer.sequence, transfer.length);
    } else if (transfer.endpoint == kBulkOutEndpoint && !transfer.in) {
        m_bulk.SubmitOut(transfer.sequence, bytes);
    } else {
        m_replies.Reply(transfer.sequence, -EPIPE, {}, 0);
    }
}

void CUsbDevice::Control(const UsbSubmit& transfer) {
    std::vector<uint8_t> answer;
    if (!Answer(transfer, &answer)) {
        m_replies.Reply(transfer.sequence, -EPIPE, {}, 0);
        return;
    }
    const auto wanted = static_cast<uint16_t>(transfer.setup[6] | transfer.setup[7] << 8);
    answer.resize(std::min<size_t>({answer.size(), wanted, transfer.length}));
    m_replies.Reply(transfer.sequence, 0, answer, static_cast<uint32_t>(answer.size()));
}

bool CUsbDevice::Answer(const UsbSubmit& transfer, std::vector<uint8_t>* answer) {
    const auto& setup = transfer.setup;
    const auto value = static_cast<uint16_t>(setup[2] | setup[3] << 8);
    switch (Key(setup[0], setup[1])) {
    case Key(kFromDevice, kGetDescriptor):
        *answer = UsbDescriptor(setup[3], setup[2], m_serial);
        return !answer->empty();
    case Key(kFromDevice, kGetStatus):
        *answer = {kSelfPowered, 0};
        return true;
    case Key(kFromInterface, kGetStatus):
        *answer = {0, 0};
        return true;
    case Key(kFromDevice, kGetConfiguration):
        *answer = {m_configuration};
        return true;
    case Key(kToDevice, kSetConfiguration):
        if (value > kConfigurationValue) {
            return false;
        }
        m_configuration = static_cast<uint8_t>(value);
        m_bulk.Reset();
        return true;
    case Key(kToDevice, kSetAddress):
        return true;
    case Key(kFromInterface, kGetInterface):
        *answer = {0};
        return true;
    case Key(kToInterface, kSetInterface):
        if (value != 0) {
            return false;
        }
        m_bulk.Reset();
        return true;
    case Key(kClassFromInterface, kGetMaxLun):
        *answer = {0};
        return true;
    case Key(kClassToInterface, kBulkOnlyReset):
        m_bulk.Reset();
        return true;
    case Key(kFromEndpoint, kGetStatus):
    case Key(kToEndpoint, kClearFeature):
    case Key(kToEndpoint, kSetFeature):
        return AnswerEndpoint(setup[1], value, setup[4], answer);
    default:
        return false;
    }
}

bool CUsbDevice::AnswerEndpoint(uint8_t request, uint16_t value, uint8_t address,
                                std::vector<uint8_t>* answer) {
    const bool in = address == (kEndpointIn | kBulkInEndpoint);
    if (!in && address != kBulkOutEndpoint) {
        return (address & ~kEndpointIn) == 0 && request == kClearFeature; // endpoint 0
    }
    if (request == kGetStatus) {
        *answer = {static_cast<uint8_t>(m_bulk.IsHalted(in) ? 1 : 0), 0};
        return true;
    }
    if (value != kEndpointHalt) {
        return false;
    }
    if (request == kSetFeature) {
        m_bulk.SetHalt(in);
    } else {
        m_bulk.ClearHalt(in);
    }
    return true;
}

} // namespace larkspin
