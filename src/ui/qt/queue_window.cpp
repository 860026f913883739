// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/queue_window.h"

#include "platform/clock.h"
#include "platform/text.h"
#include "ui/qt/artwork.h"
#include "ui/qt/controls.h"
#include "ui/qt/menu_view.h"
#include "ui/qt/qt_text.h"
#include "ui/qt/windows.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QItemSelection>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QSizeGrip>
#include <QStyle>
#include <QTreeView>
#include <QUrl>
#include <QtMath>

#include <algorithm>
#include <set>
#include <utility>

namespace larkspin {

namespace {

constexpr int kWidthUnits = 253;
constexpr int kHeightUnits = 177;
constexpr int kLastColumn = CEditQueueDialog::kColumns - 1;

} // namespace

CQueueWindow::CQueueWindow(CEditQueueDialog& logic, CQueueModel& model,
                           std::function<void(const std::u16string& path)> dropped)
    : m_logic(logic), m_model(model), m_dropped(std::move(dropped)) {
    setWindowTitle(QStringLiteral("Larkspin Queue"));
    setWindowIcon(AppIcon());
    setAcceptDrops(true);
    m_pHead = new CStandIn(this);
    m_pHead->hide();
    connect(m_pHead, &CStandIn::HeightChanged, this, [this] {
        MeasureControls();
        LayOut();
    });
    MakeList();
    MakeHint();
    m_pTotal = new QLabel(this);
    m_pTotal->setObjectName(QStringLiteral("1022"));
    m_pTotal->setTextFormat(Qt::PlainText);
    m_pTotal->setWordWrap(true);
    m_pTotal->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    m_pReport = new QCheckBox(QStringLiteral("&Show additional information"), this);
    m_pReport->setObjectName(QStringLiteral("1015"));
    connect(m_pReport, &QCheckBox::toggled, this, [this](bool on) { SetReportStyle(on); });
    m_pDelete = new QPushButton(QStringLiteral("&Delete selected"), this);
    m_pDelete->setObjectName(QStringLiteral("1014"));
    connect(m_pDelete, &QPushButton::clicked, this, [this] { RemoveSelected(); });
    m_pClose = new QPushButton(QStringLiteral("&Close"), this);
    m_pClose->setObjectName(QString::number(CMD_CANCEL));
    connect(m_pClose, &QPushButton::clicked, this, [this] { CloseCommand(); });
    m_pGrip = new QSizeGrip(this);
    m_pGrip->setObjectName(QStringLiteral("1013"));
    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    connect(escape, &QShortcut::activated, this, [this] { CloseCommand(); });

    SetReportStyle(true); // sets the widths of the columns
    const QRect desktop = screen()->availableGeometry();
    const int width = std::clamp(ColumnsWidth(), DialogWidth(*this, kWidthUnits),
                                 std::max(DialogWidth(*this, kWidthUnits), desktop.width() / 2));
    SetReportStyle(false);
    MeasureControls();
    resize(width, DialogHeight(*this, kHeightUnits));
    setGeometry(QStyle::alignedRect(Qt::LeftToRight, Qt::AlignCenter, size(), desktop));
    ShowState();
    m_pList->setFocus();
}

void CQueueWindow::MakeList() {
    m_pList = new QTreeView(this);
    m_pList->setObjectName(QStringLiteral("1012"));
    m_pList->setAccessibleName(QStringLiteral("Files and folders to be written"));
    m_pList->setModel(&m_model);
    m_pList->setRootIsDecorated(false);
    m_pList->setItemsExpandable(false);
    m_pList->setUniformRowHeights(true);
    m_pList->setAllColumnsShowFocus(true);
    m_pList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_pList->setTextElideMode(Qt::ElideMiddle); // both folder and name stay readable
    m_pList->header()->setStretchLastSection(false);
    m_pList->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_pList, &QWidget::customContextMenuRequested, this,
            [this](QPoint position) { ShowContextMenu(position); });
    auto* remove = new QShortcut(QKeySequence(QKeySequence::Delete), m_pList);
    remove->setContext(Qt::WidgetShortcut);
    connect(remove, &QShortcut::activated, this, [this] { RemoveSelected(); });
    for (int column = 0; column < CEditQueueDialog::kColumns; ++column) {
        m_pList->setColumnWidth(column, CEditQueueDialog::ColumnAt(column).nWidth);
    }
    QHeaderView* header = m_pList->header();
    header->moveSection(CEditQueueDialog::kTrack, 0);
    header->setSectionsClickable(true);
    connect(header, &QHeaderView::sectionClicked, this, [this](int column) {
        if (column == CEditQueueDialog::kTrack || column == CEditQueueDialog::kName) {
            m_logic.SetOrder(column == CEditQueueDialog::kTrack ? QueueOrder::ByTrack
                                                                : QueueOrder::ByName);
            RefreshRows();
        }
    });
    AddTrackKeys();
    m_pList->viewport()->installEventFilter(this);
    connect(m_pList->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { ShowState(); });
}

