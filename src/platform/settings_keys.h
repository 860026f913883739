// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Where the program's values stand in the settings store.
#pragma once

namespace larkspin {

inline constexpr const char* kSettingsKey = "Software\\Quernstone Development\\cdwrite";
inline constexpr const char* kTitlesKey = "Software\\Quernstone Development\\cdwrite\\titles";
inline constexpr const char* kShowFileIconsValue = "ShowFileIcons";

} // namespace larkspin
