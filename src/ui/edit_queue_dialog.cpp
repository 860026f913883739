#include "ui/edit_queue_dialog.h"

#include "platform/settings_keys.h"

#include <array>

namespace larkspin {

const CEditQueueDialog::Column& CEditQueueDialog::ColumnAt(int index) {
    static constexpr std::array<Column, kColumns> kTable = {
        Column{u"Name", 250, false}, Column{u"Size", 80, true}, Column{u"Type", 150, false},
        Column{u"Changed", 100, false}};
    return kTable.at(static_cast<size_t>(index));
}

std::optional<std::vector<QueueRow>> CEditQueueDialog::Refresh() {
    // The version first: a change that comes between the two reads is seen next time.
    const uint64_t version = m_queue.Version();
    if (version == m_version) {
        return std::nullopt;
    }
    m_version = version;
    return SortedRows(m_queue.Paths());
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
