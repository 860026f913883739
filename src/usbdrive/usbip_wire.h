// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The USB/IP protocol's messages, as the kernel's vhci-hcd driver speaks them over a socket
// (Documentation/usb/usbip_protocol): headers of 48 bytes, big-endian, transfer data behind them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace larkspin {

constexpr size_t kUsbipHeaderBytes = 48;
using UsbipHeader = std::array<uint8_t, kUsbipHeaderBytes>;

// A transfer that the host wants, less the bytes that it sends along.
struct UsbSubmit {
    uint32_t sequence = 0;
    uint8_t endpoint = 0; // number without the direction bit
    bool in = false;      // to the host
    uint32_t length = 0;  // bytes that the host sends or has room for
    std::array<uint8_t, 8> setup = {};

    // Bytes that follow the header.
    uint32_t PayloadBytes() const { return in ? 0 : length; }
};

// The host's wish to take a transfer back.
struct UsbUnlink {
    uint32_t sequence = 0; // of this message
    uint32_t victim = 0;   // of the transfer
};

struct UsbipMessage {
    std::optional<UsbSubmit> submit; // one of the two
    std::optional<UsbUnlink> unlink;
};

// Empty if it is no message that a host sends.
std::optional<UsbipMessage> ParseUsbip(std::span<const uint8_t, kUsbipHeaderBytes> header);

// Answers. `status` is 0 or a negative errno of Linux's USB core: -EPIPE for a stall, -ECONNRESET
// for a transfer that was taken back.
UsbipHeader PackSubmitReply(uint32_t sequence, int32_t status, uint32_t actualLength);
UsbipHeader PackUnlinkReply(uint32_t sequence, int32_t status);

} // namespace larkspin
