// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Limits of every recordable CD, in blocks (Orange Book, MMC).
#pragma once

#include <cstdint>

namespace larkspin {

constexpr uint32_t kAudioBlockBytes = 2352;
constexpr int32_t kFirstSessionGap = 11'400;
constexpr int32_t kNextSessionGap = 6'900;
constexpr uint32_t kMinTrackBlocks = 300;
constexpr uint32_t kRunOutBlocks = 2;
constexpr uint32_t kMaxTracks = 99;

} // namespace larkspin
