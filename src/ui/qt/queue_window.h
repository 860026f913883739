// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The window of the queue editor. Files and folders can be dropped on it. If the desktop has no
// tray, it also stands in for the tray icon (CStandIn). Main thread.
#pragma once

#include "ui/edit_queue_dialog.h"
#include "ui/qt/queue_model.h"
#include "ui/qt/stand_in.h"
#include "ui/queue_layout.h"

#include <QMenu>
#include <QWidget>

#include <functional>
#include <string>
#include <vector>

class QCheckBox;
class QLabel;
class QPushButton;
class QSizeGrip;
class QTreeView;

namespace larkspin {

class CQueueWindow final : public QWidget {
    Q_OBJECT

  public:
    // Keeps all references. Starts hidden. `dropped` is called for each dropped path.
    CQueueWindow(CEditQueueDialog& logic, CQueueModel& model,
                 std::function<void(const std::u16string& path)> dropped);

    CStandIn& StandIn() { return *m_pHead; }
    // While on, closing minimises the window instead of hiding it, because nothing else of the
    // program is visible.
    void SetStandIn(bool on);
    bool IsStandIn() const { return m_bStandIn; }

    // Updates the rows if the queue has changed.
    void RefreshRows();

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void MakeList();
    void MakeHint();
    void AddTrackKeys();
    int ColumnsWidth() const;
    void MeasureControls();
    void WidenColumns();
    void FitName(int widthBefore);
    void LayOut();
    void SetReportStyle(bool on);
    void ShowColumns();
    void ShowOrder();
    void MoveTracks(bool up);
    void CloseCommand();
    void RemoveSelected();
    void ShowState(); // whatever depends on the rows and the selection
    void ShowContextMenu(QPoint position);
    std::vector<std::u16string> SelectedPaths() const;

    CEditQueueDialog& m_logic;
    CQueueModel& m_model;
    QueueControlSizes m_sizes;
    bool m_bStandIn = false;
    bool m_bReport = false; // the columns are shown
    const std::function<void(const std::u16string& path)> m_dropped;
    CStandIn* m_pHead = nullptr;
    QLabel* m_pHint = nullptr;  // over the empty list
    QLabel* m_pTotal = nullptr; // under the list
    QTreeView* m_pList = nullptr;
    QCheckBox* m_pReport = nullptr;
    QPushButton* m_pDelete = nullptr;
    QPushButton* m_pClose = nullptr;
    QSizeGrip* m_pGrip = nullptr;
    QMenu m_contextMenu;
};

} // namespace larkspin
