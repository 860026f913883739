// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The messages of the USB/IP protocol, as used by the kernel's vhci-hcd driver over a socket
// (Documentation/usb/usbip_protocol): big-endian headers of 48 bytes, followed by transfer data.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace larkspin {

constexpr size_t kUsbipHeaderBytes = 48;
using UsbipHeader = std::array<uint8_t, kUsbipHeaderBytes>;

// A transfer requested by the host, without the bytes that it sends.
struct UsbSubmit {
    uint32_t sequence = 0;
    uint8_t endpoint = 0; // number without the direction bit
    bool in = false;      // to the host
    uint32_t length = 0;  // bytes that the host sends or has room for
    std::array<uint8_t, 8> setup = {};

    // Bytes after the header.
    uint32_t PayloadBytes() const { return in ? 0 : length; }
};

// A request by the host to cancel a transfer.
struct UsbUnlink {
    uint32_t sequence = 0; // of this message
    uint32_t victim = 0;   // of the transfer
};

struct UsbipMessage {
    std::optional<UsbSubmit> submit; // one of the two
    std::optional<UsbUnlink> unlink;
};

// Empty if it is not a message that a host sends.
std::optional<UsbipMessage> ParseUsbip(std::span<const uint8_t, kUsbipHeaderBytes> header);

// Answers. `status` is 0 or a negative errno of Linux's USB core: -EPIPE for a stall, -ECONNRESET
// for a cancelled transfer.
UsbipHeader PackSubmitReply(uint32_t sequence, int32_t status, uint32_t actualLength);
UsbipHeader PackUnlinkReply(uint32_t sequence, int32_t status);

} // namespace larkspin
