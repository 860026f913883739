// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the tests of the merge share: a disc of sectors that sessions are added to.
#pragma once

#include "volume_kit.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace larkspin {

class MemoryDisc final : public IBlockReader {
  public:
    explicit MemoryDisc(std::vector<uint8_t> image = {}) : bytes(std::move(image)) {}

    bool ReadBlocks(void* buffer, uint32_t count, uint32_t lba) override {
        EXPECT_FALSE(isWriting) << "a read after the size was told";
        EXPECT_TRUE(count >= 1 && count <= 16) << count;
        ++reads;
        sectorsRead += count;
        if (reads == failingRead || (uint64_t{lba} + count) * 2048 > bytes.size()) {
            return false;
        }
        std::copy_n(bytes.begin() + size_t{lba} * 2048, size_t{count} * 2048,
                    static_cast<uint8_t*>(buffer));
        return true;
    }

    uint32_t Sectors() const { return static_cast<uint32_t>(bytes.size() / 2048); }

    // Runs the generator over the last session; the disc stays as it is.
    VolumeResult Merge(SourceFiles files, const std::function<void(GenOptions&)>& setOptions = {}) {
        reads = sectorsRead = 0;
        VolumeResult result = RunGenerator(files, files.Items(),
                                           {.sessionBase = Sectors(),
                                            .setOptions = setOptions,
                                            .drive = this,
                                            .previousBase = lastSession,
                                            .onSizeReady = [this] { isWriting = true; }});
        isWriting = false;
        return result;
    }

    // Adds a session, the first or a further one.
    void Append(SourceFiles files) {
        const VolumeResult result =
            bytes.empty() ? MakeVolume(files, files.Items()) : Merge(std::move(files));
        EXPECT_EQ(result.error, u"");
        Add(result);
    }
    void Add(const VolumeResult& session) {
        lastSession = Sectors();
        bytes.insert(bytes.end(), session.image.begin(), session.image.end());
        // Sessions of a CD lie apart.
        bytes.resize(bytes.size() + size_t{2048} * 37, 0xEE);
    }

    IsoReader Reader() const { return IsoReader(bytes, 0, lastSession); }

    // The first place behind `from` that holds this text.
    uint8_t* Find(std::string_view text, uint8_t* from = nullptr) {
        uint8_t* const end = bytes.data() + bytes.size();
        uint8_t* const found =
            std::search(from != nullptr ? from : bytes.data(), end, text.begin(), text.end());
        IsoReader::Require(found != end, "no such text on the disc");
        return found;
    }
    // The ISO record of this raw name in the root of the last session.
    uint8_t* RootRecord(std::string_view name) {
        return Find(name, &bytes[size_t{Reader().Root().extent} * 2048]) - 33;
    }

    // The disc as one volume: the descriptors of the last session stand at sector 16, and cover
    // all.
    std::vector<uint8_t> Grown() const {
        std::vector<uint8_t> image = bytes;
        for (uint32_t i = 16; i < 32; ++i) {
            const auto from = bytes.begin() + (size_t{lastSession} + i) * 2048;
            std::copy_n(from, 2048, image.begin() + size_t{i} * 2048);
            uint8_t* const descriptor = &image[size_t{i} * 2048];
            if (descriptor[0] == 255 || !std::equal(descriptor + 1, descriptor + 6, "CD001")) {
                break;
            }
            for (int k = 0; k < 4; ++k) {
                descriptor[80 + k] = descriptor[87 - k] = static_cast<uint8_t>(Sectors() >> 8 * k);
            }
        }
        return image;
    }

    std::vector<uint8_t> bytes;
    uint32_t lastSession = 0;
    size_t reads = 0;
    size_t sectorsRead = 0;
    size_t failingRead = 0; // number of the read that fails, counted from 1
    bool isWriting = false;
};

// A disc with two records called "A.BIN" as no session of this program has them: 4096 times "A" in
// the first, which gets this flag, and "B" in the sector behind.
inline MemoryDisc DiscOfTwins(uint8_t flag) {
    MemoryDisc disc;
    disc.Append({{u"/A.BIN", std::string(4096, 'A')}, {u"/B.BIN", "B"}});
    disc.RootRecord("A.BIN")[25] = flag; // ECMA-119 9.1.6
    uint8_t* const second = disc.RootRecord("B.BIN");
    *disc.Find("B.BIN", second) = 'A'; // the ISO name
    *disc.Find("B.BIN", second) = 'A'; // the one of Rock Ridge
    return disc;
}

} // namespace larkspin
