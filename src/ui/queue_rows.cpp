// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/queue_rows.h"

#include <algorithm>
#include <iterator>
#include <locale.h>
#include <numeric>
#include <utility>
#include <wctype.h>

namespace larkspin {

namespace {

// Case rules of Unicode, whatever the user's locale is.
locale_t UnicodeLocale() {
    static const locale_t locale = [] {
        const locale_t unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return unicode != nullptr ? unicode : ::newlocale(LC_CTYPE_MASK, "C", nullptr);
    }();
    return locale;
}

std::u16string SortKey(std::u16string path) {
    for (char16_t& unit : path) {
        unit = static_cast<char16_t>(::towlower_l(unit, UnicodeLocale()));
    }
    return path;
}

} // namespace

std::vector<QueueRow> MakeRows(std::vector<std::u16string> paths, QueueOrder order) {
    std::vector<std::u16string> keys;
    std::vector<size_t> places(paths.size());
    std::iota(places.begin(), places.end(), size_t{0});
    if (order == QueueOrder::ByName) {
        keys.reserve(paths.size());
        std::transform(paths.begin(), paths.end(), std::back_inserter(keys), SortKey);
        std::sort(places.begin(), places.end(), [&](size_t a, size_t b) {
            const int difference = keys[a].compare(keys[b]);
            return difference != 0 ? difference < 0 : paths[a] < paths[b];
        });
    }
    std::vector<QueueRow> rows;
    rows.reserve(paths.size());
    for (const size_t place : places) {
        rows.push_back({std::move(paths[place]), place + 1});
    }
    return rows;
}

} // namespace larkspin
