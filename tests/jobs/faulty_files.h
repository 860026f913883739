// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The files of this process, with something wrong about them.
#pragma once

#include "platform/files.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace larkspin {

class FaultyFiles final : public IFileSystem {
  public:
    std::u16string unopenable;
    uint64_t size = 0; // that every file claims, if not 0
    std::function<void()> onStatus;
    std::function<void()> onOpen;
    std::function<void(std::vector<std::u16string>* names)> onEnumerate;

    bool Status(const std::u16string& path, FileStatus* status) override {
        if (onStatus) {
            onStatus();
        }
        const bool found = PosixFiles().Status(path, status);
        if (size != 0) {
            status->size = size;
        }
        return found;
    }
    Absence WhyAbsent(const std::u16string& path) override { return PosixFiles().WhyAbsent(path); }
    bool IsLink(const std::u16string& path) override { return PosixFiles().IsLink(path); }
    bool IsReadable(const std::u16string& path) override { return PosixFiles().IsReadable(path); }
    bool Enumerate(const std::u16string& folder, std::vector<std::u16string>* names) override {
        const bool found = PosixFiles().Enumerate(folder, names);
        if (onEnumerate) {
            onEnumerate(names);
        }
        return found;
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) override {
        if (onOpen) {
            onOpen();
        }
        return path == unopenable ? nullptr : PosixFiles().OpenSequential(path);
    }
};

} // namespace larkspin
