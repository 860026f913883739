// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/edit_queue_dialog.h"

#include "platform/settings_store.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <unordered_set>

namespace larkspin {

const CEditQueueDialog::Column& CEditQueueDialog::ColumnAt(int index) {
    static constexpr std::array<Column, kColumns> kTable = {
        Column{u"Name", 250, false}, Column{u"Size", 80, true}, Column{u"Type", 150, false},
        Column{u"Changed", 100, false}, Column{u"Track", 50, true}};
    return kTable.at(static_cast<size_t>(index));
}

std::optional<std::vector<QueueRow>> CEditQueueDialog::Refresh(bool isSeen) {
    // The version first: a change in between the two reads is noticed next time.
    const uint64_t version = m_state.nVersion;
    m_state = m_queue.State(isSeen);
    if (!m_bStale && m_state.nVersion == version) {
        return std::nullopt;
    }
    m_bStale = false;
    if (!m_state.bAllAudio) {
        m_order = QueueOrder::ByName;
    }
    return MakeRows(m_queue.Paths(), m_order);
}

std::u16string CEditQueueDialog::Summary() const {
    const bool areBoth = !m_state.strTotal.empty() && !m_state.strDiscs.empty();
    return m_state.strTotal + (areBoth ? u"\n" : u"") + m_state.strDiscs;
}

void CEditQueueDialog::SetOrder(QueueOrder order) {
    if (m_state.bAllAudio && order != m_order) {
        m_order = order;
        m_bStale = true;
    }
}

void CEditQueueDialog::Move(const std::vector<std::u16string>& selected,
                            const std::u16string& before) {
    if (m_order == QueueOrder::ByTrack && !selected.empty()) {
        m_queue.Move(selected, before);
    }
}

void CEditQueueDialog::MoveBy(const std::vector<std::u16string>& selected, bool up) {
    if (m_order != QueueOrder::ByTrack) {
        SetOrder(QueueOrder::ByTrack);
        return;
    }
    const std::vector<std::u16string> paths = m_queue.Paths();
    const std::unordered_set<std::u16string> chosen(selected.begin(), selected.end());
    const auto isChosen = [&](const std::u16string& path) { return chosen.contains(path); };
    if (up) {
        const auto first = std::find_if(paths.begin(), paths.end(), isChosen);
        if (first != paths.begin() && first != paths.end()) {
            Move(selected, *std::prev(first));
        }
        return;
    }
    const auto behind = std::find_if(paths.rbegin(), paths.rend(), isChosen).base();
    if (behind != paths.begin() && behind != paths.end()) {
        Move(selected, std::next(behind) != paths.end() ? *std::next(behind) : std::u16string());
    }
}

void CEditQueueDialog::RemoveSelected(const std::vector<std::u16string>& selected) {
    if (!selected.empty()) {
        m_queue.Remove(selected);
    }
}

bool CEditQueueDialog::ShowFileIcons(ISettingsStore& store) {
    return store.ReadNumber(kSettingsKey, kShowFileIconsValue).value_or(1) != 0;
}

} // namespace larkspin
