// What the tests of the volume generator share: a file system in memory whose files can misbehave,
// a sink that collects, and a run of the generator over both.
#pragma once

#include "platform/files.h"
#include "support/iso_reader.h"
#include "volume/iso_gen.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace larkspin {

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

    Node& AddFolder(const std::u16string& path) {
        Node& node = Add(path, FileStatus::Type::Folder, 0x41ED);
        return node;
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
        if (found == m_nodes.end() || !found->second.opens) {
            return nullptr;
        }
        return std::make_unique<File>(found->second);
    }
    std::unique_ptr<IMappedFile> Map(const std::u16string&) override { return nullptr; }
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
        Node& node = m_nodes[path];
        node.status.type = type;
        node.status.mode = mode;
        node.status.inode = m_nodes.size();
        node.status.uid = 1000;
        node.status.gid = 1000;
        node.status.modifyTime = kTime;
        node.status.accessTime = kTime + 86400;
        node.status.changeTime = kTime + 2 * 86400;
        const char16_t separator = path.front() == u'/' ? u'/' : u'\\';
        const size_t cut = path.rfind(separator);
        const std::u16string parent = cut == 0 ? u"/" : path.substr(0, cut);
        if (path.size() > 1 && m_nodes.contains(parent)) {
            m_nodes[parent].names.push_back(path.substr(cut + 1));
        }
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

class MemorySink final : public IByteSink {
  public:
    bool Write(const void* data, size_t size) override {
        ++writes;
        if (bytes.size() + size > readerLeavesAfter) {
            return false;
        }
        const auto* begin = static_cast<const uint8_t*>(data);
        bytes.insert(bytes.end(), begin, begin + size);
        return true;
    }
    std::vector<uint8_t> bytes;
    size_t readerLeavesAfter = SIZE_MAX;
    size_t writes = 0;
};

struct VolumeResult {
    std::vector<uint8_t> image;
    std::optional<uint32_t> toldSectors;
    size_t bytesBeforeTold = 0; // what the sink had when the size was told
    std::u16string error;
    std::vector<std::u16string> notices;
};

inline VolumeResult MakeVolume(IFileSystem& files, const std::vector<std::u16string>& queue,
                               uint32_t sessionBase = 0,
                               const std::function<void(GenOptions&)>& setOptions = {}) {
    FixedClock clock;
    MemorySink sink;
    VolumeResult result;
    CCDWriterISOGen generator(files, clock);
    generator.ResetOptions();
    if (setOptions) {
        setOptions(generator.Options());
    }
    generator.SetNotice([&](const std::u16string& text) { result.notices.push_back(text); });
    try {
        generator.MakeVolume(queue, sink, 0, sessionBase, [&](uint32_t sectors) {
            result.toldSectors = sectors;
            result.bytesBeforeTold = sink.bytes.size();
        });
    } catch (const CCDWriterISOGenException& failure) {
        result.error = failure.WideText();
    }
    result.image = std::move(sink.bytes);
    return result;
}

inline std::string TextOf(const std::vector<uint8_t>& bytes) {
    return {bytes.begin(), bytes.end()};
}

} // namespace larkspin
