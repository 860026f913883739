// What the tests of the volume generator share: a file system in memory whose files can misbehave,
// a sink that collects, and a run of the generator over both.
#pragma once

#include "platform/files.h"
#include "support/iso_reader.h"
#include "volume/iso_gen.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace larkspin {

using Queue = std::vector<std::u16string>;

// Folders list their names in the order in which they were added.
class MemoryFiles final : public IFileSystem {
  public:
    struct Node {
        FileStatus status;
        std::vector<uint8_t> bytes; // what reading gives, whatever status.size says
        bool readable = true;
        bool opens = true;
        bool readFails = false;
        bool patchFails = false; // once, halfway
        size_t largestRead = SIZE_MAX;
        std::vector<std::u16string> names;
    };

    static constexpr int64_t kTime = 1'000'000'000;

    MemoryFiles() = default;
    // Files by their paths.
    MemoryFiles(std::initializer_list<std::pair<std::u16string, std::string>> files) {
        for (const auto& [path, text] : files) {
            AddFile(path, text);
        }
    }
    // The folders above are made as needed.
    Node& AddFolder(const std::u16string& path) {
        return Add(path, FileStatus::Type::Folder, 0x41ED);
    }
    Node& AddFile(const std::u16string& path, std::string_view text = "") {
        Node& node = Add(path, FileStatus::Type::Regular, 0x81A4);
        node.bytes.assign(text.begin(), text.end());
        node.status.size = text.size();
        return node;
    }
    Node& At(const std::u16string& path) { return m_nodes.at(path); }
    // The folder goes on listing the name.
    void Remove(const std::u16string& path) { m_nodes.erase(path); }
    // All that stands at the top, in the order of arrival.
    Queue Items() const {
        Queue items;
        for (const std::u16string& name : m_nodes.at(u"/").names) {
            items.push_back(u'/' + name);
        }
        return items;
    }

    bool Status(const std::u16string& path, FileStatus* status) override {
        const auto found = m_nodes.find(path);
        if (found == m_nodes.end()) {
            return false;
        }
        *status = found->second.status;
        return true;
    }
    bool IsReadable(const std::u16string& path) override {
        return m_nodes.contains(path) && m_nodes.at(path).readable;
    }
    bool Enumerate(const std::u16string& folder, std::vector<std::u16string>* names) override {
        if (onEnumerate) {
            onEnumerate(folder);
        }
        const auto found = m_nodes.find(folder);
        if (found == m_nodes.end() || found->second.status.type != FileStatus::Type::Folder ||
            !found->second.readable) {
            return false;
        }
        *names = found->second.names;
        return true;
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) override {
        const auto found = m_nodes.find(path);
        return found != m_nodes.end() && found->second.opens ? std::make_unique<File>(found->second)
                                                             : nullptr;
    }
    bool PatchBytes(const std::u16string& path, uint64_t offset,
                    std::span<const uint8_t> bytes) override {
        ++patches;
        Node& node = m_nodes.at(path);
        const size_t count = node.patchFails ? bytes.size() / 2 : bytes.size();
        std::copy_n(bytes.begin(), count, node.bytes.begin() + static_cast<std::ptrdiff_t>(offset));
        return !std::exchange(node.patchFails, false);
    }

    std::function<void(const std::u16string&)> onEnumerate;
    size_t patches = 0;

  private:
    class File final : public ISequentialFile {
      public:
        explicit File(const Node& node) : m_node(node) {}
        std::ptrdiff_t Read(void* buffer, size_t bytes) override {
            if (m_node.readFails) {
                return -1;
            }
            const size_t count = std::min({bytes, m_node.largestRead, m_node.bytes.size() - m_nAt});
            std::copy_n(m_node.bytes.data() + m_nAt, count, static_cast<uint8_t*>(buffer));
            m_nAt += count;
            return static_cast<std::ptrdiff_t>(count);
        }
        int64_t Size() override { return static_cast<int64_t>(m_node.bytes.size()); }
        bool Seek(uint64_t offset) override {
            m_nAt = std::min<uint64_t>(offset, m_node.bytes.size());
            return true;
        }
        int64_t Tell() override { return static_cast<int64_t>(m_nAt); }

