// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/menu_view.h"

#include "ui/qt/qt_text.h"

#include <QAction>
#include <QGuiApplication>
#include <QMenu>
#include <QScreen>

#include <limits>

namespace larkspin {

namespace {

int Distance(const QRect& area, QPoint point) {
    const int dx = std::max({area.left() - point.x(), point.x() - area.right(), 0});
    const int dy = std::max({area.top() - point.y(), point.y() - area.bottom(), 0});
    return dx + dy;
}

QScreen* NearestScreen(QPoint point) {
    QScreen* nearest = nullptr;
    int best = std::numeric_limits<int>::max();
    for (QScreen* screen : QGuiApplication::screens()) {
        const int distance = Distance(screen->geometry(), point);
        if (distance < best) {
            best = distance;
            nearest = screen;
        }
    }
    return nearest;
}

} // namespace

void FillMenu(QMenu& menu, const std::vector<MenuItem>& items,
              const std::function<void(uint32_t)>& command) {
    menu.clear();
    for (const MenuItem& item : items) {
        if (item.nCommand == 0) {
            menu.addSeparator();
            continue;
        }
        QAction* action = menu.addAction(ToQt(item.strText));
        action->setObjectName(QString::number(item.nCommand));
        action->setEnabled(item.bEnabled);
        if (item.bDefault) {
            menu.setDefaultAction(action);
        }
        QObject::connect(action, &QAction::triggered, &menu,
                         [command, id = item.nCommand] { command(id); });
    }
}

void TrackMenuOnMonitor(QMenu& menu, QPoint point) {
    if (QGuiApplication::screenAt(point) == nullptr) {
        if (const QScreen* screen = NearestScreen(point)) {
            const QRect area = screen->availableGeometry();
            point.setX(MenuX(point.x(), {area.left(), area.left() + area.width()}));
        }
    }
    menu.popup(point);
}

} // namespace larkspin
