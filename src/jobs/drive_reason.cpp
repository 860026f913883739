// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/drive_reason.h"
#include "drive/sense.h"
#include "jobs/busy_drive.h"
#include "platform/text.h"

namespace larkspin {

namespace {

struct Reason {
    int key;
    int asc; // kAny: matches all
    const char16_t* text;
};

constexpr int kAny = -1;

// The first matching row is used.
constexpr Reason kReasons[] = {
    {kKeyNotReady, kAscMediumNotPresent, u"There is no disk in the drive any more."},
    {kKeyNotReady, kAny, u"The drive is still busy with the disk. Please try again later."},
    {kKeyMediumError, kAny,
     u"The drive cannot write to the disk without errors. Please clean it, or use another disk."},
    {kKeyHardwareError, kAny,
     u"The drive reports a failure of its own. Please switch it off and on, and try again."},
    {kKeyIllegalRequest, kAscOutOfRange,
     u"The drive takes no data at this place of the disk. Please try again, or use another disk."},
    {kKeyIllegalRequest, kAscIncompatibleMedium,
     u"The drive does not take this disk for what was to be done. It may be worn out, or of a kind "
     u"that the drive does not know. Please use another disk or another drive."},
    {kKeyUnitAttention, kAscMediumChanged, u"The disk was taken out or changed meanwhile."},
    {kKeyUnitAttention, kAscReset,
     u"The drive was reset. Please check its cable and power, and try again."},
    {kKeyDataProtect, kAny, u"The disk is protected against writing. Please use another disk."},
};

} // namespace

std::u16string ReasonOf(int code) {
    if (code < 0) {
        return u"The drive did not answer. Please check its cable and power, and try again.";
    }
    const int key = code >> 16;
    const int asc = code >> 8 & 0xFF;
    for (const Reason& reason : kReasons) {
        if (reason.key == key && (reason.asc == kAny || reason.asc == asc)) {
            return reason.text;
        }
    }
    return FormatWide("The drive answered with error %X/%02X/%02X. Please try again, or use "
                      "another disk or another drive.",
                      key, asc, code & 0xFF);
}

void TellWriteError(const CAspiCD& drive, std::vector<std::u16string>* notices) {
    if (const int error = drive.GetDvdFacts().writeError; error != 0) {
        notices->push_back(drive.IsGivenUp() ? kGivenUp : ReasonOf(error));
    }
}

} // namespace larkspin