void CQueueWindow::AddTrackKeys() {
    for (const bool up : {true, false}) {
        auto* key =
            new QShortcut(QKeySequence(Qt::ALT | (up ? Qt::Key_Up : Qt::Key_Down)), m_pList);
        key->setContext(Qt::WidgetShortcut);
        connect(key, &QShortcut::activated, this, [this, up] { MoveTracks(up); });
    }
    // After the drag, because it changes the rows.
    connect(
        &m_model, &CQueueModel::Dropped, this,
        [this](const std::vector<std::u16string>& paths, const std::u16string& before) {
            m_logic.Move(paths, before);
            RefreshRows();
        },
        Qt::QueuedConnection);
}

void CQueueWindow::MoveTracks(bool up) {
    const std::vector<std::u16string> selected = SelectedPaths();
    if (!selected.empty()) {
        if (up) {
            m_logic.MoveUp(selected);
        } else {
            m_logic.MoveDown(selected);
        }
        RefreshRows();
        m_pList->scrollTo(m_pList->currentIndex());
    }
}

// The width for showing all columns completely, and what is beside them.
int CQueueWindow::ColumnsWidth() const {
    const QueueControlSizes sizes;
    const int outside = width() - LayOutQueueEditor(width(), height(), sizes).list.width;
    return m_pList->header()->length() + 2 * m_pList->frameWidth() +
           m_pList->style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, m_pList) + outside;
}

// A large font, or a locale with long dates, needs more than the usual width; a truncated date or
// size is useless. Only while the columns are visible: hidden ones have no width.
void CQueueWindow::WidenColumns() {
    const QFontMetricsF font(m_pList->font());
    const int margins =
        2 * (m_pList->style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, m_pList) + 1);
    const auto widen = [&](int column, const std::u16string& sample) {
        const int needed = qCeil(font.horizontalAdvance(ToQt(sample))) + margins;
        m_pList->setColumnWidth(column, std::max(m_pList->columnWidth(column), needed));
    };
    constexpr int64_t kLongDate = 1'196'160'660; // day and month have two digits
    widen(CEditQueueDialog::kChanged, FormatShortDateTime(kLongDate));
    widen(CEditQueueDialog::kSize, FormatSize(1023));
}

// With details on, the name column takes the width that the others leave, and keeps doing so as the
// list's width changes from `widthBefore`, unless the user has made the columns wider than the
// list.
void CQueueWindow::FitName(int widthBefore) {
    const int width = m_pList->viewport()->width();
    const int columns = m_pList->header()->length();
    if (m_pReport->isChecked() && (columns < width || columns == widthBefore)) {
        const int name = m_pList->columnWidth(CEditQueueDialog::kName) + width - columns;
        m_pList->setColumnWidth(
            CEditQueueDialog::kName,
            std::max(name, CEditQueueDialog::ColumnAt(CEditQueueDialog::kName).nWidth));
    }
}

bool CQueueWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize) {
        FitName(static_cast<const QResizeEvent*>(event)->oldSize().width());
        m_pHint->setGeometry(m_pList->viewport()->rect());
    }
    return QWidget::eventFilter(watched, event);
}

void CQueueWindow::MakeHint() {
    m_pHint = new QLabel(QStringLiteral("Drop files here, or use the file manager's menu."),
                         m_pList->viewport());
    m_pHint->setObjectName(QStringLiteral("hint"));
    m_pHint->setAlignment(Qt::AlignCenter);
    m_pHint->setWordWrap(true);
    m_pHint->setAttribute(Qt::WA_TransparentForMouseEvents);
}

void CQueueWindow::SetStandIn(bool on) {
    m_bStandIn = on;
    m_pHead->setVisible(on);
    MeasureControls();
    LayOut();
}

