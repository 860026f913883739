// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The speed combo of the parameter dialogs. Speeds are multiples of the medium's base speed.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace larkspin {

inline constexpr double kNoSpeedWish = -1.0;

// "Max" first, then one text for each speed: "52x", "2.4x".
std::vector<std::u16string> SpeedTexts(const std::vector<double>& speeds);

// The speed behind row `selected` of that list. "Max" is the first speed that the drive reports,
// or kNoSpeedWish if it reports none; so is a row past the end.
double ReadSpeedChoice(const std::vector<double>& speeds, size_t selected);

} // namespace larkspin
