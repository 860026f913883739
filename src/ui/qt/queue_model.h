// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The queue editor's table. All columns but name and track are read when they become visible. If
// allowed, rows can be dragged within it. Main thread.
#pragma once

#include "ui/qt/queue_loader.h"
#include "ui/queue_icons.h"
#include "ui/queue_rows.h"

#include <QAbstractTableModel>
#include <QIcon>

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace larkspin {

class CQueueModel final : public QAbstractTableModel {
    Q_OBJECT

  public:
    // Keeps all references.
    CQueueModel(IFileSystem& files, IClock& clock, CMainThread& main, bool showFileIcons);

    // Replaces all rows and returns the old ones. What was read about a path stays visible until it
    // has been read again.
    std::vector<QueueRow> SetRows(std::vector<QueueRow> rows);
    const std::vector<QueueRow>& Rows() const { return m_rows; }
    // Empty if no row has this path.
    std::optional<int> RowOf(const std::u16string& path) const;

    void AllowDragging(bool allow) { m_bDragging = allow; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    // Does not move anything itself; see Dropped.
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

  signals:
    // These paths were dropped before that one, or after the last if that is empty.
    void Dropped(const std::vector<std::u16string>& paths, const std::u16string& before);

  private:
    struct Known {
        QueueItemTexts texts;
        bool bRequested = false; // since the last SetRows
    };

    const QueueItemTexts& Texts(const std::u16string& path) const;
    void Deliver(const std::u16string& path, const QueueItemTexts& texts);
    int AddIcon(std::u16string_view suffix);

    std::vector<QueueRow> m_rows;
    std::unordered_map<std::u16string, int> m_rowOf;
    bool m_bDragging = false;
    std::vector<QIcon> m_icons; // the image list, see CQueueIcons
    mutable CQueueIcons m_iconIndexes;
    mutable std::unordered_map<std::u16string, Known> m_known;
    mutable CQueueLoader m_loader;
};

} // namespace larkspin
