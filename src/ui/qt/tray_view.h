// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The tray icon on the desktop. Main thread.
#pragma once

#include "ui/menus.h"
#include "ui/tray_icon.h"

#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

#include <array>
#include <functional>
#include <memory>
#include <vector>

namespace larkspin {

class CNotifier;

class CTrayView final : public ITrayView {
  public:
    // The window that stands in for a missing tray; also gets balloons and frames.
    struct StandIn {
        std::function<void(const QIcon&)> setIcon;
        std::function<void(const Balloon&)> showBalloon;
        std::function<void(const std::vector<MenuItem>&, std::function<void(uint32_t)>)> setMenu;
    };

    CTrayView();
    CTrayView(const CTrayView&) = delete;
    CTrayView& operator=(const CTrayView&) = delete;
    ~CTrayView() override;

    // Shows the icon and connects it to its logic; keeps both.
    void Connect(CCDWriterUITrayIcon& logic, StandIn standIn);

    static bool HasTray() { return QSystemTrayIcon::isSystemTrayAvailable(); }

    // The icon's menu. Desktops fetch it in advance, so RefreshMenu must be called whenever what a
    // right click would show may have changed.
    QMenu& Menu() { return m_menu; }
    void RefreshMenu();
    // Shows these items: in the icon's menu if that is being filled, otherwise at the cursor.
    void TrackMenu(const std::vector<MenuItem>& items, std::function<void(uint32_t)> command);

    void SetTrayIcon(int frame) override;
    void StartAnimationTimer(uint32_t periodMs) override;
    void KillAnimationTimer() override;
    void ShowBalloon(const Balloon& balloon) override;

  private:
    void FillIconMenu();
    void ShowOwnBalloon(const Balloon& balloon); // without the desktop's service

    CCDWriterUITrayIcon* m_pLogic = nullptr;
    StandIn m_standIn;
    std::array<QIcon, CCDWriterUITrayIcon::kFrames> m_frames;
    std::vector<MenuItem>* m_pFilling = nullptr; // set while the icon's menu is being filled
    std::vector<MenuItem> m_items;               // its items
    std::function<void(uint32_t)> m_command;     // called with the choice
    QMenu m_menu;
    QMenu m_popup;
    QSystemTrayIcon m_icon;
    QTimer m_animation;
    std::unique_ptr<CNotifier> m_pNotifier;
};

} // namespace larkspin
