// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Wide text and its 8-bit form.
//
// Wide text is UTF-16 on every platform. Native names are bytes: UTF-8 where they are valid
// UTF-8; every byte that is not part of a valid sequence becomes the lone surrogate
// U+DC80..U+DCFF that holds it, and turns back into that same byte. So ToNative(ToWide(b)) == b
// for every byte string, and every file that exists can be named.
//
// The program's "8-bit text" is this native form too. All functions are free of state and may be
// called on any thread; they throw nothing but std::bad_alloc.
#pragma once

#include <string>
#include <string_view>

namespace larkspin {

std::u16string ToWide(std::string_view native);
std::string ToNative(std::u16string_view wide);

// Native text of printf form. Arguments of %s are native (8-bit) texts.
[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);

// The same, widened.
[[gnu::format(printf, 1, 2)]] std::u16string FormatWide(const char* format, ...);

// True if `text` ends in `suffix`, the letters A to Z compared without regard to case.
bool EndsWithNoCase(std::u16string_view text, std::u16string_view suffix);

// Size in bytes as text for the user: "812 bytes", "1.50 kb", up to "Pb"; the factor is 1024.
std::u16string FormatSize(long long bytes);

} // namespace larkspin
