// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/merge/translation_table.h"

namespace larkspin {

std::map<std::string, std::string, std::less<>>
ParseTranslationTable(std::span<const uint8_t> table) {
    constexpr size_t kAtIsoName = 2;
    std::map<std::string, std::string, std::less<>> names;
    std::string_view rest(reinterpret_cast<const char*>(table.data()), table.size());
    while (!rest.empty()) {
        const size_t end = rest.find_first_of(std::string_view("\n\0", 2));
        const std::string_view line = rest.substr(0, end);
        rest = end != std::string_view::npos ? rest.substr(end + 1) : std::string_view();
        const size_t isoEnd = line.find(' ', kAtIsoName);
        const size_t tab = line.find('\t', kAtIsoName);
        if (line.size() > kAtIsoName && line[1] == ' ' && isoEnd < tab &&
            tab != std::string_view::npos) {
            names.emplace(line.substr(kAtIsoName, isoEnd - kAtIsoName), line.substr(tab + 1));
        }
    }
    return names;
}

} // namespace larkspin
