// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The picture before each path in the queue editor. The desktop is asked once for each suffix, and
// all files with that suffix share its picture. Main thread.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace larkspin {

// The suffix of the path's last component, from the last dot on; empty without a dot.
std::u16string_view QueueItemSuffix(std::u16string_view path);

class CQueueIcons {
  public:
    static constexpr int kFolder = 0;
    static constexpr int kFile = 2;

    // Asks the desktop for the picture for files with that suffix and adds it to the image list.
    // Returns its index, or kFile if the desktop has none.
    using AddIcon = std::function<int(std::u16string_view suffix)>;

    // `showFileIcons` off: every file has the same general picture.
    CQueueIcons(bool showFileIcons, AddIcon addIcon)
        : m_bShowFileIcons(showFileIcons), m_addIcon(std::move(addIcon)) {}

    int QueueItemIcon(std::u16string_view path, bool folder);

  private:
    const bool m_bShowFileIcons;
    const AddIcon m_addIcon;
    std::map<std::u16string, int, std::less<>> m_iconBySuffix; // suffix as written, with the dot
};

} // namespace larkspin
