// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "usbdrive/usb_descriptors.h"

#include <string_view>

namespace larkspin {

namespace {

enum DescriptorType : uint8_t {
    kDevice = 1,
    kConfiguration = 2,
    kString = 3,
    kInterface = 4,
    kEndpoint = 5,
    kDeviceQualifier = 6,
};

enum StringIndex : uint8_t { kLanguages = 0, kManufacturer = 1, kProduct = 2, kSerial = 3 };

constexpr uint8_t kClassMassStorage = 0x08;
constexpr uint8_t kSubclassScsi = 0x06;
constexpr uint8_t kProtocolBulkOnly = 0x50;

constexpr uint8_t Low(uint16_t value) {
    return static_cast<uint8_t>(value & 0xFF);
}
constexpr uint8_t High(uint16_t value) {
    return static_cast<uint8_t>(value >> 8);
}

// Numbers reserved for tests and prototypes (pid.codes).
constexpr uint16_t kVendor = 0x1209;
constexpr uint16_t kProductNumber = 0x0001;
constexpr uint16_t kRelease = 0x0104;
constexpr uint16_t kUsbVersion = 0x0200;

std::vector<uint8_t> Text(std::string_view text) {
    std::vector<uint8_t> bytes = {static_cast<uint8_t>(2 + 2 * text.size()), kString};
    for (const char unit : text) {
        bytes.insert(bytes.end(), {static_cast<uint8_t>(unit), 0});
    }
    return bytes;
}

} // namespace

std::vector<uint8_t> UsbDescriptor(uint8_t type, uint8_t index, const std::string& serial) {
    constexpr uint8_t kControlPacketBytes = 64;
    if (type == kString) {
        switch (index) {
        case kLanguages:
            return {4, kString, 0x09, 0x04}; // English (United States)
        case kManufacturer:
            return Text("Larkspin");
        case kProduct:
            return Text("Larkspin Drive");
        case kSerial:
            return Text(serial);
        default:
            return {};
        }
    }
    if (index != 0) {
        return {};
    }
    switch (type) {
    case kDevice:
        return {18,
                kDevice,
                Low(kUsbVersion),
                High(kUsbVersion),
                0, // class, subclass and protocol are the interface's
                0,
                0,
                kControlPacketBytes,
                Low(kVendor),
                High(kVendor),
                Low(kProductNumber),
                High(kProductNumber),
                Low(kRelease),
                High(kRelease),
                kManufacturer,
                kProduct,
                kSerial,
                1}; // configurations
    case kDeviceQualifier:
        return {10,
                kDeviceQualifier,
                Low(kUsbVersion),
                High(kUsbVersion),
                0,
                0,
                0,
                kControlPacketBytes,
                1,
                0};
    case kConfiguration: {
        constexpr uint8_t kTotalBytes = 9 + 9 + 7 + 7;
        return {// One interface; powered by itself.
                9, kConfiguration, kTotalBytes, 0, 1, kConfigurationValue, 0, 0xC0, 0,
                // Interface 0 with two endpoints.
                9, kInterface, 0, 0, 2, kClassMassStorage, kSubclassScsi, kProtocolBulkOnly, 0,
                // Bulk endpoints.
                7, kEndpoint, kEndpointIn | kBulkInEndpoint, 2, Low(kBulkPacketBytes),
                High(kBulkPacketBytes), 0, //
                7, kEndpoint, kBulkOutEndpoint, 2, Low(kBulkPacketBytes), High(kBulkPacketBytes),
                0};
    }
    default:
        return {};
    }
}

} // namespace larkspin
