// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The capacities that are shown to the user, and what larger sizes need.
#pragma once

#include <cstdint>
#include <string>

namespace larkspin {

constexpr uint64_t kCdDataBytes = 737'280'000;           // 360,000 sectors, "700 Mb"
constexpr uint64_t kDvdBytes = 4'689'920'000;            // single layer, "4.7 Gb"
constexpr uint64_t kDvdDoubleLayerBytes = 8'519'680'000; // "8.5 Gb"
constexpr uint32_t kCdAudioBytes = 846'720'000;          // PCM, "80 minutes"
constexpr uint32_t kPcmBytesPerSecond = 176'400;

// The suffix of a head line that says what disc `bytes` bytes need; empty when a CD will do.
// `aboveDoubleLayer` is the suffix for more than a double layer DVD holds.
std::u16string DiscSuffix(uint64_t bytes, const std::u16string& aboveDoubleLayer);

} // namespace larkspin
