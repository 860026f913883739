// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The mode pages of the drive (MODE SENSE and MODE SELECT; SPC and MMC).
//
// Pages: 01h error recovery, 05h write parameters, 0Eh CD audio control, 1Ah power condition, 1Dh
// time-out, 2Ah capabilities (read only; MMC-3 with write speed descriptors), 30h options of this
// drive: byte 2 shows which there are (02h buffer underrun protection, 20h speed control by
// quality), byte 3 their settings (bit 0 protection on, bit 5 speed control off). Page 05h is
// reported as savable, as by many drives: a host that sends that bit back is refused.
#pragma once

#include "virtualdrive/medium.h"

#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace larkspin {

// The variable contents of page 2Ah.
struct SpeedReport {
    uint32_t maxReadKB = 0; // KB/s, like all others
    uint32_t currentReadKB = 0;
    uint32_t currentWriteKB = 0;
    std::span<const uint32_t> writeKB; // highest first; empty without a writable medium
    uint32_t bufferKB = 0;
};

class CModePages {
  public:
    CModePages();

    enum class Control : uint8_t { Current = 0, Changeable = 1, Default = 2, Saved = 3 };

    // Appends the page, or all for 3Fh, as for MODE SENSE. False if there is none.
    bool Sense(uint8_t page, Control control, const SpeedReport& speeds, CAnswer& answer) const;
    // Applies the pages after the header of MODE SELECT, all or none. `medium` may be null.
    SenseCode Select(std::span<const uint8_t> pages, const IMedium* medium);

    WriteParameters CurrentWriteParameters() const;

  private:
    struct Page {
        std::vector<uint8_t> defaults; // starting with byte 0, the page code
        std::vector<uint8_t> current;
        std::vector<uint8_t> changeable; // mask
    };

    std::map<uint8_t, Page> m_pages;
};

} // namespace larkspin
