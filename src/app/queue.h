// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The write queue: the paths picked for the next disc, no two equal, in order of arrival unless the
// user moves them. The order is that of the tracks of an audio disc.
//
// It lives in memory only. All operations may be called on any thread; each is one step, and those
// that change the queue call back once when the lock is free again.
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

    // Does nothing, and says false, for a path that is there already. Compared exactly.
    bool Add(const std::u16string& path);
    void Clear();
    // Removes every path that equals one of `paths`, then looks anew whether all is audio. Calls
    // back even if none did.
    void Remove(const std::vector<std::u16string>& paths);
    void RecheckAllAudio();
    // Puts those of `paths` that are there, in the order that they have, in front of `before`, or
    // at the end if that is not there.
    void Move(const std::vector<std::u16string>& paths, const std::u16string& before);

    std::vector<std::u16string> Paths();
    // The same, for one who removes them later: *last gets the number of the latest arrival.
    std::vector<std::u16string> Paths(uint64_t* last);
    // Removes what had arrived up to that number. A path that was removed and has come again since
    // then stays.
    void RemoveUpTo(uint64_t last);
    bool IsEmpty();
    // Every path has an audio suffix; true for an empty queue.
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
