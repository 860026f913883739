// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/natural_order.h"

#include <algorithm>

namespace larkspin {

namespace {

bool IsDigit(char16_t unit) {
    return unit >= u'0' && unit <= u'9';
}

char16_t Lower(char16_t unit) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit - u'A' + u'a') : unit;
}

// Removes the number at the front and returns it without its leading zeros.
std::u16string_view TakeNumber(std::u16string_view* text) {
    const auto digits =
        static_cast<size_t>(std::ranges::find_if_not(*text, IsDigit) - text->begin());
    std::u16string_view number = text->substr(0, digits);
    text->remove_prefix(digits);
    number.remove_prefix(std::min(number.find_first_not_of(u'0'), number.size()));
    return number;
}

} // namespace

bool ReadsBefore(std::u16string_view left, std::u16string_view right) {
    std::u16string_view a = left;
    std::u16string_view b = right;
    while (!a.empty() && !b.empty()) {
        if (IsDigit(a.front()) && IsDigit(b.front())) {
            const std::u16string_view first = TakeNumber(&a);
            const std::u16string_view second = TakeNumber(&b);
            if (first != second) {
                return first.size() != second.size() ? first.size() < second.size()
                                                     : first < second;
            }
        } else if (Lower(a.front()) != Lower(b.front())) {
            return Lower(a.front()) < Lower(b.front());
        } else {
            a.remove_prefix(1);
            b.remove_prefix(1);
        }
    }
    return a.empty() == b.empty() ? left < right : a.empty();
}

} // namespace larkspin
