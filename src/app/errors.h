// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Exceptions of the engine, with texts for the user.
#pragma once

#include <array>
#include <cstddef>
#include <exception>

namespace larkspin {

class CCDWriterException : public std::exception {
  public:
    // Keeps at most 127 bytes of the text.
    explicit CCDWriterException(const char* text) {
        for (size_t i = 0; i + 1 < m_szText.size() && text[i] != '\0'; ++i) {
            m_szText[i] = text[i];
        }
    }
    const char* what() const noexcept override { return m_szText.data(); }

  private:
    std::array<char, 128> m_szText = {};
};

// A job could not be started. Handled by the guarded starts in CMainDlg.
class CCDWriterError : public CCDWriterException {
  public:
    using CCDWriterException::CCDWriterException;
};

} // namespace larkspin
