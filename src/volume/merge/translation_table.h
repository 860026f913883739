// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// TRANS.TBL: a file with long names for the entries of its directory, for volumes that have no
// better way to store them.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>

namespace larkspin {

// The table's name, which may be followed by a dot or a version.
inline constexpr std::string_view kTranslationTableName = "TRANS.TBL";

// Long names by ISO name. A line is a type letter, a blank, the ISO name, blanks, a TAB and the
// long name, and ends with a newline or a zero byte; lines in any other form are skipped.
std::map<std::string, std::string, std::less<>>
ParseTranslationTable(std::span<const uint8_t> table);

} // namespace larkspin
