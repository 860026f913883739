// What the tests of the merge share: a disc of sectors that sessions are added to.
#pragma once

#include "volume_kit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkspin {

class MemoryDisc final : public IBlockReader {
  public:
    explicit MemoryDisc(std::vector<uint8_t> image = {}) : bytes(std::move(image)) {}

    bool ReadBlocks(void* buffer, uint32_t count, uint32_t lba) override {
        EXPECT_FALSE(isWriting) << "a read after the size was told";
        EXPECT_GE(count, 1u);
        EXPECT_LE(count, 16u);
        reads.push_back({lba, count});
        if (reads.size() == failingRead || (uint64_t{lba} + count) * 2048 > bytes.size()) {
            return false;
        }
        std::copy_n(bytes.begin() + size_t{lba} * 2048, size_t{count} * 2048,
                    static_cast<uint8_t*>(buffer));
        return true;
    }

    uint32_t Sectors() const { return static_cast<uint32_t>(bytes.size() / 2048); }

    // Runs the generator over the last session; the disc stays as it is.
    VolumeResult Merge(IFileSystem& files, const Queue& queue,
                       const std::function<void(GenOptions&)>& setOptions = {}) {
        reads.clear();
        const VolumeResult result = RunGenerator(files, queue,
                                                 {.sessionBase = Sectors(),
                                                  .setOptions = setOptions,
                                                  .drive = this,
                                                  .previousBase = lastSession,
                                                  .onSizeReady = [this] { isWriting = true; }});
        isWriting = false;
        return result;
    }

    // Adds a session, the first or a further one; its sectors.
    uint32_t Append(MemoryFiles& files) { return Append(files, files.Items()); }
    uint32_t Append(MemoryFiles&& files) { return Append(files); }
    uint32_t Append(IFileSystem& files, const Queue& queue) {
        const VolumeResult result = bytes.empty() ? MakeVolume(files, queue) : Merge(files, queue);
        EXPECT_EQ(result.error, u"");
        EXPECT_EQ(result.toldSectors, result.image.size() / 2048);
        lastSession = Sectors();
        EXPECT_EQ(IsoReader::Both32(IsoReader(result.image, lastSession).Primary(), 80),
                  result.toldSectors);
        bytes.insert(bytes.end(), result.image.begin(), result.image.end());
        // Sessions of a CD lie apart.
        bytes.resize(bytes.size() + size_t{2048} * 37, 0xEE);
        return static_cast<uint32_t>(result.image.size() / 2048);
    }

    IsoReader Reader() const { return IsoReader(bytes, 0, lastSession); }

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
                descriptor[80 + k] = static_cast<uint8_t>(Sectors() >> (8 * k));
                descriptor[87 - k] = static_cast<uint8_t>(Sectors() >> (8 * k));
            }
        }
        return image;
    }

    struct Read {
        uint32_t lba;
        uint32_t count;
    };

    std::vector<uint8_t> bytes;
    uint32_t lastSession = 0;
    std::vector<Read> reads;
    size_t failingRead = 0; // number of the read that fails, counted from 1
    bool isWriting = false;
};

// A disc with two records called "A.BIN" as no session of this program has them: 4096 times "A" in
// the first, which gets this flag, and "B" in the sector behind.
inline MemoryDisc DiscOfTwins(uint8_t flag) {
    constexpr std::ptrdiff_t kFromFlagsToName = 8; // ECMA-119 9.1
    MemoryDisc disc;
    disc.Append({{u"/A.BIN", std::string(4096, 'A')}, {u"/B.BIN", "B"}});
    const auto root = disc.bytes.begin() + std::ptrdiff_t{disc.Reader().Root().extent} * 2048;
    const auto find = [root](std::string_view name) {
        return std::search(root, root + 2048, name.begin(), name.end());
    };
    *(find("A.BIN") - kFromFlagsToName) = flag;
    *find("B.BIN") = 'A'; // the ISO name
    *find("B.BIN") = 'A'; // the one of Rock Ridge
    return disc;
}

} // namespace larkspin
