// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Thrown at start-up if a window can't be created; its text is shown in a box and the program ends.
#pragma once

#include <algorithm>
#include <array>
#include <exception>
#include <string_view>

namespace larkspin {

class CCDWriterUIException : public std::exception {
  public:
    // Keeps at most 127 bytes of `text`.
    explicit CCDWriterUIException(std::string_view text = "Window creation failed.") {
        text = text.substr(0, m_szText.size() - 1);
        std::copy(text.begin(), text.end(), m_szText.begin());
    }
    const char* what() const noexcept override { return m_szText.data(); }

  private:
    std::array<char, 128> m_szText = {};
};

} // namespace larkspin
