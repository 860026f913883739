// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/system_use.h"

namespace larkspin {

namespace {

// The least number of bytes an entry must have to contain its fields.
size_t LeastBytes(std::string_view signature) {
    if (signature == "CE") {
        return kCeBytes;
    }
    if (signature == "PX") {
        return kPxBytes;
    }
    if (signature == "NM") {
        return kAtNmText;
    }
    if (signature == "TF") {
        return kAtTfStamps;
    }
    return signature == "PL" || signature == "CL" ? kLinkBytes : kSystemUseHead;
}

} // namespace

size_t XaBytesInFront(std::span<const uint8_t> data) {
    const bool isXa = data.size() >= kXaBytes && data[6] == 'X' && data[7] == 'A' && data[9] == 0;
    return isXa ? kXaBytes : 0;
}

std::span<const uint8_t> SystemUseWalk::Next() {
    if (m_rest.size() < kSystemUseHead) {
        return {};
    }
    const size_t length = m_rest[kAtSystemUseLength];
    const bool isPadding = m_rest[0] == 0 && m_rest[1] == 0 && length == 0;
    const uint8_t version = m_rest[kAtSystemUseVersion];
    const std::string_view signature = SignatureOf(m_rest);
    if (isPadding) {
        return {};
    }
    if ((version != 1 && version != 2) || length < LeastBytes(signature) ||
        length > m_rest.size()) {
        m_bFailed = true;
        return {};
    }
    if (signature == "ST") {
        m_rest = {};
        return {};
    }
    const std::span<const uint8_t> entry = m_rest.first(length);
    m_rest = m_rest.subspan(length);
    return entry;
}

} // namespace larkspin
