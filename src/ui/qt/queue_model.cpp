// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/queue_model.h"

#include "ui/edit_queue_dialog.h"
#include "ui/qt/artwork.h"
#include "ui/qt/qt_text.h"

#include <QDataStream>
#include <QIODevice>
#include <QMimeData>
#include <QMimeDatabase>

#include <memory>
#include <set>
#include <utility>

namespace larkspin {

namespace {

constexpr const char* kRowsType = "application/x-larkspin-queue-rows";

} // namespace

CQueueModel::CQueueModel(IFileSystem& files, IClock& clock, CMainThread& main, bool showFileIcons)
    : m_icons{FolderIcon(), QIcon(), FileIcon()},
      m_iconIndexes(showFileIcons, [this](std::u16string_view suffix) { return AddIcon(suffix); }),
      m_loader(files, clock, main, [this](const std::u16string& path, const QueueItemTexts& texts) {
          Deliver(path, texts);
      }) {}

std::vector<QueueRow> CQueueModel::SetRows(std::vector<QueueRow> rows) {
    m_loader.Clear();
    beginResetModel();
    std::vector<QueueRow> before = std::exchange(m_rows, std::move(rows));
    m_rowOf.clear();
    for (size_t row = 0; row < m_rows.size(); ++row) {
        m_rowOf.emplace(m_rows[row].strPath, static_cast<int>(row));
    }
    std::unordered_map<std::u16string, Known> kept;
    for (const QueueRow& row : m_rows) {
        const auto known = m_known.find(row.strPath);
        if (known != m_known.end()) {
            known->second.bRequested = false;
            kept.insert(std::move(*known));
        }
    }
    m_known = std::move(kept);
    endResetModel();
    return before;
}

std::optional<int> CQueueModel::RowOf(const std::u16string& path) const {
    const auto found = m_rowOf.find(path);
    return found != m_rowOf.end() ? std::optional(found->second) : std::nullopt;
}

int CQueueModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int CQueueModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : CEditQueueDialog::kColumns;
}

const QueueItemTexts& CQueueModel::Texts(const std::u16string& path) const {
    Known& known = m_known[path];
    if (!known.bRequested) {
        known.bRequested = true;
        m_loader.Request(path);
    }
    return known.texts;
}

QVariant CQueueModel::data(const QModelIndex& index, int role) const {
    const std::u16string& path = m_rows.at(static_cast<size_t>(index.row())).strPath;
    const int column = index.column();
    if (role == Qt::ToolTipRole) {
        return PlainToolTip(data(index, Qt::DisplayRole).toString());
    }
    if (role == Qt::DisplayRole) {
        switch (column) {
        case CEditQueueDialog::kName:
            return ToQt(path);
        case CEditQueueDialog::kSize:
            return ToQt(Texts(path).details.strSize);
        case CEditQueueDialog::kType:
            return ToQt(Texts(path).strType);
        case CEditQueueDialog::kChanged:
            return ToQt(Texts(path).details.strChanged);
        case CEditQueueDialog::kTrack:
            return QString::number(m_rows.at(static_cast<size_t>(index.row())).nTrack);
        default:
            return {};
        }
    }
    if (role == Qt::DecorationRole && column == CEditQueueDialog::kName) {
        const bool folder = Texts(path).details.bFolder;
        return m_icons.at(static_cast<size_t>(m_iconIndexes.QueueItemIcon(path, folder)));
    }
    if (role == Qt::TextAlignmentRole && CEditQueueDialog::ColumnAt(column).bRightAligned) {
        return QVariant(Qt::AlignRight | Qt::AlignVCenter);
    }
    return {};
}

QVariant CQueueModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal) {
        return {};
    }
    const CEditQueueDialog::Column& column = CEditQueueDialog::ColumnAt(section);
    if (role == Qt::DisplayRole) {
        return ToQt(column.szTitle);
    }
    if (role == Qt::TextAlignmentRole) {
        return QVariant((column.bRightAligned ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
    }
    return {};
}

Qt::ItemFlags CQueueModel::flags(const QModelIndex& index) const {
    if (!m_bDragging) {
        return QAbstractTableModel::flags(index);
    }
    // Between the rows, not on one of them.
    return index.isValid() ? QAbstractTableModel::flags(index) | Qt::ItemIsDragEnabled
                           : Qt::ItemIsDropEnabled;
}

QStringList CQueueModel::mimeTypes() const {
    return {QString::fromLatin1(kRowsType)};
}

QMimeData* CQueueModel::mimeData(const QModelIndexList& indexes) const {
    std::set<int> rows; // an index for each column
    for (const QModelIndex& index : indexes) {
        rows.insert(index.row());
    }
    QStringList paths;
    for (const int row : rows) {
        paths << ToQt(m_rows.at(static_cast<size_t>(row)).strPath);
    }
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << paths;
    auto data = std::make_unique<QMimeData>();
    data->setData(QString::fromLatin1(kRowsType), bytes);
    return data.release();
}

bool CQueueModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                               const QModelIndex&) {
    if (action != Qt::MoveAction || !data->hasFormat(QString::fromLatin1(kRowsType))) {
        return false;
    }
    QStringList dropped;
    QDataStream stream(data->data(QString::fromLatin1(kRowsType)));
    stream >> dropped;
    std::vector<std::u16string> paths;
    for (const QString& path : dropped) {
        paths.push_back(FromQt(path));
    }
    const bool isAtEnd = row < 0 || row >= rowCount();
    emit Dropped(paths, isAtEnd ? std::u16string() : m_rows.at(static_cast<size_t>(row)).strPath);
    return true;
}

void CQueueModel::Deliver(const std::u16string& path, const QueueItemTexts& texts) {
    const auto known = m_known.find(path);
    if (known == m_known.end()) {
        return; // the row is gone
    }
    known->second.texts = texts;
    const int row = m_rowOf.at(path);
    emit dataChanged(index(row, 0), index(row, CEditQueueDialog::kColumns - 1));
}

int CQueueModel::AddIcon(std::u16string_view suffix) {
    const QMimeType type = QMimeDatabase().mimeTypeForFile(QStringLiteral("x") + ToQt(suffix),
                                                           QMimeDatabase::MatchExtension);
    QIcon icon = QIcon::fromTheme(type.iconName());
    if (icon.isNull()) {
        icon = QIcon::fromTheme(type.genericIconName());
    }
    if (icon.isNull()) {
        return CQueueIcons::kFile;
    }
    m_icons.push_back(icon);
    return static_cast<int>(m_icons.size()) - 1;
}

} // namespace larkspin
