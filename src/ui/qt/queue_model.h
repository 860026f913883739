// The queue editor's table: rows by name, the other columns read when they are looked at. Main
// thread.
#pragma once

#include "ui/qt/queue_loader.h"
#include "ui/queue_icons.h"
#include "ui/queue_rows.h"

#include <QAbstractTableModel>
#include <QIcon>

#include <string>
#include <unordered_map>
#include <vector>

namespace larkspin {

class CQueueModel final : public QAbstractTableModel {
    Q_OBJECT

  public:
    // All references are kept.
    CQueueModel(IFileSystem& files, IClock& clock, CMainThread& main, bool showFileIcons);

    // All rows anew. What was read of a path stays on show until it has been read again.
    void SetRows(std::vector<QueueRow> rows);
    const std::vector<QueueRow>& Rows() const { return m_rows; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    struct Known {
        QueueItemTexts texts;
        bool bRequested = false; // since the last SetRows
    };

    const QueueItemTexts& Texts(const std::u16string& path) const;
    void Deliver(const std::u16string& path, const QueueItemTexts& texts);
    int AddIcon(std::u16string_view suffix);

    std::vector<QueueRow> m_rows;
    std::vector<QIcon> m_icons; // the image list, see CQueueIcons
    mutable CQueueIcons m_iconIndexes;
    mutable std::unordered_map<std::u16string, Known> m_known;
    mutable CQueueLoader m_loader;
};

} // namespace larkspin
