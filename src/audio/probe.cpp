// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/probe.h"

#include <algorithm>
#include <limits>

namespace larkspin {

uint32_t NormalisedLength(const AudioProbe& probe) {
    constexpr uint64_t kLargest = std::numeric_limits<uint32_t>::max() / kCdBlockBytes;
    if (probe.rate <= 0) {
        return 0;
    }
    // Limited early, so that no later step can overflow.
    uint64_t bytes = std::min<uint64_t>(probe.bytes, uint64_t{1} << 40);
    if (probe.bits > 16) {
        bytes = bytes / static_cast<uint64_t>(probe.bits / 8) * 2;
    } else if (probe.bits != 16) {
        bytes *= 2;
    }
    if (probe.rate != static_cast<int>(kCdSampleRate)) {
        const double ratio = static_cast<uint32_t>(probe.rate) / static_cast<double>(kCdSampleRate);
        bytes = static_cast<uint64_t>(static_cast<double>(bytes) / ratio);
    }
    if (probe.channels != 2) {
        bytes *= 2;
    }
    const uint64_t blocks = (bytes + kCdBlockBytes - 1) / kCdBlockBytes;
    return static_cast<uint32_t>(std::min(blocks, kLargest) * kCdBlockBytes);
}

} // namespace larkspin
