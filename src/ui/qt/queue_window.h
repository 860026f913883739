// The window of the queue editor. Where the desktop has no tray it also stands in for the tray
// icon: a button that takes its clicks and has its menu, and a line for its balloons. Main thread.
#pragma once

#include "ui/edit_queue_dialog.h"
#include "ui/qt/queue_model.h"
#include "ui/queue_layout.h"
#include "ui/tray_icon.h"

#include <QMenu>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <string>
#include <vector>

class QCheckBox;
class QLabel;
class QPushButton;
class QSizeGrip;
class QToolButton;
class QTreeView;

namespace larkspin {

class CQueueWindow final : public QWidget {
    Q_OBJECT

  public:
    // All references are kept. Starts hidden.
    CQueueWindow(CEditQueueDialog& logic, CQueueModel& model);

    // Wires the stand-in: left clicks call `clicked`; right clicks and the arrow show `menu`, which
    // is kept.
    void ConnectStandIn(QMenu& menu, std::function<void()> clicked);
    // While on, closing minimises the window instead of hiding it, as it is all there is to see of
    // the program.
    void SetStandIn(bool on);
    bool IsStandIn() const { return m_bStandIn; }
    void SetStandInIcon(const QIcon& icon);
    void ShowNotice(const Balloon& balloon);

    // Takes the rows from the queue if it has changed.
    void RefreshRows();

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void MakeList();
    void MakeHead();
    void SetNotice(const QString& text);
    void MeasureControls();
    void WidenColumns();
    void FitName(int widthBefore);
    void LayOut();
    void SetReportStyle(bool on);
    void CloseCommand();
    void RemoveSelected();
    void ShowContextMenu(QPoint position);
    std::vector<std::u16string> SelectedPaths() const;

    CEditQueueDialog& m_logic;
    CQueueModel& m_model;
    QueueControlSizes m_sizes;
    bool m_bStandIn = false;
    QWidget* m_pHead = nullptr;
    QToolButton* m_pStandIn = nullptr;
    QLabel* m_pNotice = nullptr;
    QTreeView* m_pList = nullptr;
    QCheckBox* m_pReport = nullptr;
    QPushButton* m_pDelete = nullptr;
    QPushButton* m_pClose = nullptr;
    QSizeGrip* m_pGrip = nullptr;
    QMenu m_contextMenu;
    QTimer m_noticeTimer;
};

} // namespace larkspin
