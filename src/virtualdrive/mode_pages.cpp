// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/mode_pages.h"

#include "virtualdrive/answer.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr uint8_t kErrorRecovery = 0x01;
constexpr uint8_t kWriteParameters = 0x05;
constexpr uint8_t kPowerCondition = 0x1A;
constexpr uint8_t kTimeout = 0x1D;
constexpr uint8_t kCapabilities = 0x2A;
constexpr uint8_t kDriveOptions = 0x30;
constexpr uint8_t kAllPages = 0x3F;

constexpr size_t kWriteParametersBytes = 52;
constexpr uint8_t kSavable = 0x80; // PS, in byte 0

std::vector<uint8_t> PageOf(uint8_t code, size_t bytes) {
    std::vector<uint8_t> page(bytes);
    page[0] = code;
    page[1] = static_cast<uint8_t>(bytes - 2);
    return page;
}

std::vector<uint8_t> DefaultWriteParameters() {
    std::vector<uint8_t> page = PageOf(kWriteParameters, kWriteParametersBytes);
    page[2] = 0x40 | WriteParameters::TrackAtOnce; // with buffer underrun protection
    page[3] = 0x04;                                // data track, no further session
    page[4] = 0x08;                                // mode 1
    page[15] = 150;                                // audio pause length
    return page;
}

WriteParameters ParseWriteParameters(std::span<const uint8_t> page) {
    WriteParameters parameters;
    parameters.bufferUnderrunFree = (page[2] & 0x40) != 0;
    parameters.linkSizeValid = (page[2] & 0x20) != 0;
    parameters.testWrite = (page[2] & 0x10) != 0;
    parameters.writeType = page[2] & 0x0F;
    parameters.multiSession = page[3] >> 6;
    parameters.fixedPacket = (page[3] & 0x20) != 0;
    parameters.trackMode = page[3] & 0x0F;
    parameters.dataBlockType = page[4] & 0x0F;
    parameters.linkSize = page[5];
    parameters.sessionFormat = page[8];
    parameters.packetBlocks = LoadBe32(&page[10]);
    return parameters;
}

// MMC-3, "MM capabilities and mechanical status page".
std::vector<uint8_t> Capabilities(const SpeedReport& speeds) {
    constexpr size_t kFixedBytes = 32;
    CAnswer page(kFixedBytes);
    page[0] = kCapabilities;
    page[2] = 0x3F; // reads CD-R, CD-RW, method 2, DVD-ROM, DVD-R, DVD-RAM
    page[3] = 0x33; // writes CD-R, CD-RW, DVD-R, DVD-RAM; no test writing
    page[4] = 0xF0; // buffer underrun protection, multi-session, mode 2 forms
    page[5] = 0x03; // CD-DA by READ CD, accurate
    page[6] = 0x29; // tray, ejects, locks
    page.Set16(8, speeds.maxReadKB);
    page.Set16(12, speeds.bufferKB);
    page.Set16(14, speeds.currentReadKB);
    const uint32_t maxWrite = speeds.writeKB.empty() ? 0 : speeds.writeKB.front();
    page.Set16(18, maxWrite);
    page.Set16(20, speeds.currentWriteKB);
    page.Set16(22, 1); // copy management revision
    page.Set16(28, speeds.currentWriteKB);
    page.Set16(30, static_cast<uint32_t>(speeds.writeKB.size()));
    for (const uint32_t speed : speeds.writeKB) {
        page.Append({0, 0}); // constant linear velocity
        page.Append16(speed);
    }
    page[1] = static_cast<uint8_t>(page.Size() - 2);
    return {page.Bytes().begin(), page.Bytes().end()};
}

} // namespace

CModePages::CModePages() {
    const auto add = [this](std::vector<uint8_t> page, std::vector<uint8_t> changeable) {
        changeable.resize(page.size());
        changeable[0] = page[0];
        changeable[1] = page[1];
        const uint8_t code = page[0];
        m_pages[code] = {page, page, std::move(changeable)};
    };
    add(PageOf(kErrorRecovery, 12), {0, 0, 0xFF, 0xFF});
    // All but the reserved bits.
    std::vector<uint8_t> writable(kWriteParametersBytes, 0xFF);
    writable[2] = 0x7F;
    writable[4] = 0x0F;
    writable[6] = 0;
    writable[7] = 0x3F;
    writable[9] = 0;
    add(DefaultWriteParameters(), std::move(writable));
    add(PageOf(kPowerCondition, 12),
        {0, 0, 0, 0x03, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    add(PageOf(kTimeout, 12), {0, 0, 0, 0, 0x07, 0, 0xFF, 0xFF, 0xFF, 0xFF});
    std::vector<uint8_t> options = PageOf(kDriveOptions, 16);
    options[2] = 0x22;
    options[3] = 0x01;
    add(std::move(options), {0, 0, 0, 0x21});
}

bool CModePages::Sense(uint8_t page, Control control, const SpeedReport& speeds,
                       CAnswer& answer) const {
    const size_t begin = answer.Size();
    const auto append = [&](const Page& known) {
        const size_t at = answer.Size();
        answer.Append(control == Control::Current      ? known.current
                      : control == Control::Changeable ? known.changeable
                                                       : known.defaults);
        if (known.defaults[0] == kWriteParameters) {
            answer[at] |= kSavable;
        }
    };
    const auto appendCapabilities = [&] {
        std::vector<uint8_t> bytes = Capabilities(speeds);
        if (control == Control::Changeable) {
            std::fill(bytes.begin() + 2, bytes.end(), uint8_t{0});
        }
        answer.Append(bytes);
    };
    for (const auto& [code, known] : m_pages) {
        if (page == kAllPages || page == code) {
            append(known);
        }
    }
    if (page == kAllPages || page == kCapabilities) {
        appendCapabilities();
    }
    return answer.Size() > begin;
}

SenseCode CModePages::Select(std::span<const uint8_t> pages, const IMedium* medium) {
    std::map<uint8_t, std::vector<uint8_t>> selected;
    while (!pages.empty()) {
        if (pages.size() < 2) {
            return sense::kParameterListLength;
        }
        // The top bits are PS and SPF; PS is reserved here and must be clear.
        const auto known = m_pages.find(pages[0]);
        if (known == m_pages.end() || pages[1] + size_t{2} != known->second.current.size()) {
            return sense::kInvalidFieldInParameterList;
        }
        const size_t bytes = pages[1] + size_t{2};
        if (pages.size() < bytes) {
            return sense::kParameterListLength;
        }
        const Page& page = known->second;
        for (size_t i = 2; i < bytes; ++i) {
            if (((pages[i] ^ page.current[i]) & ~page.changeable[i]) != 0) {
                return sense::kInvalidFieldInParameterList;
            }
        }
        if (pages[0] == kWriteParameters && medium != nullptr) {
            const SenseCode code = medium->CheckParameters(ParseWriteParameters(pages));
            if (!code.IsGood()) {
                return code;
            }
        }
        selected[pages[0]] = {pages.begin(), pages.begin() + static_cast<std::ptrdiff_t>(bytes)};
        pages = pages.subspan(bytes);
    }
    for (auto& [code, bytes] : selected) {
        m_pages[code].current = std::move(bytes);
    }
    return sense::kGood;
}

WriteParameters CModePages::CurrentWriteParameters() const {
    return ParseWriteParameters(m_pages.at(kWriteParameters).current);
}

} // namespace larkspin
