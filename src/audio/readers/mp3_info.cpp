// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/mp3_info.h"

#include "platform/byte_order.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

namespace larkspin {

namespace {

constexpr size_t kHeaderBytes = 4;
// Sizes of the fields that the frame's flags announce, from bit 0 on: frames, bytes, a table of
// contents, quality.
constexpr std::array<size_t, 4> kFieldBytes = {4, 4, 100, 4};
constexpr uint32_t kHasFrames = 1;
// In LAME's extension.
constexpr size_t kDelayAt = 21; // two numbers of 12 bits
constexpr size_t kExtensionBytes = 24;
// Encoders that are known to use these numbers correctly.
constexpr std::array<std::string_view, 4> kEncoders = {"LAME", "L3.9", "Lavf", "Lavc"};

size_t SideInfoBytes(const mad_header& header) {
    const bool mono = header.mode == MAD_MODE_SINGLE_CHANNEL;
    if ((header.flags & MAD_FLAG_LSF_EXT) != 0) {
        return mono ? 9 : 17;
    }
    return mono ? 17 : 32;
}

bool StartsWith(std::span<const uint8_t> bytes, std::string_view id) {
    return bytes.size() >= id.size() && std::equal(id.begin(), id.end(), bytes.begin());
}

} // namespace

std::optional<Mp3Info> ReadMp3Info(const mad_header& header, const CMpegStream& stream) {
    std::span<const uint8_t> rest = stream.Frame();
    // False if the frame has fewer bytes left.
    const auto step = [&rest](size_t bytes) {
        const bool there = bytes <= rest.size();
        rest = rest.subspan(there ? bytes : rest.size());
        return there;
    };
    if (header.layer != MAD_LAYER_III || !step(kHeaderBytes + SideInfoBytes(header)) ||
        (!StartsWith(rest, "Xing") && !StartsWith(rest, "Info")) || !step(4) || rest.size() < 4) {
        return std::nullopt;
    }
    const uint32_t flags = LoadBe32(rest.data());
    step(4);
    Mp3Info info;
    for (size_t i = 0; i < kFieldBytes.size(); ++i) {
        const uint32_t flag = 1U << i;
        if ((flags & flag) != 0) {
            if (flag == kHasFrames && rest.size() >= 4) {
                info.frames = LoadBe32(rest.data());
            }
            step(kFieldBytes[i]);
        }
    }
    const bool known = std::ranges::any_of(
        kEncoders, [rest](std::string_view encoder) { return StartsWith(rest, encoder); });
    if (!known || rest.size() < kExtensionBytes) {
        return std::nullopt;
    }
    const uint8_t* numbers = &rest[kDelayAt];
    info.delay = uint32_t{numbers[0]} << 4 | numbers[1] >> 4;
    info.padding = (numbers[1] & 0x0FU) << 8 | numbers[2];
    return info;
}

} // namespace larkspin
