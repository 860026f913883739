#include "app/measures.h"
#include "jobs/file_list.h"

#include <utility>

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
    if (const std::optional<uint64_t> known = Find(m_mutex, m_bytes, path)) {
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
    const FileList list =
        ExpandFolder(m_files, path, [&stop](size_t /*count*/, const std::u16string& /*folder*/) {
            return !stop.stop_requested();
        });
    return list.stopped ? std::nullopt
                        : std::optional<uint64_t>(SectorsOfFiles(list) * kSectorBytes);
}

uint32_t ItemMeasures::ItemAudioBytes(const std::u16string& path) {
    if (const std::optional<uint32_t> known = Find(m_mutex, m_audioBytes, path)) {
        return *known;
    }
    return Keep(m_mutex, m_audioBytes, path, m_audioLength(path));
}

} // namespace larkspin
