// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "usbdrive/usbip_wire.h"

#include "platform/byte_order.h"

#include <algorithm>

namespace larkspin {

namespace {

enum Command : uint32_t {
    kSubmit = 1,
    kUnlink = 2,
    kSubmitReply = 3,
    kUnlinkReply = 4,
};

constexpr uint32_t kDirectionIn = 1;
constexpr uint32_t kMaxEndpoint = 15;
// No host makes longer transfers; such a request means that the stream is out of step.
constexpr uint32_t kMaxTransfer = 64 * 1024 * 1024;

UsbipHeader Reply(Command command, uint32_t sequence, int32_t status) {
    UsbipHeader header = {};
    StoreBe32(&header[0], command);
    StoreBe32(&header[4], sequence);
    StoreBe32(&header[20], static_cast<uint32_t>(status));
    return header;
}

} // namespace

std::optional<UsbipMessage> ParseUsbip(std::span<const uint8_t, kUsbipHeaderBytes> header) {
    UsbipMessage message;
    const uint32_t sequence = LoadBe32(&header[4]);
    switch (LoadBe32(&header[0])) {
    case kSubmit: {
        const uint32_t endpoint = LoadBe32(&header[16]);
        UsbSubmit submit;
        submit.sequence = sequence;
        submit.endpoint = static_cast<uint8_t>(endpoint);
        submit.in = LoadBe32(&header[12]) == kDirectionIn;
        submit.length = LoadBe32(&header[24]);
        std::copy_n(header.begin() + 40, submit.setup.size(), submit.setup.begin());
        if (endpoint > kMaxEndpoint || submit.length > kMaxTransfer) {
            return std::nullopt;
        }
        message.submit = submit;
        return message;
    }
    case kUnlink:
        message.unlink = UsbUnlink{sequence, LoadBe32(&header[20])};
        return message;
    default:
        return std::nullopt;
    }
}

UsbipHeader PackSubmitReply(uint32_t sequence, int32_t status, uint32_t actualLength) {
    UsbipHeader header = Reply(kSubmitReply, sequence, status);
    StoreBe32(&header[24], actualLength);
    return header;
}

UsbipHeader PackUnlinkReply(uint32_t sequence, int32_t status) {
    return Reply(kUnlinkReply, sequence, status);
}

} // namespace larkspin
