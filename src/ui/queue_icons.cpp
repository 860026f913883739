// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/queue_icons.h"

#include "platform/paths.h"

namespace larkspin {

std::u16string_view QueueItemSuffix(std::u16string_view path) {
    const std::u16string_view name = LeafName(path);
    const size_t dot = name.rfind(u'.');
    return dot == std::u16string_view::npos ? std::u16string_view() : name.substr(dot);
}

int CQueueIcons::QueueItemIcon(std::u16string_view path, bool folder) {
    if (folder) {
        return kFolder;
    }
    const std::u16string_view suffix = QueueItemSuffix(path);
    if (!m_bShowFileIcons || suffix.empty()) {
        return kFile;
    }
    auto known = m_iconBySuffix.find(suffix);
    if (known == m_iconBySuffix.end()) {
        known = m_iconBySuffix.emplace(suffix, m_addIcon(suffix)).first;
    }
    return known->second;
}

} // namespace larkspin
