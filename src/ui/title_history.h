// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The last disc titles, offered for completion in the data dialog and kept in the settings store.
// Used by one thread at a time.
#pragma once

#include "platform/settings_store.h"

#include <list>
#include <string>

namespace larkspin {

// The longest title, in units.
inline constexpr size_t kTitleLimit = 127;

class CAutoCompletionList {
  public:
    static constexpr size_t kMaxTitles = 16;

    // Reads the titles "0", "1", ... up to the first one missing; creates the key if there is none.
    // If the store fails, the list is empty.
    void Load(ISettingsStore& store);
    // Appends `title` unless it is empty or already there, in which case it keeps its place. The
    // oldest one is dropped if there are too many.
    void Add(const std::u16string& title);
    // Does nothing further if the store fails; nobody is told.
    void Store(ISettingsStore& store) const;

    // Oldest first.
    const std::list<std::u16string>& Titles() const { return m_titles; }

  private:
    std::list<std::u16string> m_titles;
};

} // namespace larkspin
