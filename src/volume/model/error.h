// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Errors that end a run of the generator.
#pragma once

#include <array>
#include <exception>
#include <string>

namespace larkspin {

// A failure that ends the run. Keeps at most 127 UTF-16 units of the text.
class CCDWriterISOGenException : public std::exception {
  public:
    explicit CCDWriterISOGenException(const std::u16string& text);
    // The text in 8-bit form, cut to 127 bytes.
    const char* what() const noexcept override { return m_szNarrow.data(); }
    virtual const std::u16string& WideText() const { return m_strText; }

  private:
    std::u16string m_strText;
    std::array<char, 128> m_szNarrow = {};
};

// The session to be merged was cut off before its folders were on the disc. An earlier one may do
// instead, with this one in GenOptions::cut_sessions.
class CutSessionException : public CCDWriterISOGenException {
  public:
    CutSessionException() : CCDWriterISOGenException(u"Cannot merge previous session.") {}
};

} // namespace larkspin
