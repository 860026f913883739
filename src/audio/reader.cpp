// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/reader.h"

namespace larkspin {

CReaderException::CReaderException(const std::string& text) {
    size_t length = text.size();
    if (length > m_szText.size() - 1) {
        length = m_szText.size() - 1;
        while (length > 0 && (static_cast<uint8_t>(text[length]) & 0xC0) == 0x80) {
            --length;
        }
    }
    text.copy(m_szText.data(), length);
}

} // namespace larkspin
