// A file system in memory: names with sizes and folders; every file holds zeros.
//
// Fill it before other threads look at it.
#pragma once

#include "platform/files.h"
#include "platform/paths.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace larkspin {

class FakeFiles : public IFileSystem {
  public:
    // Parent folders are made as needed.
    void AddFile(const std::u16string& path, uint64_t size) {
        FileStatus status;
        status.size = size;
        Add(path, status);
    }
    void AddFolder(const std::u16string& path) {
        FileStatus status;
        status.type = FileStatus::Type::Folder;
        Add(path, status);
    }
    // Called before each Status, on the caller's thread.
    std::function<void(const std::u16string& path)> onStatus;

    bool Status(const std::u16string& path, FileStatus* status) override {
        if (onStatus) {
            onStatus(path);
        }
        const auto found = m_entries.find(path);
        if (found == m_entries.end()) {
            return false;
        }
        *status = found->second.status;
        return true;
    }
    bool IsReadable(const std::u16string& path) override { return m_entries.contains(path); }
    bool Enumerate(const std::u16string& folder, std::vector<std::u16string>* names) override {
        const auto found = m_entries.find(folder);
        if (found == m_entries.end()) {
            return false;
        }
        names->insert(names->end(), found->second.names.begin(), found->second.names.end());
        return true;
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) override {
        FileStatus status;
        return Status(path, &status) ? std::make_unique<Zeros>(status.size) : nullptr;
    }

  private:
    class Zeros final : public ISequentialFile {
      public:
        explicit Zeros(uint64_t size) : m_nSize(size) {}
        std::ptrdiff_t Read(void* buffer, size_t bytes) override {
            const size_t count = std::min<uint64_t>(bytes, m_nSize - m_nAt);
            std::memset(buffer, 0, count);
            m_nAt += count;
            return static_cast<std::ptrdiff_t>(count);
        }
        int64_t Size() override { return static_cast<int64_t>(m_nSize); }
        bool Seek(uint64_t offset) override {
            m_nAt = std::min(offset, m_nSize);
            return true;
        }
        int64_t Tell() override { return static_cast<int64_t>(m_nAt); }

      private:
        uint64_t m_nSize;
        uint64_t m_nAt = 0;
    };

    struct Entry {
        FileStatus status;
        std::vector<std::u16string> names;
    };

    void Add(const std::u16string& path, FileStatus status) {
        if (m_entries.contains(path)) {
            return;
        }
        status.inode = m_entries.size() + 1;
        m_entries[path].status = status;
        const std::u16string parent(ParentPath(path));
        if (path.size() > 1 && !parent.empty()) {
            AddFolder(parent);
            m_entries[parent].names.emplace_back(LeafName(path));
        }
    }

    std::map<std::u16string, Entry> m_entries;
};

} // namespace larkspin