void CQueueWindow::RefreshRows() {
    std::optional<std::vector<QueueRow>> rows = m_logic.Refresh(isVisible() && !isMinimized());
    const QString summary = ToQt(m_logic.Summary());
    if (summary != m_pTotal->text()) { // there may be more lines, for a playing time or a disc
        m_pTotal->setText(summary);
        MeasureControls();
        LayOut();
    }
    if (!rows) {
        return;
    }
    // What to preserve: the selection, the cursor and the scroll position.
    const std::vector<std::u16string> selected = SelectedPaths();
    const int current = m_pList->currentIndex().row();
    const int top = m_pList->indexAt(QPoint(0, 0)).row();

    const std::vector<QueueRow> before = m_model.SetRows(std::move(*rows));
    ShowOrder();
    ShowState();
    if (m_model.Rows().empty()) {
        return;
    }
    // The present row of what was in a row, or of what followed it.
    const auto nearest = [&](int row) {
        for (auto at = static_cast<size_t>(row); at < before.size(); ++at) {
            if (const std::optional<int> now = m_model.RowOf(before[at].strPath)) {
                return m_model.index(*now, 0);
            }
        }
        return m_model.index(m_model.rowCount() - 1, 0);
    };
    std::set<int> selectedRows;
    for (const std::u16string& path : selected) {
        if (const std::optional<int> row = m_model.RowOf(path)) {
            selectedRows.insert(*row);
        }
    }
    QItemSelection selection;
    for (const int at : selectedRows) {
        if (!selection.isEmpty() && selection.back().bottom() == at - 1) {
            selection.back() =
                QItemSelectionRange(selection.back().topLeft(), m_model.index(at, kLastColumn));
        } else {
            selection.append(
                QItemSelectionRange(m_model.index(at, 0), m_model.index(at, kLastColumn)));
        }
    }
    m_pList->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    if (current >= 0) {
        // If its row is gone, the cursor moves to a neighbour, but selects nothing.
        m_pList->selectionModel()->setCurrentIndex(nearest(current), QItemSelectionModel::NoUpdate);
    }
    if (top >= 0) {
        m_pList->scrollTo(nearest(top), QAbstractItemView::PositionAtTop);
    }
}

std::vector<std::u16string> CQueueWindow::SelectedPaths() const {
    std::vector<std::u16string> paths;
    for (const QItemSelectionRange& range : m_pList->selectionModel()->selection()) {
        for (int row = range.top(); row <= range.bottom(); ++row) {
            paths.push_back(m_model.Rows().at(static_cast<size_t>(row)).strPath);
        }
    }
    return paths;
}

// The cursor has moved to the next row, which is selected so that another Delete removes it.
void CQueueWindow::RemoveSelected() {
    const std::vector<std::u16string> selected = SelectedPaths();
    if (selected.empty()) {
        return;
    }
    m_logic.RemoveSelected(selected);
    RefreshRows();
    if (m_pList->currentIndex().isValid() && !m_pList->selectionModel()->hasSelection()) {
        m_pList->selectionModel()->select(m_pList->currentIndex(),
                                          QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }
}

void CQueueWindow::ShowState() {
    m_pHint->setVisible(m_model.Rows().empty());
    m_pDelete->setEnabled(m_pList->selectionModel()->hasSelection());
}

void CQueueWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) {
        event->acceptProposedAction();
    }
}

void CQueueWindow::dropEvent(QDropEvent* event) {
    for (const QUrl& url : event->mimeData()->urls()) {
        if (url.isLocalFile()) {
            // The bytes as they are: some names are not UTF-8.
            const QByteArray path = url.path(QUrl::FullyEncoded).toLatin1();
            m_dropped(ToWide(QByteArray::fromPercentEncoding(path).toStdString()));
        }
    }
    event->setDropAction(Qt::CopyAction); // the files stay where they are
    event->accept();
}

void CQueueWindow::ShowContextMenu(QPoint position) {
    if (!m_pList->selectionModel()->hasSelection()) {
        return;
    }
    FillMenu(m_contextMenu, QueueMenuItems(m_logic.IsAllAudio()), [this](uint32_t command) {
        if (command == CMD_REMOVE_FROM_QUEUE) {
            RemoveSelected();
        } else {
            MoveTracks(command == CMD_TRACK_UP);
        }
    });
    TrackMenuOnMonitor(m_contextMenu, m_pList->viewport()->mapToGlobal(position));
}

