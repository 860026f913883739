// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/names.h"

#include <algorithm>
#include <charconv>

namespace larkspin {

namespace {

constexpr uint32_t kNamePart = 8;
constexpr uint32_t kExtensionPart = 3;
constexpr size_t kClashRoot = 5; // bytes of the root kept before the digits
constexpr size_t kClashDigits = 3;
constexpr std::string_view kVersion = ";1";

// Index of the dot that begins the extension; npos if there is none. If a dot is followed by
// nothing or only by a backup mark, the previous one counts.
size_t ExtensionDot(std::string_view name) {
    const size_t last = name.rfind('.');
    if (last == std::string_view::npos || last == 0) {
        return last;
    }
    if (last + 1 == name.size() || name[last + 1] == '~') {
        const size_t before = name.rfind('.', last - 1);
        return before != std::string_view::npos ? before : last;
    }
    return last;
}

char MapByte(char c, const GenOptions& options) {
    if (c >= 'a' && c <= 'z') {
        return options.keep_lowercase ? c : static_cast<char>(c - 'a' + 'A');
    }
    if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == 0x7F) {
        return c;
    }
    if (c == '#' || c == '-' || c == '~') {
        return options.mangle_specials ? '_' : c;
    }
    return '_';
}

bool IsVersion(std::string_view digits) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return digits.size() <= 5 && error == std::errc() && end == digits.data() + digits.size() &&
           value >= 1 && value <= 32767;
}

} // namespace

std::string MakeIsoName(std::string_view native, bool isDirectory, const GenOptions& options) {
    if (native == ".") {
        return std::string(1, '\0');
    }
    if (native == "..") {
        return std::string(1, '\1');
    }
    const size_t extensionDot = ExtensionDot(native);
    const uint32_t limit = options.iso_name_limit;
    std::string name;
    bool inExtension = false;
    uint32_t inName = 0;
    uint32_t inExtensionPart = 0;
    uint32_t total = 0;
    for (size_t i = 0; i < native.size() && total < limit; ++i) {
        const char c = native[i];
        if (i == extensionDot) {
            name += '.';
            inExtension = true;
            ++total;
        } else if (c == '.') {
            if (inName < kNamePart) {
                name += options.keep_inner_dots ? '.' : '_';
                ++inName;
            }
            ++total;
        } else {
            uint32_t& taken = inExtension ? inExtensionPart : inName;
            if (taken < (inExtension ? kExtensionPart : kNamePart)) {
                name += MapByte(c, options);
                ++taken;
                ++total;
            }
        }
    }
    if (!isDirectory) {
        if (!inExtension && !options.no_trailing_dot) {
            if (!name.empty() && inName + 1 >= limit) {
                name.pop_back();
            }
            name += '.';
        }
        if (!options.no_name_version) {
            name += kVersion;
        }
    }
    return name;
}

std::string_view UniquePart(std::string_view isoName) {
    const size_t semicolon = isoName.find(';');
    if (semicolon == std::string_view::npos || !IsVersion(isoName.substr(semicolon + 1))) {
        return isoName;
    }
    return isoName.substr(0, semicolon);
}

bool IsoNameLess(std::string_view a, std::string_view b) {
    const auto dotsRank = [](std::string_view name) {
        return name.size() == 1 && static_cast<uint8_t>(name[0]) <= 1 ? name[0] : 2;
    };
    if (dotsRank(a) != 2 || dotsRank(b) != 2) {
        return dotsRank(a) < dotsRank(b);
    }
    const size_t common = std::min(a.size(), b.size());
    for (size_t i = 0; i < common; ++i) {
        if (a[i] == ';' && b[i] == ';') {
            return false;
        }
        for (const char low : {';', '.'}) {
            if ((a[i] == low) != (b[i] == low)) {
                return a[i] == low;
            }
        }
        if (a[i] != b[i]) {
            return static_cast<uint8_t>(a[i]) < static_cast<uint8_t>(b[i]);
        }
    }
    return a.size() < b.size();
}

ClashName::ClashName(std::string_view isoName, bool isDirectory, const GenOptions& options) {
    size_t dot = isoName.find('.');
    if (dot == 0 && isoName.find('.', 1) != std::string_view::npos) {
        dot = isoName.rfind('.');
    }
    std::string_view root = isoName.substr(0, dot);
    std::string_view extension =
        dot != std::string_view::npos ? isoName.substr(dot) : std::string_view();
    root = root.substr(0, root.find(';'));
    extension = extension.substr(0, extension.find(';'));

    const bool longNames = options.long_clash_names || options.interchange_level > 1;
    size_t rootBytes = kClashRoot;
    if (longNames) {
        const size_t room = options.iso_name_limit - kClashDigits;
        rootBytes = room > extension.size() ? room - extension.size() : 0;
    }
    m_strRoot = root.substr(0, rootBytes);
    m_strTail = extension;
    if (!isDirectory && !options.no_name_version) {
        m_strTail += kVersion;
    }
}

std::string ClashDigits(uint32_t number) {
    static constexpr std::string_view kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::string digits;
    for (const uint32_t place : {36U * 36U, 36U, 1U}) {
        digits += kDigits[number / place % 36];
    }
    return digits;
}

std::string ClashName::Candidate(uint32_t number) const {
    return m_strRoot + ClashDigits(number) + m_strTail;
}

} // namespace larkspin
