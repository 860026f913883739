// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/tray_view.h"

#include "ui/qt/artwork.h"
#include "ui/qt/menu_view.h"
#include "ui/qt/notifier.h"
#include "ui/qt/qt_text.h"

#include <QCursor>

namespace larkspin {

namespace {

QSystemTrayIcon::MessageIcon IconOf(BalloonIcon icon) {
    switch (icon) {
    case BalloonIcon::None:
        return QSystemTrayIcon::NoIcon;
    case BalloonIcon::Information:
        return QSystemTrayIcon::Information;
    case BalloonIcon::Warning:
        return QSystemTrayIcon::Warning;
    case BalloonIcon::Error:
        return QSystemTrayIcon::Critical;
    }
    return QSystemTrayIcon::NoIcon;
}

} // namespace

CTrayView::CTrayView()
    : m_pNotifier(std::make_unique<CNotifier>(
          [this](const Balloon& balloon) { ShowOwnBalloon(balloon); })) {
    for (int frame = 0; frame < CCDWriterUITrayIcon::kFrames; ++frame) {
        m_frames.at(static_cast<size_t>(frame)) = TrayFrame(frame);
    }
    m_icon.setIcon(m_frames.front());
    m_icon.setToolTip(ToQt(CCDWriterUITrayIcon::kTip));
}

CTrayView::~CTrayView() = default;

void CTrayView::Connect(CCDWriterUITrayIcon& logic, StandIn standIn) {
    m_pLogic = &logic;
    m_standIn = std::move(standIn);
    m_standIn.setIcon(m_frames.front());
    QObject::connect(&m_animation, &QTimer::timeout, &m_icon,
                     [this] { m_pLogic->OnAnimationTimer(); });
    // For two quick clicks, some desktops report the second one as a double click.
    QObject::connect(&m_icon, &QSystemTrayIcon::activated, &m_icon,
                     [this](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger ||
                             reason == QSystemTrayIcon::DoubleClick) {
                             m_pLogic->OnLeftButtonUp();
                         }
                     });
    QObject::connect(&m_menu, &QMenu::aboutToShow, &m_menu, [this] {
        FillIconMenu();
        if (m_menu.isEmpty()) { // nothing is shown if there is nothing to offer right now
            QMetaObject::invokeMethod(&m_menu, &QMenu::close, Qt::QueuedConnection);
        }
    });
    m_icon.setContextMenu(&m_menu);
    m_icon.show();
}

void CTrayView::FillIconMenu() {
    std::vector<MenuItem> wanted;
    m_pFilling = &wanted;
    m_pLogic->OnRightButtonUp();
    m_pFilling = nullptr;
    if (wanted != m_items) { // every change is sent to the desktop
        m_items = std::move(wanted);
        const auto choose = [this](uint32_t chosen) {
            const std::function<void(uint32_t)> command = m_command; // it may be replaced
            command(chosen);
        };
        FillMenu(m_menu, m_items, choose);
        m_standIn.setMenu(m_items, choose);
    }
}

void CTrayView::RefreshMenu() {
    if (!m_menu.isVisible()) {
        FillIconMenu();
    }
}

void CTrayView::TrackMenu(const std::vector<MenuItem>& items,
                          std::function<void(uint32_t)> command) {
    if (m_pFilling != nullptr) {
        *m_pFilling = items;
        m_command = std::move(command);
        return;
    }
    FillMenu(m_popup, items, command);
    TrackMenuOnMonitor(m_popup, QCursor::pos());
}

void CTrayView::SetTrayIcon(int frame) {
    const QIcon& icon = m_frames.at(static_cast<size_t>(frame));
    m_icon.setIcon(icon);
    m_standIn.setIcon(icon);
}

void CTrayView::StartAnimationTimer(uint32_t periodMs) {
    m_animation.start(static_cast<int>(periodMs));
}

void CTrayView::KillAnimationTimer() {
    m_animation.stop();
}

void CTrayView::ShowBalloon(const Balloon& balloon) {
    m_standIn.showBalloon(balloon);
    if (!m_pNotifier->Show(balloon)) {
        ShowOwnBalloon(balloon);
    }
}

void CTrayView::ShowOwnBalloon(const Balloon& balloon) {
    m_icon.showMessage(ToQt(balloon.strTitle), ToQt(balloon.strText), IconOf(balloon.icon),
                       static_cast<int>(balloon.nTimeoutMs));
}

} // namespace larkspin
