// The queue editor's own knowledge: when its rows are stale, and removing what is selected.
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
    // In this order; the first is the only one of the list style.
    enum ColumnIndex { kName, kSize, kType, kChanged, kColumns };
    static const Column& ColumnAt(int index);

    // `queue` is kept.
    explicit CEditQueueDialog(IQueueModel& queue) : m_queue(queue) {}

    // All rows anew; empty if the queue has not changed since the last call.
    std::optional<std::vector<QueueRow>> Refresh();

    // Removes these paths, compared whole and exactly, from the queue. Nothing selected, nothing
    // done. The next Refresh shows the result.
    void RemoveSelected(const std::vector<std::u16string>& selected);

    // False if the user wants the general picture for every file.
    static bool ShowFileIcons(ISettingsStore& store);

  private:
    IQueueModel& m_queue;
    std::optional<uint64_t> m_version; // of the queue at the last refresh
};

} // namespace larkspin
