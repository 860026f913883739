// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The merge over a disc of any bytes: input is the disc from sector 16 on. Whatever stands there,
// the run ends with a text or with a volume of exactly the length that was told.
#include "volume/iso_gen.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace {

using namespace larkspin;

constexpr size_t kFront = size_t{16} * 2048;

class FuzzedDisc final : public IBlockReader {
  public:
    explicit FuzzedDisc(std::span<const uint8_t> bytes) : m_bytes(bytes) {}

    bool ReadBlocks(void* buffer, uint32_t count, uint32_t lba) override {
        const uint64_t end = (uint64_t{lba} + count) * 2048;
        if (count < 1 || count > 16 || end > kFront + m_bytes.size()) {
            std::abort(); // nothing behind the disc is read
        }
        auto* out = static_cast<uint8_t*>(buffer);
        for (uint64_t at = uint64_t{lba} * 2048; at < end; ++at) {
            *out++ = at < kFront ? 0 : m_bytes[at - kFront];
        }
        return true;
    }

  private:
    std::span<const uint8_t> m_bytes;
};

// A folder with a folder and files in it, and a chain of folders that needs relocation.
class QueueFiles final : public IFileSystem {
  public:
    bool Status(const std::u16string& path, FileStatus* status) override {
        *status = {};
        const bool isFolder = !path.ends_with(u".txt");
        status->type = isFolder ? FileStatus::Type::Folder : FileStatus::Type::Regular;
        status->mode = isFolder ? 0x41ED : 0x81A4;
        status->size = isFolder ? 0 : 4;
        status->modifyTime = 1'000'000'000;
        status->inode = path.size();
        return true;
    }
    bool IsLink(const std::u16string& /*path*/) override { return false; }
    bool IsReadable(const std::u16string& /*path*/) override { return true; }
    bool Enumerate(const std::u16string& folder, std::vector<std::u16string>* names) override {
        *names = {u"a.txt"};
        if (folder.size() < 18) {
            names->push_back(u"d");
        }
        return true;
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) override {
        if (!path.ends_with(u".txt")) {
            std::abort(); // only files of the queue are streamed
        }
        return std::make_unique<Empty>();
    }

  private:
    class Empty final : public ISequentialFile {
      public:
        std::ptrdiff_t Read(void* /*buffer*/, size_t /*bytes*/) override { return 0; }
        int64_t Size() override { return 0; }
        bool Seek(uint64_t /*offset*/) override { return true; }
        int64_t Tell() override { return 0; }
    };
};

class StillClock final : public IClock {
  public:
    int64_t Now() override { return 1'200'000'000; }
    uint64_t TickMs() override { return 0; }
    void Sleep(std::chrono::milliseconds /*time*/) override {}
};

class CountingSink final : public IByteSink {
  public:
    bool Write(const void* /*data*/, size_t size) override {
        bytes += size;
        return true;
    }
    uint64_t bytes = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    size -= size % 2048;
    FuzzedDisc disc({data, size});
    QueueFiles files;
    StillClock clock;
    CountingSink sink;
    CCDWriterISOGen generator(files, clock);
    generator.ResetOptions();
    uint32_t told = 0;
    try {
        generator.MakeMergedVolume({u"/d", u"/a.txt"}, sink, 16,
                                   static_cast<uint32_t>((kFront + size) / 2048), disc,
                                   [&](uint32_t sectors) { told = sectors; });
    } catch (const CCDWriterISOGenException& failure) {
        const std::u16string& text = failure.WideText();
        const bool isAboutTheStream =
            text.starts_with(u"Internal error #910") || text.starts_with(u"Internal error #911");
        if (told != 0 || isAboutTheStream) {
            std::abort();
        }
        return 0;
    }
    if (sink.bytes != uint64_t{told} * 2048) {
        std::abort();
    }
    return 0;
}
