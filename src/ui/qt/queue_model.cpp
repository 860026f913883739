#include "ui/qt/queue_model.h"

#include "ui/edit_queue_dialog.h"
#include "ui/qt/artwork.h"
#include "ui/qt/qt_text.h"

#include <QMimeDatabase>

#include <utility>

namespace larkspin {

CQueueModel::CQueueModel(IFileSystem& files, IClock& clock, CMainThread& main, bool showFileIcons)
    : m_icons{FolderIcon(), QIcon(), FileIcon()},
      m_iconIndexes(showFileIcons, [this](std::u16string_view suffix) { return AddIcon(suffix); }),
      m_loader(files, clock, main, [this](const std::u16string& path, const QueueItemTexts& texts) {
          Deliver(path, texts);
      }) {}

void CQueueModel::SetRows(std::vector<QueueRow> rows) {
    m_loader.Clear();
    beginResetModel();
    m_rows = std::move(rows);
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
    if (role == Qt::DisplayRole || role == Qt::ToolTipRole) {
        switch (column) {
        case CEditQueueDialog::kName:
            return ToQt(path);
        case CEditQueueDialog::kSize:
            return ToQt(Texts(path).details.strSize);
        case CEditQueueDialog::kType:
            return ToQt(Texts(path).strType);
        case CEditQueueDialog::kChanged:
            return ToQt(Texts(path).details.strChanged);
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

void CQueueModel::Deliver(const std::u16string& path, const QueueItemTexts& texts) {
    const auto known = m_known.find(path);
    if (known == m_known.end()) {
        return; // the row is gone
    }
    known->second.texts = texts;
    const size_t row = RowAtOrAfter(m_rows, path);
    emit dataChanged(index(static_cast<int>(row), 0),
                     index(static_cast<int>(row), CEditQueueDialog::kColumns - 1));
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
