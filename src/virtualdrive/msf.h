// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Red Book addresses: minute, second, frame of 1/75 second. Block address 0 is 00:02:00; the
// lead-in of the first session is below block -150, with addresses that continue up to 99:59:74
// (MMC, "CD address form").
#pragma once

#include <cstdint>

namespace larkspin {

constexpr int32_t kFramesPerSecond = 75;
constexpr int32_t kPregapFrames = 150;

struct Msf {
    uint8_t minute = 0;
    uint8_t second = 0;
    uint8_t frame = 0;
};

constexpr Msf MsfOfFrames(int32_t frames) {
    return {static_cast<uint8_t>(frames / (60 * kFramesPerSecond)),
            static_cast<uint8_t>(frames / kFramesPerSecond % 60),
            static_cast<uint8_t>(frames % kFramesPerSecond)};
}

constexpr Msf MsfOfBlock(int32_t block) {
    constexpr int32_t kWholeCircle = 100 * 60 * kFramesPerSecond;
    const int32_t frames = block + kPregapFrames;
    return MsfOfFrames(frames < 0 ? frames + kWholeCircle : frames);
}

constexpr int32_t FramesOfMsf(uint8_t minute, uint8_t second, uint8_t frame) {
    return (minute * 60 + second) * kFramesPerSecond + frame;
}

// 00h, minute, second, frame as one big-endian number.
constexpr uint32_t MsfNumber(int32_t block) {
    const Msf msf = MsfOfBlock(block);
    return static_cast<uint32_t>(msf.minute) << 16 | static_cast<uint32_t>(msf.second) << 8 |
           msf.frame;
}

} // namespace larkspin
