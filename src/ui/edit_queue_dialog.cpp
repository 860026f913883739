#include "ui/edit_queue_dialog.h"

#include "platform/settings_keys.h"

namespace larkspin {

const std::vector<CEditQueueDialog::Column>& CEditQueueDialog::Columns() {
    static const std::vector<Column> columns = {{u"Name", 250, false},
                                                {u"Size", 80, true},
                                                {u"Type", 150, false},
                                                {u"Changed", 100, false}};
    return columns;
}

std::optional<CEditQueueDialog::Refill> CEditQueueDialog::Refresh() {
    // The version first: a change that comes between the two reads is seen next time.
    const uint64_t version = m_queue.Version();
    if (version == m_version) {
        return std::nullopt;
    }
    m_version = version;
    Refill refill;
    refill.rows = SortedRows(m_queue.Paths());
    refill.edits = RowEdits(m_rows, refill.rows);
    m_rows = refill.rows;
    return refill;
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
