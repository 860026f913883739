// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/queue.h"
#include "audio/factory.h"

#include <algorithm>
#include <functional>
#include <new>
#include <unordered_set>
#include <utility>

namespace larkspin {

WriteQueue::WriteQueue(std::function<void()> onChanged) : m_onChanged(std::move(onChanged)) {}

bool WriteQueue::Add(const std::u16string& path) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_known.contains(path)) {
            return false;
        }
        m_paths.push_back(path);
        try {
            m_known.emplace(path, m_nArrivals + 1);
        } catch (const std::bad_alloc&) {
            m_paths.pop_back(); // all or nothing
            throw;
        }
        ++m_nArrivals;
        if (m_bAllAudio && !IsSupportedAudioFile(path)) {
            m_bAllAudio = false;
        }
        ++m_nVersion;
    }
    m_onChanged();
    return true;
}

void WriteQueue::Clear() {
    {
        const std::lock_guard lock(m_mutex);
        m_paths.clear();
        m_known.clear();
        m_bAllAudio = true;
        ++m_nVersion;
    }
    m_onChanged();
}

void WriteQueue::Remove(const std::vector<std::u16string>& paths) {
    {
        const std::lock_guard lock(m_mutex);
        for (const std::u16string& path : paths) {
            m_known.erase(path);
        }
        DropUnknownLocked();
    }
    m_onChanged();
}

void WriteQueue::Move(const std::vector<std::u16string>& paths, const std::u16string& before) {
    {
        const std::lock_guard lock(m_mutex);
        const std::unordered_set<std::u16string> moved(paths.begin(), paths.end());
        // The next path that stays is the one to insert them before.
        const auto target =
            std::find_if(std::find(m_paths.begin(), m_paths.end(), before), m_paths.end(),
                         [&](const std::u16string& path) { return !moved.contains(path); });
        const auto isMoved = [&](const std::u16string& path) { return moved.contains(path); };
        std::stable_partition(m_paths.begin(), target, std::not_fn(isMoved));
        std::stable_partition(target, m_paths.end(), isMoved);
        ++m_nVersion;
    }
    m_onChanged();
}

void WriteQueue::RemoveUpTo(uint64_t last) {
    {
        const std::lock_guard lock(m_mutex);
        std::erase_if(m_known, [last](const auto& item) { return item.second <= last; });
        DropUnknownLocked();
    }
    m_onChanged();
}

void WriteQueue::RecheckAllAudio() {
    {
        const std::lock_guard lock(m_mutex);
        RecheckLocked();
    }
    m_onChanged();
}

void WriteQueue::DropUnknownLocked() {
    std::erase_if(m_paths, [this](const std::u16string& path) { return !m_known.contains(path); });
    ++m_nVersion;
    RecheckLocked();
}

void WriteQueue::RecheckLocked() {
    m_bAllAudio = std::all_of(m_paths.begin(), m_paths.end(), [](const std::u16string& path) {
        return IsSupportedAudioFile(path);
    });
}

std::vector<std::u16string> WriteQueue::Paths() {
    const std::lock_guard lock(m_mutex);
    return m_paths;
}

std::vector<std::u16string> WriteQueue::Paths(uint64_t* last) {
    const std::lock_guard lock(m_mutex);
    *last = m_nArrivals;
    return m_paths;
}

bool WriteQueue::IsEmpty() {
    const std::lock_guard lock(m_mutex);
    return m_paths.empty();
}

} // namespace larkspin
