// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the tests of the volume generator share: the files of a queue, a sink that collects, and a
// run of the generator over both.
#pragma once

#include "platform/text.h"
#include "support/fake_files.h"
#include "support/iso_reader.h"
#include "volume/iso_gen.h"

#include <cstdlib>
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace larkspin {

using Queue = std::vector<std::u16string>;
// By path as a program extracts it; a folder's contents are "folder".
using Contents = std::map<std::string, std::string>;

inline std::string TextOf(const std::vector<uint8_t>& bytes) {
    return {bytes.begin(), bytes.end()};
}

class SourceFiles : public FakeFiles {
  public:
    // Files by their paths.
    SourceFiles(std::initializer_list<std::pair<std::u16string, std::string>> files = {}) {
        constexpr int64_t kTime = 1'000'000'000;
        constexpr int64_t kDay = 86'400;
        newStatus = {.uid = 1000,
                     .gid = 1000,
                     .accessTime = kTime + kDay,
                     .modifyTime = kTime,
                     .changeTime = kTime + 2 * kDay};
        for (const auto& [path, text] : files) {
            AddFile(path, text);
        }
    }
    // All that stands at the top, in the order of arrival.
    Queue Items() const {
        Queue items;
        for (const std::u16string& name : nodes.at(u"/").names) {
            items.push_back(u'/' + name);
        }
        return items;
    }
    Contents Expected() const {
        Contents expected;
        for (const auto& [path, node] : nodes) {
            expected[ToNative(path.substr(1))] =
                node.status.type == FileStatus::Type::Folder ? "folder" : TextOf(node.m_bytes);
        }
        expected.erase("");
        return expected;
    }
};

// In a folder "top": names of every kind and length, sizes around a sector, folders deeper than ISO
// 9660 allows, some of which have one name. Joliet and UDF can show all names as they are.
inline SourceFiles Tree() {
    SourceFiles files;
    for (const char* name :
         {"plain", "Ünit ÿ.txt", "日本語.txt", "smile \xF0\x9F\x98\x80.txt", "a b.txt", "a_b.txt",
          "a+b.txt", ".hidden", "x.tar.gz", "UPPER.TXT", "upper.txt", "q'uote", "VTS_01_0.IFO"}) {
        files.AddFile(u"/top/" + ToWide(name), std::string("contents of ") + name);
    }
    for (const int units : {80, 84, 85, 102, 103}) {
        files.AddFile(FormatWide("/top/%03d%s.txt", units, std::string(units - 7, 'n').c_str()),
                      Format("%d", units));
    }
    files.AddFile(u"/top/" + std::u16string(80, u'\x4E00'), "240 bytes");
    for (const size_t size : {0u, 2047u, 2048u, 2049u, 1'000'003u}) {
        files.AddFile(FormatWide("/top/size %zu", size), std::string(size, 's'));
    }
    std::u16string deep = u"/top";
    for (int level = 2; level <= 16; ++level) {
        deep += FormatWide("/level %d", level);
        files.AddFile(deep + u"/here", ToNative(deep));
        files.AddFolder(deep + u"/empty");
    }
    for (auto& [path, node] : files.nodes) {
        node.status.modifyTime += static_cast<int64_t>(node.status.inode);
    }
    return files;
}

class FixedClock final : public IClock {
  public:
    int64_t Now() override { return 1'200'000'000; }
    uint64_t TickMs() override { return 0; }
    void Sleep(std::chrono::milliseconds) override {}
};

// The time zone of this process for as long as it lives.
class ZoneScope {
  public:
    explicit ZoneScope(const char* zone) { Set(zone); }
    ZoneScope(const ZoneScope&) = delete;
    ZoneScope& operator=(const ZoneScope&) = delete;
    ~ZoneScope() { Set("UTC"); }

  private:
    static void Set(const char* zone) {
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
};

struct VolumeRequest {
    uint32_t sessionBase = 0;
    std::function<void(GenOptions&)> setOptions = {};
    size_t readerLeavesAfter = SIZE_MAX; // bytes
    IBlockReader* drive = nullptr;       // with the session to merge
    uint32_t previousBase = 0;
    std::function<void()> onSizeReady = {};
};

struct VolumeResult {
    std::vector<uint8_t> image;
    std::optional<uint32_t> toldSectors;
    size_t writes = 0;
    std::u16string error;
    std::vector<std::u16string> notices;
};

// Fails the test unless the size is told before the first byte goes out, and is that of the volume.
inline VolumeResult RunGenerator(IFileSystem& files, const Queue& queue,
                                 const VolumeRequest& request) {
    struct Sink final : IByteSink {
        bool Write(const void* data, size_t size) override {
            ++result.writes;
            hasReader = hasReader && result.image.size() + size <= limit;
            if (hasReader) {
                const auto* begin = static_cast<const uint8_t*>(data);
                result.image.insert(result.image.end(), begin, begin + size);
            }
            return hasReader;
        }
        VolumeResult result;
        size_t limit = 0;
        bool hasReader = true;
    } sink;
    VolumeResult& result = sink.result;
    sink.limit = request.readerLeavesAfter;
    FixedClock clock;
    CCDWriterISOGen generator(files, clock);
    generator.ResetOptions();
    if (request.setOptions) {
        request.setOptions(generator.Options());
    }
    generator.SetNotice(
        [&](const VolumeNotice& notice) { result.notices.push_back(TextOf(notice)); });
    const auto sizeReady = [&](uint32_t sectors) {
        EXPECT_EQ(result.writes, 0u);
        result.toldSectors = sectors;
        if (request.onSizeReady) {
            request.onSizeReady();
        }
    };
    try {
        if (request.drive != nullptr) {
            generator.MakeMergedVolume(queue, sink, request.previousBase, request.sessionBase,
                                       *request.drive, sizeReady);
        } else {
            generator.MakeVolume(queue, sink, request.previousBase, request.sessionBase, sizeReady);
        }
        if (sink.hasReader) {
            EXPECT_EQ(result.image.size(), size_t{result.toldSectors.value_or(0)} * 2048);
            EXPECT_EQ(LittleAt(result.image, 16 * 2048 + 80, 4), result.toldSectors);
        }
    } catch (const CCDWriterISOGenException& failure) {
        result.error = failure.WideText();
    }
    return result;
}

inline VolumeResult MakeVolume(IFileSystem& files, const Queue& queue, uint32_t sessionBase = 0,
                               const std::function<void(GenOptions&)>& setOptions = {}) {
    return RunGenerator(files, queue, {.sessionBase = sessionBase, .setOptions = setOptions});
}

// What a reader of a tree finds.
inline Contents ContentsOf(const IsoReader& reader, const IsoReader::Tree& tree) {
    Contents contents;
    for (const auto& [path, record] : tree) {
        contents[path.substr(1)] = record.IsDirectory() ? "folder" : reader.Contents(record);
    }
    return contents;
}
inline Contents JolietContents(const IsoReader& reader) {
    return ContentsOf(reader, reader.JolietTree());
}
// Less the relocation directory, which holds nothing of its own.
inline Contents RockRidgeContents(const IsoReader& reader) {
    Contents contents = ContentsOf(reader, reader.RockRidgeTree());
    contents.erase(".rr_moved");
    return contents;
}

} // namespace larkspin
