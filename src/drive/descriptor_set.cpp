// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/descriptor_set.h"

#include "drive/dvd_detail.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <vector>

namespace larkspin {

namespace {

using Descriptor = std::array<uint8_t, kLogicalBlockBytes>;

enum DescriptorType : uint8_t { kBootRecord = 0, kTerminator = 255 }; // ECMA-119 8.2 and 8.3

std::span<const uint8_t> BlockOf(std::span<const uint8_t> blocks, size_t index) {
    return blocks.subspan(index * kLogicalBlockBytes, kLogicalBlockBytes);
}

// Standard identifier of a volume structure descriptor (ECMA-119 8.1.2, ECMA-167 2/9.1).
std::string_view IdentifierOf(std::span<const uint8_t> block) {
    return {reinterpret_cast<const char*>(&block[1]), 5};
}

bool IsDescriptor(std::span<const uint8_t> block) {
    return IdentifierOf(block) == "CD001";
}

// The number of descriptors before the terminator.
size_t CountDescriptors(std::span<const uint8_t> blocks) {
    const size_t count = blocks.size() / kLogicalBlockBytes;
    size_t i = 0;
    while (i < count && IsDescriptor(BlockOf(blocks, i)) && BlockOf(blocks, i)[0] != kTerminator) {
        ++i;
    }
    return i;
}

// The same with its terminators.
size_t CountSet(std::span<const uint8_t> blocks) {
    const size_t count = blocks.size() / kLogicalBlockBytes;
    size_t end = CountDescriptors(blocks);
    while (end < count && IsDescriptor(BlockOf(blocks, end)) &&
           BlockOf(blocks, end)[0] == kTerminator) {
        ++end;
    }
    return end;
}

// A block of the extended area that follows a set (ECMA-167 2/8.3).
bool IsExtended(std::span<const uint8_t> block) {
    constexpr std::array<std::string_view, 5> kExtended = {"BEA01", "NSR02", "NSR03", "BOOT2",
                                                           "TEA01"};
    return block[0] == 0 && std::ranges::find(kExtended, IdentifierOf(block)) != kExtended.end();
}

// El Torito 2.0: a boot record holds the block of its catalog.
bool HasCatalogBefore(std::span<const uint8_t> bootRecord, uint32_t keptEnd) {
    constexpr std::string_view kElTorito = "EL TORITO SPECIFICATION";
    constexpr size_t kAtSystem = 7;
    constexpr size_t kAtCatalog = 0x47;
    return std::memcmp(&bootRecord[kAtSystem], kElTorito.data(), kElTorito.size()) == 0 &&
           LoadLe32(&bootRecord[kAtCatalog]) < keptEnd;
}

Descriptor Terminator() {
    Descriptor block = {kTerminator, 'C', 'D', '0', '0', '1', 1};
    return block;
}

} // namespace

bool MergeDescriptorSets(std::span<uint8_t> older, std::span<const uint8_t> newer,
                         uint32_t spaceSize, uint32_t keptEnd) {
    std::vector<Descriptor> set;
    const auto add = [&](std::span<const uint8_t> block) {
        std::ranges::copy(block, set.emplace_back().begin());
        if (block[0] != kBootRecord) {
            StoreBoth32(&set.back()[kVolumeSpaceSize], spaceSize);
        }
    };
    const size_t setBlocks = CountSet(older);
    size_t slots = setBlocks;
    while (slots < older.size() / kLogicalBlockBytes && IsExtended(BlockOf(older, slots))) {
        ++slots;
    }
    const size_t oldCount = CountDescriptors(older);
    const size_t newCount = CountDescriptors(newer);
    for (size_t i = 0; i < newCount; ++i) {
        add(BlockOf(newer, i));
        // El Torito requires its record to be the second one.
        for (size_t old = 1; i == 0 && old < oldCount; ++old) {
            if (BlockOf(older, old)[0] == kBootRecord &&
                HasCatalogBefore(BlockOf(older, old), keptEnd)) {
                add(BlockOf(older, old));
            }
        }
    }
    set.resize(std::min(set.size(), std::max<size_t>(slots, 2) - 1));
    set.resize(std::max<size_t>(slots, 1), Terminator());
    for (size_t i = 0; i < set.size(); ++i) {
        std::ranges::copy(set[i],
                          older.begin() + static_cast<std::ptrdiff_t>(i * kLogicalBlockBytes));
    }
    return slots > setBlocks;
}

} // namespace larkspin