      private:
        const Node& m_node;
        size_t m_nAt = 0;
    };

    Node& Add(const std::u16string& path, FileStatus::Type type, uint32_t mode) {
        const size_t cut = path.rfind(u'/');
        if (cut != std::u16string::npos && path.size() > 1 && !m_nodes.contains(path)) {
            const std::u16string parent = path.substr(0, std::max<size_t>(cut, 1));
            (m_nodes.contains(parent) ? m_nodes[parent] : AddFolder(parent))
                .names.push_back(path.substr(cut + 1));
        }
        Node& node = m_nodes[path];
        node.status.type = type;
        node.status.mode = mode;
        node.status.inode = m_nodes.size();
        node.status.uid = 1000;
        node.status.gid = 1000;
        node.status.modifyTime = kTime;
        node.status.accessTime = kTime + 86400;
        node.status.changeTime = kTime + 2 * 86400;
        return node;
    }

    std::map<std::u16string, Node> m_nodes;
};

class FixedClock final : public IClock {
  public:
    static constexpr int64_t kMoment = 1'200'000'000;
    int64_t Now() override { return kMoment; }
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
    size_t writesBeforeTold = 0; // those in front of the telling of the size
    std::u16string error;
    std::vector<std::u16string> notices;
};

inline VolumeResult RunGenerator(IFileSystem& files, const Queue& queue,
                                 const VolumeRequest& request) {
    class Sink final : public IByteSink {
      public:
        Sink(VolumeResult& result, size_t limit) : m_result(result), m_nLimit(limit) {}
        bool Write(const void* data, size_t size) override {
            ++m_result.writes;
            if (m_result.image.size() + size > m_nLimit) {
                return false;
            }
            const auto* begin = static_cast<const uint8_t*>(data);
            m_result.image.insert(m_result.image.end(), begin, begin + size);
            return true;
        }

      private:
        VolumeResult& m_result;
        size_t m_nLimit;
    };
    FixedClock clock;
    VolumeResult result;
    Sink sink(result, request.readerLeavesAfter);
    CCDWriterISOGen generator(files, clock);
    generator.ResetOptions();
    if (request.setOptions) {
        request.setOptions(generator.Options());
    }
    generator.SetNotice([&](const std::u16string& text) { result.notices.push_back(text); });
    const auto sizeReady = [&](uint32_t sectors) {
        result.toldSectors = sectors;
        result.writesBeforeTold = result.writes;
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
    } catch (const CCDWriterISOGenException& failure) {
        result.error = failure.WideText();
    }
    return result;
}

inline VolumeResult MakeVolume(IFileSystem& files, const Queue& queue, uint32_t sessionBase = 0,
                               const std::function<void(GenOptions&)>& setOptions = {}) {
    return RunGenerator(files, queue, {.sessionBase = sessionBase, .setOptions = setOptions});
}

inline std::string TextOf(const std::vector<uint8_t>& bytes) {
    return {bytes.begin(), bytes.end()};
}

// What a reader of a tree finds: contents by path, folders as "folder".
template <typename Tree>
std::map<typename Tree::key_type, std::string> ContentsOf(const IsoReader& reader,
                                                          const Tree& tree) {
    std::map<typename Tree::key_type, std::string> contents;
    for (const auto& [path, record] : tree) {
        contents[path] = record.IsDirectory() ? "folder" : TextOf(reader.Contents(record));
    }
    return contents;
}
inline auto RockRidgeContents(const IsoReader& reader) {
    return ContentsOf(reader, reader.RockRidgeTree());
}
inline auto JolietContents(const IsoReader& reader) {
    return ContentsOf(reader, reader.JolietTree());
}

} // namespace larkspin
