// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/text.h"

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace larkspin {

namespace {

constexpr char16_t kByteSurrogateBase = 0xDC00; // a stray byte b (0x80..0xFF) becomes base + b

bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Length of the well-formed UTF-8 sequence at the head of `text` (Unicode 15, table 3-7), with
// its code point; 0 if there is none.
size_t DecodeOne(std::string_view text, char32_t* codePoint) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t lead = byte(0);
    if (lead < 0x80) {
        *codePoint = lead;
        return 1;
    }
    size_t length = 0;
    uint8_t low = 0x80;
    uint8_t high = 0xBF;
    char32_t value = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        value = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        value = lead & 0x0F;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        value = lead & 0x07;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return 0;
    }
    if (text.size() < length) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        const uint8_t next = byte(i);
        if (next < (i == 1 ? low : 0x80) || next > (i == 1 ? high : 0xBF)) {
            return 0;
        }
        value = (value << 6) | (next & 0x3F);
    }
    *codePoint = value;
    return length;
}

void AppendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

std::string FormatList(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

char16_t LowerAscii(char16_t unit) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
}

} // namespace

std::u16string ToWide(std::string_view native) {
    std::u16string wide;
    wide.reserve(native.size());
    while (!native.empty()) {
        char32_t c = 0;
        size_t length = DecodeOne(native, &c);
        if (length == 0) {
            wide +=
                static_cast<char16_t>(kByteSurrogateBase + static_cast<uint8_t>(native.front()));
            length = 1;
        } else if (c >= 0x10000) {
            wide += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            wide += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            wide += static_cast<char16_t>(c);
        }
        native.remove_prefix(length);
    }
    return wide;
}

std::string ToNative(std::u16string_view wide) {
    std::string native;
    native.reserve(wide.size());
    for (size_t i = 0; i < wide.size(); ++i) {
        const char16_t unit = wide[i];
        if (IsHighSurrogate(unit) && i + 1 < wide.size() && IsLowSurrogate(wide[i + 1])) {
            AppendUtf8(native,
                       0x10000 + ((char32_t{unit} - 0xD800) << 10) + (wide[i + 1] - 0xDC00));
            ++i;
        } else if (unit >= kByteSurrogateBase + 0x80 && unit <= kByteSurrogateBase + 0xFF) {
            native += static_cast<char>(unit - kByteSurrogateBase);
        } else {
            AppendUtf8(native, unit);
        }
    }
    return native;
}

std::string Format(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = FormatList(format, arguments);
    va_end(arguments);
    return text;
}

std::u16string FormatWide(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::u16string text = ToWide(FormatList(format, arguments));
    va_end(arguments);
    return text;
}

bool EndsWithNoCase(std::u16string_view text, std::u16string_view suffix) {
    if (text.size() < suffix.size()) {
        return false;
    }
    text.remove_prefix(text.size() - suffix.size());
    for (size_t i = 0; i < suffix.size(); ++i) {
        if (LowerAscii(text[i]) != LowerAscii(suffix[i])) {
            return false;
        }
    }
    return true;
}

std::u16string FormatSize(long long bytes) {
    if (bytes < 1024) {
        return FormatWide("%lld %s", bytes, "bytes");
    }
    static constexpr std::array<const char*, 5> kUnits = {"kb", "Mb", "Gb", "Tb", "Pb"};
    size_t unit = 0;
    long long scale = 1024;
    while (unit + 1 < kUnits.size() && bytes / scale >= 1024) {
        scale *= 1024;
        ++unit;
    }
    return FormatWide("%.02f %s", static_cast<double>(bytes) / static_cast<double>(scale),
                      kUnits[unit]);
}

} // namespace larkspin
