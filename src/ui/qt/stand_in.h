// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Stands in for the tray icon if the desktop has no tray: a button with its clicks and its menu,
// labelled buttons for the main commands, and a line for its balloons. Main thread.
#pragma once

#include "ui/menus.h"
#include "ui/tray_icon.h"

#include <QMenu>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <vector>

class QLabel;
class QPushButton;
class QToolButton;

namespace larkspin {

class CStandIn final : public QWidget {
    Q_OBJECT

  public:
    explicit CStandIn(QWidget* parent);

    // Left clicks call `clicked`; right clicks and the arrow show `menu`, which is kept.
    void Connect(QMenu& menu, std::function<void()> clicked);
    // The current items of the icon's menu. The buttons are enabled like its items, and disabled if
    // there is no such item; their commands are passed to `command`.
    void SetMenu(const std::vector<MenuItem>& items, std::function<void(uint32_t)> command);
    void SetIcon(const QIcon& icon);
    void ShowNotice(const Balloon& balloon);

    // Leaves room for the usual notice, so that nothing moves when one appears or disappears.
    int HeightFor(int width) const;

  signals:
    void HeightChanged();

  private:
    QPushButton* MakeButton(uint32_t command, const QString& text);
    void SetNotice(const QString& text);

    QToolButton* m_pIcon = nullptr;
    std::vector<QPushButton*> m_buttons; // named by their commands
    QLabel* m_pNotice = nullptr;
    QTimer m_noticeTimer;
    std::function<void(uint32_t)> m_command;
};

} // namespace larkspin
