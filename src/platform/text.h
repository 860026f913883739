// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Wide text and its 8-bit form.
//
// Wide text is UTF-16 on every platform. Native names are bytes, and usually UTF-8. Every byte that
// is not part of a valid UTF-8 sequence becomes a lone surrogate U+DC80..U+DCFF that represents it,
// and is converted back to the same byte. So ToNative(ToWide(b)) == b for every byte string, and
// every existing file can be named.
//
// The program's "8-bit text" is this native form, too. All functions are stateless and may be
// called on any thread; they throw nothing but std::bad_alloc.
#pragma once

#include <string>
#include <string_view>

namespace larkspin {

std::u16string ToWide(std::string_view native);
std::string ToNative(std::u16string_view wide);

// Native text from a printf format. Arguments for %s are native (8-bit) texts.
[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);

// The same, widened.
[[gnu::format(printf, 1, 2)]] std::u16string FormatWide(const char* format, ...);

// True if `text` ends in `suffix`, ignoring the case of the letters A to Z.
bool EndsWithNoCase(std::u16string_view text, std::u16string_view suffix);

// A size in bytes as text for the user: "812 bytes", "1.50 kb", up to "Pb"; the factor is 1024.
std::u16string FormatSize(long long bytes);

} // namespace larkspin
