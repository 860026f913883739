// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/measures.h"
#include "jobs/file_list.h"
#include "platform/stoppable_files.h"

#include <utility>
#include <vector>

namespace larkspin {

namespace {

template <typename Value>
std::optional<Value> Find(std::mutex& mutex, const std::unordered_map<std::u16string, Value>& cache,
                          const std::u16string& path) {
    const std::lock_guard lock(mutex);
    const auto found = cache.find(path);
    return found != cache.end() ? std::optional<Value>(found->second) : std::nullopt;
}

template <typename Value>
Value Keep(std::mutex& mutex, std::unordered_map<std::u16string, Value>& cache,
           const std::u16string& path, Value value) {
    const std::lock_guard lock(mutex);
    return cache.try_emplace(path, value).first->second;
}

} // namespace

ItemMeasures::ItemMeasures(IFileSystem& files, AudioLength audioLength)
    : m_files(files), m_audioLength(std::move(audioLength)) {}

std::optional<uint64_t> ItemMeasures::ItemBytes(const std::u16string& path,
                                                const std::stop_token& stop) {
    if (const std::optional<uint64_t> known = KnownBytes(path)) {
        return known;
    }
    const std::optional<uint64_t> bytes = MeasureBytes(path, stop);
    return bytes ? std::optional<uint64_t>(Keep(m_mutex, m_bytes, path, *bytes)) : std::nullopt;
}

std::optional<uint64_t> ItemMeasures::MeasureBytes(const std::u16string& path,
                                                   const std::stop_token& stop) {
    if (!IsFolder(m_files, path)) {
        FileStatus status;
        return m_files.Status(path, &status) ? status.size : 0;
    }
    {
        const std::lock_guard lock(m_mutex);
        m_folders.insert(path);
    }
    const FileList list =
        ExpandFolder(m_files, path, [&stop](size_t /*count*/, const std::u16string& /*folder*/) {
            return !stop.stop_requested();
        });
    return list.stopped ? std::nullopt
                        : std::optional<uint64_t>(SectorsOfFiles(list) * kSectorBytes);
}

std::optional<uint32_t> ItemMeasures::ItemAudioBytes(const std::u16string& path,
                                                     const std::stop_token& stop) {
    if (const std::optional<uint32_t> known = KnownAudioBytes(path)) {
        return known;
    }
    StoppableFiles files(m_files, stop);
    const uint32_t bytes = m_audioLength(path, files);
    return stop.stop_requested() ? std::nullopt
                                 : std::optional(Keep(m_mutex, m_audioBytes, path, bytes));
}

std::optional<uint64_t> ItemMeasures::KnownBytes(const std::u16string& path) {
    return Find(m_mutex, m_bytes, path);
}

std::optional<uint32_t> ItemMeasures::KnownAudioBytes(const std::u16string& path) {
    return Find(m_mutex, m_audioBytes, path);
}

bool ItemMeasures::IsKnownFolder(const std::u16string& path) {
    const std::lock_guard lock(m_mutex);
    return m_folders.contains(path);
}

} // namespace larkspin
