// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// TRANS.TBL: a file that gives the entries of its directory long names, for volumes that have no
// better way to do it.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>

namespace larkspin {

// The table is called this, with or without a dot or version behind.
inline constexpr std::string_view kTranslationTableName = "TRANS.TBL";

// Long names by ISO name. A line is a type letter, a blank, the ISO name, blanks, a TAB and the
// long name, and ends in a newline or a zero byte; lines of another form are passed over.
std::map<std::string, std::string, std::less<>>
ParseTranslationTable(std::span<const uint8_t> table);

} // namespace larkspin
