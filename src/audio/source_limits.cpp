// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/source_limits.h"

#include "audio/probe.h"
#include "platform/paths.h"
#include "platform/text.h"

#include <algorithm>
#include <limits>

namespace larkspin {

namespace {

constexpr int64_t kMaxLength = std::numeric_limits<int32_t>::max();
constexpr size_t kMaxText = 127; // as kept by CReaderException
constexpr int64_t kMaxTrial = 1 << 20;
constexpr std::string_view kTooLong = "it is longer than 2 GiB of sound.";

std::string Shortened(std::string name, size_t bytes) {
    if (name.size() > bytes) {
        constexpr std::string_view kDots = "...";
        size_t keep = bytes - kDots.size();
        while (keep > 0 && (static_cast<uint8_t>(name[keep]) & 0xC0) == 0x80) {
            --keep;
        }
        name.replace(keep, std::string::npos, kDots);
    }
    return name;
}

} // namespace

std::string TextWithName(std::string_view before, const std::u16string& name,
                         std::string_view after) {
    std::string text(before);
    text += Shortened(ToNative(LeafName(name)), kMaxText - before.size() - after.size());
    text += after;
    return text;
}

int32_t CheckedLength(uint64_t bytes) {
    if (bytes > uint64_t{kMaxLength}) {
        throw CReaderException(std::string(kTooLong));
    }
    return static_cast<int32_t>(bytes);
}

uint64_t TrialBytes(const CReader& source) {
    const int64_t second = int64_t{source.m_nSampleRate} * source.m_nChannels * source.m_nBits / 8;
    return static_cast<uint64_t>(
        std::clamp<int64_t>(std::min<int64_t>(second, source.m_nLength), 0, kMaxTrial));
}

void CheckTrial(uint64_t decoded, uint64_t trial) {
    if (decoded < trial / 4) {
        throw CReaderException("its sound cannot be decoded.");
    }
}

void CheckSource(const CReader& source) {
    if (source.m_nChannels > kMaxSourceChannels) {
        throw CReaderException(Format("it has %d channels, an audio CD takes at most %d.",
                                      source.m_nChannels, kMaxSourceChannels));
    }
    if (source.m_nChannels < 1) {
        throw CReaderException("it has no channels.");
    }
    if (source.m_nSampleRate < kMinSourceRate || source.m_nSampleRate > kMaxSourceRate) {
        throw CReaderException(Format("its rate of %d Hz is not between %d and %d Hz.",
                                      source.m_nSampleRate, kMinSourceRate, kMaxSourceRate));
    }
    if (source.m_nLength <= 0) {
        throw CReaderException("it holds no sound, or does not say how much.");
    }
    // Both the widened and the finished length must fit into a field.
    const int64_t widened = int64_t{source.m_nLength} * (source.m_nBits >= 16 ? 1 : 2);
    const AudioProbe probe = {.bytes = static_cast<uint64_t>(source.m_nLength),
                              .bits = source.m_nBits,
                              .rate = source.m_nSampleRate,
                              .channels = source.m_nChannels};
    if (widened > kMaxLength || NormalisedLength(probe) > kMaxLength) {
        throw CReaderException(std::string(kTooLong));
    }
}

} // namespace larkspin
