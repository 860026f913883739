// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The order in which people expect names.
#pragma once

#include <string_view>

namespace larkspin {

// Whether `left` comes before `right` in a list for people: numbers by their value, so that "2"
// comes before "10", and the letters A to Z regardless of case. Different texts are never equal.
bool ReadsBefore(std::u16string_view left, std::u16string_view right);

} // namespace larkspin
