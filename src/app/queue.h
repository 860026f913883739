// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The write queue: the paths for the next disc, without duplicates, in order of arrival unless the
// user moves them. This is also the order of the tracks on an audio disc.
//
// It exists only in memory. All functions may be called on any thread and are atomic. Those that
// change the queue call back once after releasing the lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace larkspin {

class WriteQueue {
  public:
    // Called after each change, on the thread that made it.
    explicit WriteQueue(std::function<void()> onChanged);

    // Returns false and does nothing if the path is already there. Compared exactly.
    bool Add(const std::u16string& path);
    void Clear();
    // Removes every path equal to one of `paths`, then checks again whether everything is audio.
    // Calls back even if nothing was removed.
    void Remove(const std::vector<std::u16string>& paths);
    void RecheckAllAudio();
    // Moves those of `paths` that are there, in their present order, to before `before`, or to the
    // end if that is not there.
    void Move(const std::vector<std::u16string>& paths, const std::u16string& before);

    std::vector<std::u16string> Paths();
    // The same, for a later RemoveUpTo: *last gets the number of the latest arrival.
    std::vector<std::u16string> Paths(uint64_t* last);
    // Removes what had arrived up to that number. A path that was removed and added again since
    // then stays.
    void RemoveUpTo(uint64_t last);
    bool IsEmpty();
    // All paths have an audio suffix; true for an empty queue.
    bool IsAllAudio() const { return m_bAllAudio; }
    // Changes with every change of the contents.
    uint64_t Version() const { return m_nVersion; }

  private:
    void DropUnknownLocked();
    void RecheckLocked();

    const std::function<void()> m_onChanged;
    std::mutex m_mutex;
    std::vector<std::u16string> m_paths;
    // The same paths, each with the number of its arrival.
    std::unordered_map<std::u16string, uint64_t> m_known;
    uint64_t m_nArrivals = 0;
    std::atomic<bool> m_bAllAudio = true;
    std::atomic<uint64_t> m_nVersion = 0;
};

} // namespace larkspin
