// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/error.h"

#include "platform/text.h"

#include <string_view>

namespace larkspin {

namespace {

constexpr size_t kLongestText = 127; // UTF-16 units, and bytes of the 8-bit form

bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

// Cut so that no character is split.
std::u16string CutText(const std::u16string& text) {
    std::u16string cut = text.substr(0, kLongestText);
    if (cut.size() < text.size() && IsHighSurrogate(cut.back())) {
        cut.pop_back();
    }
    return cut;
}

} // namespace

CCDWriterISOGenException::CCDWriterISOGenException(const std::u16string& text)
    : m_strText(CutText(text)) {
    std::string narrow;
    for (size_t units = m_strText.size();; --units) {
        narrow = ToNative(std::u16string_view(m_strText).substr(0, units));
        if (narrow.size() <= kLongestText) {
            break;
        }
    }
    narrow.copy(m_szNarrow.data(), kLongestText);
}

} // namespace larkspin
