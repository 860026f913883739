// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The device itself: readiness, identity, door and events.
#include "virtualdrive/answer.h"
#include "virtualdrive/drive.h"
#include "virtualdrive/features.h"
#include "virtualdrive/sense_data.h"

#include <algorithm>
#include <bit>
#include <string_view>

namespace larkspin {

namespace {

constexpr uint8_t kPeripheralCdRom = 0x05;
constexpr uint32_t kStandardInquiryBytes = 96;

constexpr size_t kVendorBytes = 8;
constexpr std::string_view kVendor = "Virtual";

// Vital product data pages (SPC).
constexpr uint8_t kSupportedPages = 0x00;
constexpr uint8_t kUnitSerialNumber = 0x80;
constexpr uint8_t kDeviceIdentification = 0x83;

void PutText(CAnswer& answer, size_t offset, size_t width, std::string_view text) {
    for (size_t i = 0; i < width; ++i) {
        answer[offset + i] = static_cast<uint8_t>(i < text.size() ? text[i] : ' ');
    }
}

// Notification classes of GET EVENT STATUS NOTIFICATION.
enum EventClass : uint8_t {
    kOperationalChange = 1,
    kPower = 2,
    kMedia = 4,
    kDeviceBusy = 6,
};
constexpr uint8_t kSupportedClasses =
    1 << kOperationalChange | 1 << kPower | 1 << kMedia | 1 << kDeviceBusy;

} // namespace

SenseCode CDrive::TestUnitReady(const CCommand&) {
    return sense::kGood; // the checks before every command are sufficient
}

SenseCode CDrive::RequestSense(const CCommand& command) {
    SenseCode code;
    std::optional<uint16_t> progress;
    if (const SenseCode attention = TakeAttention(); !attention.IsGood()) {
        code = attention;
    } else if (m_medium == nullptr) {
        code = NoMedium();
    } else if (IsSpinningUp()) {
        code = sense::kBecomingReady;
    } else if (IsBusy()) {
        code = m_operation->code;
        progress = Progress();
    }
    command.Answer(SenseData(code, progress), command.Byte(4));
    return sense::kGood;
}

SenseCode CDrive::Inquiry(const CCommand& command) {
    if (command.Bit(1, 0x01)) {
        return VitalProductData(command);
    }
    if (command.Byte(2) != 0) {
        return sense::kInvalidFieldInCdb;
    }
    CAnswer answer(kStandardInquiryBytes);
    answer[0] = kPeripheralCdRom;
    answer[1] = 0x80; // removable medium
    answer[2] = 0x05; // SPC-3
    answer[3] = 0x02; // response data format
    answer[4] = kStandardInquiryBytes - 5;
    PutText(answer, 8, kVendorBytes, kVendor);
    PutText(answer, 16, 16, "Larkspin Drive");
    PutText(answer, 32, 4, "1.4");
    command.Answer(answer.Bytes(), command.Be16(3));
    return sense::kGood;
}

SenseCode CDrive::VitalProductData(const CCommand& command) {
    CAnswer page;
    switch (command.Byte(2)) {
    case kSupportedPages:
        page.Append({kSupportedPages, kUnitSerialNumber, kDeviceIdentification});
        break;
    case kUnitSerialNumber:
        page.Append(kDriveSerialNumber);
        break;
    case kDeviceIdentification: {
        // One designator of the unit: ASCII, vendor and what the vendor makes of it.
        page.Append({0x02, 0x01, 0x00, kVendorBytes + kDriveSerialNumber.size()});
        PutText(page, page.Grow(kVendorBytes), kVendorBytes, kVendor);
        page.Append(kDriveSerialNumber);
        break;
    }
    default:
        return sense::kInvalidFieldInCdb;
    }
    CAnswer answer;
    answer.Append({kPeripheralCdRom, command.Byte(2)});
    answer.Append16(static_cast<uint32_t>(page.Size()));
    answer.Append(page.Bytes());
    command.Answer(answer.Bytes(), command.Be16(3));
    return sense::kGood;
}

SenseCode CDrive::ReportLuns(const CCommand& command) {
    constexpr uint32_t kOneUnit = 8; // bytes of the list: LUN 0
    if (command.Byte(2) > 2 || command.Be32(6) < 8 + kOneUnit) {
        return sense::kInvalidFieldInCdb;
    }
    CAnswer answer(8 + kOneUnit);
    answer.Set32(0, kOneUnit);
    command.Answer(answer.Bytes(), command.Be32(6));
    return sense::kGood;
}

SenseCode CDrive::StartStopUnit(const CCommand& command) {
    const bool loadEject = command.Bit(4, 0x02);
    const bool start = command.Bit(4, 0x01);
    if (start) {
        if (loadEject) {
            CloseTray();
        }
        Wake();
        if (m_medium == nullptr) {
            return NoMedium();
        }
        if (!command.Bit(1, 0x01)) { // not immediate
            m_waitMs += SpinUpLeft();
        }
        return sense::kGood;
    }
    if (!loadEject) {
        return sense::kGood; // the spindle stops
    }
    if (m_isLocked) {
        return sense::kRemovalPrevented;
    }
    m_ejected = m_medium != nullptr;
    TakeOut(true);
    return sense::kGood;
}

SenseCode CDrive::PreventAllow(const CCommand& command) {
    if (command.Bit(4, 0x02)) { // persistent prevention is not supported
        return sense::kInvalidFieldInCdb;
    }
    m_isLocked = command.Bit(4, 0x01);
    return sense::kGood;
}

SenseCode CDrive::GetEventStatus(const CCommand& command) {
    if (!command.Bit(1, 0x01)) { // asynchronous notification
        return sense::kInvalidFieldInCdb;
    }
    const uint8_t asked = command.Byte(4) & kSupportedClasses;
    CAnswer answer(4);
    answer[3] = kSupportedClasses;
    if (asked == 0) {
        answer.Set16(0, 2);
        answer[2] = 0x80; // no event available
        command.Answer(answer.Bytes(), command.Be16(7));
        return sense::kGood;
    }
    // A disc is new to the host once it can be used.
    const bool isTold = !IsSpinningUp();
    const auto isAsked = [asked](EventClass event) { return (asked & (1 << event)) != 0; };
    const uint64_t drainMs = m_speed.DrainMs();
    answer.Set16(0, 6);
    if (isAsked(kOperationalChange) && isTold && m_hasProfileEvent) {
        m_hasProfileEvent = false;
        answer[2] = kOperationalChange;
        answer.Append({2, 0, 0, 1}); // changed; status 0; feature change
    } else if (isAsked(kMedia) && m_mediaEvent != MediaEvent::None &&
               (isTold || m_mediaEvent != MediaEvent::NewMedia)) {
        answer[2] = kMedia;
        const uint8_t presence = (m_medium != nullptr ? 2 : 0) | (m_isTrayOpen ? 1 : 0);
        answer.Append({static_cast<uint8_t>(m_mediaEvent), presence, 0, 0});
        m_mediaEvent = MediaEvent::None;
    } else if (isAsked(kDeviceBusy) && (IsBusy() || drainMs > 0)) {
        const uint64_t ms = IsBusy() ? m_operation->end - m_clock.TickMs() : drainMs;
        answer[2] = kDeviceBusy;
        answer.Append({1, 1}); // a busy event; the time left in units of 100 ms
        answer.Append16(static_cast<uint32_t>(std::min<uint64_t>(ms / 100, 0xFFFF)));
    } else {
        // Nothing has happened: the state of the first class requested.
        const auto first = static_cast<uint8_t>(std::countr_zero(asked));
        answer[2] = first;
        uint8_t status = 0;
        if (first == kMedia) {
            status = (m_medium != nullptr ? 2 : 0) | (m_isTrayOpen ? 1 : 0);
        } else if (first == kPower) {
            status = 1; // active
        }
        answer.Append({0, status, 0, 0});
    }
    command.Answer(answer.Bytes(), command.Be16(7));
    return sense::kGood;
}

SenseCode CDrive::MechanismStatus(const CCommand& command) {
    CAnswer answer(8);
    answer[1] = m_isTrayOpen ? 0x10 : 0x00;
    command.Answer(answer.Bytes(), command.Be16(8));
    return sense::kGood;
}

} // namespace larkspin
