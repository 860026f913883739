// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The queue editor's own knowledge: when its rows are stale, in which order they stand, removing
// what is selected and moving tracks.
//
// The window asks it to refresh once a second. Main thread.
#pragma once

#include "platform/settings_store.h"
#include "ui/models.h"
#include "ui/queue_rows.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace larkspin {

class CEditQueueDialog {
  public:
    static constexpr uint32_t kRefreshPeriodMs = 1000;

    struct Column {
        const char16_t* szTitle;
        int nWidth; // pixels
        bool bRightAligned;
    };
    // In this order; the first is the only one of the list style. The last stands in front of them
    // while all is audio.
    enum ColumnIndex { kName, kSize, kType, kChanged, kTrack, kColumns };
    static const Column& ColumnAt(int index);

    // `queue` is kept.
    explicit CEditQueueDialog(IQueueModel& queue) : m_queue(queue) {}

    // All rows anew; empty if neither the queue nor the order has changed since the last call.
    // `isSeen`: the user can see the window.
    std::optional<std::vector<QueueRow>> Refresh(bool isSeen);
    // Known by the last Refresh.
    bool IsAllAudio() const { return m_state.bAllAudio; }
    // What stands under the list: the total, and what is in the drives.
    std::u16string Summary() const;

    // The order of the rows: by name at first, and whenever not all is audio.
    QueueOrder Order() const { return m_order; }
    void SetOrder(QueueOrder order);

    // Removes these paths, compared whole and exactly, from the queue. Nothing selected, nothing
    // done. The next Refresh shows the result.
    void RemoveSelected(const std::vector<std::u16string>& selected);

    // Puts these tracks in front of another, or at the end; nothing unless the rows are in the
    // order of the tracks. The next Refresh shows the result.
    void Move(const std::vector<std::u16string>& selected, const std::u16string& before);
    // One place up or down, together. Shows the order of the tracks first if that is not to be
    // seen.
    void MoveUp(const std::vector<std::u16string>& selected) { MoveBy(selected, true); }
    void MoveDown(const std::vector<std::u16string>& selected) { MoveBy(selected, false); }

    // False if the user wants the general picture for every file.
    static bool ShowFileIcons(ISettingsStore& store);

  private:
    void MoveBy(const std::vector<std::u16string>& selected, bool up);

    IQueueModel& m_queue;
    QueueState m_state;
    QueueOrder m_order = QueueOrder::ByName;
    bool m_bStale = true; // whatever the version says
};

} // namespace larkspin
