// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/tags.h"

#include "audio/readers/read_whole.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace larkspin {

namespace {

constexpr size_t kId3v1Bytes = 128;
constexpr size_t kId3v2HeaderBytes = 10; // the footer has as many
constexpr uint8_t kId3v2HasFooter = 0x10;
constexpr size_t kApeHeaderBytes = 32; // the footer has as many
constexpr uint32_t kApeHasHeader = 1U << 31;
constexpr uint32_t kApeIsHeader = 1U << 29;
constexpr int kMaxTagsBehind = 64;

bool StartsWith(std::span<const uint8_t> bytes, std::string_view id) {
    return bytes.size() >= id.size() && std::equal(id.begin(), id.end(), bytes.begin());
}

// Bytes of the contents according to an ID3v2 header or footer, in groups of seven bits. False if
// the bytes are neither: the top bits of a size are never set, and no version is 0xFF.
bool Id3v2Contents(std::span<const uint8_t> bytes, std::string_view id, uint64_t* contents) {
    if (bytes.size() < kId3v2HeaderBytes || !StartsWith(bytes, id) || bytes[3] == 0xFF ||
        bytes[4] == 0xFF) {
        return false;
    }
    *contents = 0;
    for (size_t i = 6; i < kId3v2HeaderBytes; ++i) {
        if (bytes[i] > 0x7F) {
            return false;
        }
        *contents = *contents << 7 | bytes[i];
    }
    return true;
}

struct ApeTag {
    uint64_t size = 0; // of the items and the footer
    uint32_t flags = 0;
};

bool ReadApeTag(std::span<const uint8_t> bytes, ApeTag* tag) {
    if (bytes.size() < kApeHeaderBytes || !StartsWith(bytes, "APETAGEX")) {
        return false;
    }
    *tag = {.size = LoadLe32(&bytes[12]), .flags = LoadLe32(&bytes[20])};
    return tag->size >= kApeHeaderBytes;
}

// Bytes of the tag that ends with `tail`, the last bytes before other tags; 0 if there is none.
uint64_t TagBytesBehind(std::span<const uint8_t> tail) {
    if (tail.size() >= kId3v1Bytes && StartsWith(tail.last(kId3v1Bytes), "TAG")) {
        return kId3v1Bytes;
    }
    ApeTag ape;
    if (tail.size() >= kApeHeaderBytes && ReadApeTag(tail.last(kApeHeaderBytes), &ape) &&
        (ape.flags & kApeIsHeader) == 0) {
        return ape.size + ((ape.flags & kApeHasHeader) != 0 ? kApeHeaderBytes : 0);
    }
    uint64_t contents = 0;
    if (tail.size() >= kId3v2HeaderBytes &&
        Id3v2Contents(tail.last(kId3v2HeaderBytes), "3DI", &contents)) {
        return contents + 2 * kId3v2HeaderBytes;
    }
    return 0;
}

} // namespace

uint64_t TagBytes(std::span<const uint8_t> head) {
    uint64_t contents = 0;
    if (Id3v2Contents(head, "ID3", &contents)) {
        const bool hasFooter = (head[5] & kId3v2HasFooter) != 0;
        return contents + (hasFooter ? 2 : 1) * kId3v2HeaderBytes;
    }
    ApeTag ape;
    if (ReadApeTag(head, &ape) && (ape.flags & kApeIsHeader) != 0) {
        return ape.size + kApeHeaderBytes;
    }
    return 0;
}

uint64_t OffsetOfTagsBehind(ISequentialFile& file) {
    auto end = static_cast<uint64_t>(std::max<int64_t>(file.Size(), 0));
    for (int i = 0; i < kMaxTagsBehind; ++i) {
        std::array<uint8_t, kId3v1Bytes> tail;
        const size_t bytes = std::min<uint64_t>(tail.size(), end);
        if (!file.Seek(end - bytes) || ReadWhole(file, tail.data(), bytes) != bytes) {
            break;
        }
        const uint64_t tag = TagBytesBehind(std::span(tail).first(bytes));
        if (tag == 0 || tag > end) {
            break;
        }
        end -= tag;
    }
    return end;
}

} // namespace larkspin
