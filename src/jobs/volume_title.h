// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The two titles of a data disc.
#pragma once

#include <cstdint>
#include <string>

namespace larkspin {

struct VolumeTitle {
    std::string narrow;  // digits, capitals and '_' only; for the primary volume descriptor
    std::u16string wide; // at most 127 units; for Joliet
};

// `title` is the dialog's, `moment` the current time. A title that is still the date in the user's
// locale, or that has no letter, gets a different narrow name: the date as "05_JUL_2008", in
// English.
VolumeTitle MakeVolumeTitle(const std::u16string& title, int64_t moment);

} // namespace larkspin
