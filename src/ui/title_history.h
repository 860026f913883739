// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The disc titles used last, offered for completion in the data dialog and kept in the settings
// store. Used by one thread at a time.
#pragma once

#include "platform/settings_store.h"

#include <list>
#include <string>

namespace larkspin {

// Longest title, in units.
inline constexpr size_t kTitleLimit = 127;

class CAutoCompletionList {
  public:
    static constexpr size_t kMaxTitles = 16;

    // Reads the titles "0", "1", ... up to the first that is missing; makes the key if there is
    // none. A store that fails gives an empty list.
    void Load(ISettingsStore& store);
    // Appends `title` unless it is empty or already there, which keeps its place; the oldest one
    // goes when there are too many.
    void Add(const std::u16string& title);
    // A store that fails is left as it is; nobody is told.
    void Store(ISettingsStore& store) const;

    // Oldest first.
    const std::list<std::u16string>& Titles() const { return m_titles; }

  private:
    std::list<std::u16string> m_titles;
};

} // namespace larkspin
