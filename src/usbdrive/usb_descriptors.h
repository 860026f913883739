// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The drive's description of itself on the bus (USB 2.0, chapter 9): a high-speed device with one
// interface of the mass storage class, transparent SCSI command set, bulk-only transport.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace larkspin {

constexpr uint8_t kBulkInEndpoint = 1;
constexpr uint8_t kBulkOutEndpoint = 2;
constexpr uint8_t kEndpointIn = 0x80; // bit of an endpoint's address
constexpr uint16_t kBulkPacketBytes = 512;
constexpr uint8_t kConfigurationValue = 1;

// The descriptor with this type and index, or nothing if there is none. `serial` is the device's
// serial number: upper-case hexadecimal digits (bulk-only transport, 4.1.1), at least 12.
std::vector<uint8_t> UsbDescriptor(uint8_t type, uint8_t index, const std::string& serial);

} // namespace larkspin
