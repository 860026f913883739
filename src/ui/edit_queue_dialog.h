// The queue editor's own knowledge: its rows, and removing what is selected.
//
// The window asks it to refresh once a second and applies the edits it gives. Main thread.
#pragma once

#include "platform/settings_store.h"
#include "ui/models.h"
#include "ui/queue_rows.h"

#include <optional>
#include <string>
#include <vector>

namespace larkspin {

class CEditQueueDialog {
  public:
    static constexpr uint32_t kRefreshPeriodMs = 1000;

    struct Column {
        const char16_t* szTitle;
        int nWidth; // pixels, for a default font
        bool bRightAligned;
    };
    static const std::vector<Column>& Columns();

    // `queue` is kept.
    explicit CEditQueueDialog(IQueueModel& queue) : m_queue(queue) {}

    struct Refill {
        std::vector<QueueRow> rows;
        std::vector<RowEdit> edits; // from the rows before
    };
    // Empty if the queue has not changed since the last call.
    std::optional<Refill> Refresh();

    // Removes these paths, compared whole and exactly, from the queue. Nothing selected, nothing
    // done. The next Refresh shows the result.
    void RemoveSelected(const std::vector<std::u16string>& selected);

    // False if the user wants the general picture for every file.
    static bool ShowFileIcons(ISettingsStore& store);

  private:
    IQueueModel& m_queue;
    std::vector<QueueRow> m_rows;
    std::optional<uint64_t> m_version;
};

} // namespace larkspin
