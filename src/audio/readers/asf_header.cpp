// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/asf_header.h"

#include "audio/readers/read_whole.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

using Guid = std::array<uint8_t, 16>; // as stored in the file

constexpr Guid kHeader = {0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11,
                          0xA6, 0xD9, 0x00, 0xAA, 0x00, 0x62, 0xCE, 0x6C};
constexpr Guid kFileProperties = {0xA1, 0xDC, 0xAB, 0x8C, 0x47, 0xA9, 0xCF, 0x11,
                                  0x8E, 0xE4, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65};
constexpr Guid kHeaderExtension = {0xB5, 0x03, 0xBF, 0x5F, 0x2E, 0xA9, 0xCF, 0x11,
                                   0x8E, 0xE3, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65};
constexpr Guid kContentEncryption = {0xFB, 0xB3, 0x11, 0x22, 0x23, 0xBD, 0xD2, 0x11,
                                     0xB4, 0xB7, 0x00, 0xA0, 0xC9, 0x55, 0xFC, 0x6E};
constexpr Guid kExtendedContentEncryption = {0x14, 0xE6, 0x8A, 0x29, 0x22, 0x26, 0x17, 0x4C,
                                             0xB9, 0x35, 0xDA, 0xE0, 0x7E, 0xE9, 0x28, 0x9C};
constexpr Guid kAdvancedContentEncryption = {0x33, 0x85, 0x05, 0x43, 0x81, 0x69, 0xE6, 0x49,
                                             0x9B, 0x74, 0xAD, 0x12, 0xCB, 0x86, 0xD5, 0x8C};

constexpr uint64_t kObjectPrefix = 24;          // GUID and 64-bit size
constexpr uint64_t kHeaderPrefix = 30;          // and a count of objects, two reserved bytes
constexpr uint64_t kHeaderExtensionPrefix = 46; // and a GUID, two reserved bytes, a data size
// Offsets in the File Properties Object (3.2), and how much of it is read.
constexpr size_t kPlayDurationAt = 64;
constexpr size_t kPrerollAt = 80;
constexpr size_t kFlagsAt = 88;
constexpr size_t kFilePropertiesBytes = 92;
constexpr uint32_t kBroadcastFlag = 1;    // the durations are not valid
constexpr uint64_t kPrerollUnits = 10000; // preroll is in milliseconds

struct Object {
    Guid id = {};
    uint64_t start = 0;
    uint64_t end = 0;
};

uint64_t LoadLe64(const uint8_t* bytes) {
    return uint64_t{LoadLe32(bytes + 4)} << 32 | LoadLe32(bytes);
}

template <size_t size>
bool ReadAt(ISequentialFile& file, uint64_t offset, std::array<uint8_t, size>* bytes) {
    return file.Seek(offset) && ReadWhole(file, bytes->data(), size) == size;
}

std::optional<Object> ReadObject(ISequentialFile& file, uint64_t offset, uint64_t limit) {
    std::array<uint8_t, kObjectPrefix> prefix = {};
    if (limit - offset < kObjectPrefix || !ReadAt(file, offset, &prefix)) {
        return std::nullopt;
    }
    Object object = {.start = offset};
    std::copy_n(prefix.begin(), object.id.size(), object.id.begin());
    const uint64_t size = LoadLe64(prefix.data() + object.id.size());
    if (size < kObjectPrefix || size > limit - offset) {
        return std::nullopt;
    }
    object.end = offset + size;
    return object;
}

std::optional<uint64_t> ReadDuration(ISequentialFile& file, const Object& object) {
    std::array<uint8_t, kFilePropertiesBytes> bytes = {};
    if (object.end - object.start < bytes.size() || !ReadAt(file, object.start, &bytes) ||
        (LoadLe32(bytes.data() + kFlagsAt) & kBroadcastFlag) != 0) {
        return std::nullopt;
    }
    const uint64_t duration = LoadLe64(bytes.data() + kPlayDurationAt);
    const uint64_t preroll = LoadLe64(bytes.data() + kPrerollAt);
    if (preroll >= duration / kPrerollUnits) {
        return std::nullopt;
    }
    return duration - preroll * kPrerollUnits;
}

} // namespace

std::optional<AsfHeader> ReadAsfHeader(ISequentialFile& file) {
    const auto size = static_cast<uint64_t>(std::max<int64_t>(file.Size(), 0));
    const std::optional<Object> root = ReadObject(file, 0, size);
    if (!root || root->id != kHeader) {
        return std::nullopt;
    }
    AsfHeader header;
    uint64_t offset = kHeaderPrefix;
    for (int seen = 0; seen < kMaxAsfObjects && offset <= root->end; ++seen) {
        const std::optional<Object> object = ReadObject(file, offset, root->end);
        if (!object) {
            break;
        }
        if (object->id == kContentEncryption || object->id == kExtendedContentEncryption ||
            object->id == kAdvancedContentEncryption) {
            header.isProtected = true;
        } else if (object->id == kFileProperties && !header.duration) {
            header.duration = ReadDuration(file, *object);
        }
        // The objects inside the extension follow one another like those of the header itself.
        offset = object->id == kHeaderExtension ? offset + kHeaderExtensionPrefix : object->end;
    }
    return header;
}

} // namespace larkspin
