// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The logic of the queue editor: when its rows are outdated, their order, removing the selection
// and moving tracks.
//
// The window asks it once a second to refresh. Main thread.
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
    // In this order. The list style shows only the first. The last comes before the others while
    // everything is audio.
    enum ColumnIndex { kName, kSize, kType, kChanged, kTrack, kColumns };
    static const Column& ColumnAt(int index);

    // Keeps `queue`.
    explicit CEditQueueDialog(IQueueModel& queue) : m_queue(queue) {}

    // All rows again; nothing if neither the queue nor the order has changed since the last call.
    // `isSeen`: the window is visible to the user.
    std::optional<std::vector<QueueRow>> Refresh(bool isSeen);
    // As of the last Refresh.
    bool IsAllAudio() const { return m_state.bAllAudio; }
    // The text under the list: the total, and what is in the drives.
    std::u16string Summary() const;

    // The order of the rows: initially by name, as whenever not everything is audio.
    QueueOrder Order() const { return m_order; }
    void SetOrder(QueueOrder order);

    // Removes these paths, compared exactly, from the queue. Does nothing if there are none. The
    // next Refresh shows the result.
    void RemoveSelected(const std::vector<std::u16string>& selected);

    // Moves these tracks to before another one, or to the end, if the rows are in track order;
    // otherwise does nothing. The next Refresh shows the result.
    void Move(const std::vector<std::u16string>& selected, const std::u16string& before);
    // Moves them together by one place, up or down. If the rows are not in track order, first shows
    // that order.
    void MoveUp(const std::vector<std::u16string>& selected) { MoveBy(selected, true); }
    void MoveDown(const std::vector<std::u16string>& selected) { MoveBy(selected, false); }

    // False if the user wants the same general picture for every file.
    static bool ShowFileIcons(ISettingsStore& store);

  private:
    void MoveBy(const std::vector<std::u16string>& selected, bool up);

    IQueueModel& m_queue;
    QueueState m_state;
    QueueOrder m_order = QueueOrder::ByName;
    bool m_bStale = true; // regardless of the version
};

} // namespace larkspin
