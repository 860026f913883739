// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Common to the scripts for the virtual drive: one rule per line, "#" begins a comment.
#pragma once

#include "platform/text.h"

#include <charconv>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

namespace larkspin {

constexpr int kDecimal = 10;
constexpr int kHex = 16;

// Removes a number from the front of `text`, and `delimiter` after it unless that is 0. False if
// there is anything else, or if the number exceeds `most`.
template <class Number>
bool TakeNumber(std::string_view& text, int base, uint64_t most, char delimiter, Number* number) {
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || value > most) {
        return false;
    }
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    *number = static_cast<Number>(value);
    if (delimiter == 0) {
        return true;
    }
    if (!text.starts_with(delimiter)) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

// Passes each rule to `parse`: its first word, which `parse` replaces by the word that is invalid,
// if any, and a stream of the others. When `parse` returns false, so does this, with the reason in
// `problem`.
template <class Parse>
bool ParseRules(std::string_view text, std::string* problem, Parse parse) {
    std::istringstream lines{std::string(text)};
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        std::istringstream words(line.substr(0, line.find('#')));
        std::string word;
        if ((words >> word) && !parse(word, words)) {
            *problem = Format("line %d: not understood at \"%s\"", number, word.c_str());
            return false;
        }
    }
    return true;
}

} // namespace larkspin
