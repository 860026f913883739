// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A file system in memory: folders, which list their names in the order of arrival, and files that
// can misbehave.
//
// Fill it before other threads look at it.
#pragma once

#include "support/memory_files.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace larkspin {

class FakeFiles : public IFileSystem {
  public:
    struct Node : MemoryFileData { // whatever status.size says
        FileStatus status;
        std::vector<std::u16string> names; // of a folder
        bool isLink = false;               // to a folder: one of the same inode and names
        bool isReadable = true;
        size_t lists = SIZE_MAX; // names that can be listed before a failure
        bool opens = true;
        bool patchFails = false; // once, halfway
    };

    // Folders above are made as needed.
    Node& AddFolder(const std::u16string& path) {
        return Add(path, FileStatus::Type::Folder, 0x41ED, 0);
    }
    Node& AddFile(const std::u16string& path, std::string_view text = "") {
        Node& node = Add(path, FileStatus::Type::Regular, 0x81A4, text.size());
        node.m_bytes.assign(text.begin(), text.end());
        return node;
    }
    // A file of zeros, unless the path is there already.
    void AddFile(const std::u16string& path, uint64_t size) {
        if (!nodes.contains(path)) {
            Add(path, FileStatus::Type::Regular, 0x81A4, size).m_bEndless = true;
        }
    }
    Node& At(const std::u16string& path) { return nodes.at(path); }

    bool Status(const std::u16string& path, FileStatus* status) override {
        if (onStatus) {
            onStatus(path);
        }
        const auto found = nodes.find(path);
        if (found != nodes.end()) {
            *status = found->second.status;
        }
        return found != nodes.end();
    }
    Absence WhyAbsent(const std::u16string& path) override { return absences[path]; }
    bool IsLink(const std::u16string& path) override { return At(path).isLink; }
    bool IsReadable(const std::u16string& path) override {
        return nodes.contains(path) && nodes.at(path).isReadable;
    }
    bool Enumerate(const std::u16string& folder, std::vector<std::u16string>* names) override {
        if (!IsReadable(folder) || nodes.at(folder).status.type != FileStatus::Type::Folder) {
            return false;
        }
        const Node& node = nodes.at(folder);
        const size_t count = std::min(node.lists, node.names.size());
        names->insert(names->end(), node.names.begin(), node.names.begin() + ptrdiff_t(count));
        return count == node.names.size();
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) override {
        const auto found = nodes.find(path);
        return found != nodes.end() && found->second.opens
                   ? std::make_unique<MemoryFile>(found->second)
                   : nullptr;
    }
    bool PatchBytes(const std::u16string& path, uint64_t offset,
                    std::span<const uint8_t> bytes) override {
        ++patches;
        Node& node = nodes.at(path);
        const size_t count = node.patchFails ? bytes.size() / 2 : bytes.size();
        std::copy_n(bytes.begin(), count, node.m_bytes.data() + offset);
        return !std::exchange(node.patchFails, false);
    }

    // Called before each Status, on the caller's thread.
    std::function<void(const std::u16string& path)> onStatus;
    FileStatus newStatus; // of names to come; type, mode, size and inode are their own
    std::map<std::u16string, Node> nodes; // by path
    std::map<std::u16string, Absence> absences;
    size_t patches = 0;

  private:
    Node& Add(const std::u16string& path, FileStatus::Type type, uint32_t mode, uint64_t size) {
        const auto [place, isNew] = nodes.try_emplace(path);
        Node& node = place->second;
        if (isNew) {
            node.status = newStatus;
            node.status.inode = nodes.size();
        }
        node.status.type = type;
        node.status.mode = mode;
        node.status.size = size;
        const size_t cut = path.rfind(u'/');
        if (isNew && cut != std::u16string::npos && path.size() > 1) {
            const std::u16string parent = path.substr(0, std::max<size_t>(cut, 1));
            (nodes.contains(parent) ? nodes.at(parent) : AddFolder(parent))
                .names.push_back(path.substr(cut + 1));
        }
        return node;
    }
};

} // namespace larkspin
