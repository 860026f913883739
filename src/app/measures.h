// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The sizes of queued items, and their playing times.
//
// An item is measured once and keeps the result while the program runs, even if the file changes;
// one that could not be read keeps 0. All functions may be called on any thread. Measuring takes
// place outside the lock, so that nobody waits for somebody else's folder; two threads that measure
// the same item at once both use the first result.
#pragma once

#include "platform/files.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace larkspin {

class ItemMeasures {
  public:
    // PCM bytes of a file in CD format, read through `files`.
    using AudioLength = std::function<uint32_t(const std::u16string& path, IFileSystem& files)>;

    ItemMeasures(IFileSystem& files, AudioLength audioLength);

    // The size in bytes: exact for a file, in whole sectors of 2048 bytes for a folder. Empty, and
    // not kept, if `stop` is requested meanwhile.
    std::optional<uint64_t> ItemBytes(const std::u16string& path, const std::stop_token& stop = {});
    // The same for the PCM bytes of its audio.
    std::optional<uint32_t> ItemAudioBytes(const std::u16string& path,
                                           const std::stop_token& stop = {});

    // What has been measured already; these never wait for a disk.
    std::optional<uint64_t> KnownBytes(const std::u16string& path);
    std::optional<uint32_t> KnownAudioBytes(const std::u16string& path);
    // True for a folder whose size is known.
    bool IsKnownFolder(const std::u16string& path);

  private:
    std::optional<uint64_t> MeasureBytes(const std::u16string& path, const std::stop_token& stop);

    IFileSystem& m_files;
    AudioLength m_audioLength;
    std::mutex m_mutex; // guards the next three
    std::unordered_set<std::u16string> m_folders;
    std::unordered_map<std::u16string, uint64_t> m_bytes;
    std::unordered_map<std::u16string, uint32_t> m_audioBytes;
};

} // namespace larkspin