// The track is shown in both styles, with its header, which shows and changes the order.
void CQueueWindow::ShowColumns() {
    const bool tracks = m_logic.IsAllAudio() && !m_model.Rows().empty();
    for (int column = 1; column < CEditQueueDialog::kColumns; ++column) {
        m_pList->setColumnHidden(column, column == CEditQueueDialog::kTrack ? !tracks : !m_bReport);
    }
    m_pList->setHeaderHidden(!m_bReport && !tracks);
    m_pList->header()->setSortIndicatorShown(tracks);
}

void CQueueWindow::ShowOrder() {
    const bool byTrack = m_logic.Order() == QueueOrder::ByTrack;
    const bool isFilled = m_pList->header()->length() == m_pList->viewport()->width();
    ShowColumns();
    if (isFilled) {
        FitName(m_pList->header()->length());
    }
    m_pList->header()->setSortIndicator(
        byTrack ? CEditQueueDialog::kTrack : CEditQueueDialog::kName, Qt::AscendingOrder);
    m_model.AllowDragging(byTrack);
    m_pList->setDragDropMode(byTrack ? QAbstractItemView::InternalMove
                                     : QAbstractItemView::NoDragDrop);
}

void CQueueWindow::SetReportStyle(bool on) {
    m_bReport = on;
    ShowColumns();
    QHeaderView* header = m_pList->header();
    header->setSectionResizeMode(CEditQueueDialog::kName,
                                 on ? QHeaderView::Interactive : QHeaderView::Stretch);
    if (on) {
        m_pList->setColumnWidth(CEditQueueDialog::kName,
                                CEditQueueDialog::ColumnAt(CEditQueueDialog::kName).nWidth);
        WidenColumns();
        FitName(0);
    }
}

void CQueueWindow::CloseCommand() {
    if (m_bStandIn) {
        showMinimized();
    } else {
        hide();
    }
}

void CQueueWindow::closeEvent(QCloseEvent* event) {
    event->ignore();
    CloseCommand();
}

void CQueueWindow::MeasureControls() {
    const QueueControlSizes least;
    const QSize close = m_pClose->sizeHint();
    const QSize remove = m_pDelete->sizeHint();
    const QSize report = m_pReport->sizeHint();
    m_sizes.nCloseWidth = std::max(least.nCloseWidth, close.width());
    m_sizes.nDeleteWidth = std::max(least.nDeleteWidth, remove.width());
    m_sizes.nButtonHeight = std::max({least.nButtonHeight, close.height(), remove.height()});
    m_sizes.nCheckWidth = std::max(least.nCheckWidth, report.width());
    m_sizes.nCheckHeight = std::max(least.nCheckHeight, report.height());
    m_sizes.nTotalHeight =
        std::max(m_pTotal->fontMetrics().height(), m_pTotal->heightForWidth(m_pList->width()));
    m_sizes.nHeadHeight = m_bStandIn ? m_pHead->HeightFor(m_pList->width()) : 0;
    m_sizes.nHeadWidth = m_bStandIn ? m_pHead->minimumSizeHint().width() : 0;
    const QueueMinimum minimum = MinimumQueueEditor(m_sizes);
    setMinimumSize(minimum.width, minimum.height);
}

void CQueueWindow::LayOut() {
    const QueueLayout layout = LayOutQueueEditor(width(), height(), m_sizes);
    const auto place = [](QWidget* control, const QueueRect& at) {
        control->setGeometry(at.x, at.y, at.width, at.height);
    };
    place(m_pHead, layout.head);
    place(m_pList, layout.list);
    place(m_pTotal, layout.total);
    place(m_pReport, layout.check);
    place(m_pDelete, layout.deleteSelected);
    place(m_pClose, layout.close);
    place(m_pGrip, layout.grip);
    m_pGrip->setVisible(!isMaximized());
}

void CQueueWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    LayOut();
    MeasureControls(); // texts may need more or fewer lines now
    LayOut();
}

void CQueueWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange ||
        event->type() == QEvent::WindowStateChange) {
        MeasureControls();
        if (m_pReport->isChecked()) {
            WidenColumns();
        }
        LayOut();
    }
}

} // namespace larkspin
