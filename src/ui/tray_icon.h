// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The notification-area icon: its animation, its balloons and the effect of clicks on it.
//
// The logic of the icon; a view shows it. Used only on the main thread.
#pragma once

#include "ui/main_view.h"

#include <cstdint>
#include <loki/Functor.h>
#include <string>
#include <vector>

namespace larkspin {

struct Balloon {
    std::u16string strText;  // at most 255 units
    std::u16string strTitle; // at most 63 units
    BalloonIcon icon = BalloonIcon::None;
    uint32_t nTimeoutMs = 0;
};

class ITrayView {
  public:
    virtual ~ITrayView() = default;

    virtual void SetTrayIcon(int frame) = 0; // 0 to 2
    // Calls OnAnimationTimer every `periodMs` until killed.
    virtual void StartAnimationTimer(uint32_t periodMs) = 0;
    virtual void KillAnimationTimer() = 0;
    // Immediately replaces any balloon that is visible.
    virtual void ShowBalloon(const Balloon& balloon) = 0;
};

class CCDWriterUITrayIcon {
  public:
    using Callback = Loki::Functor<void>;

    static constexpr int kFrames = 3;
    static constexpr uint32_t kAnimationPeriodMs = 333;
    static constexpr const char16_t* kTip = u"Larkspin";

    // Initially, both callbacks do nothing. Keeps `view`.
    explicit CCDWriterUITrayIcon(ITrayView& view);

    // Sets the pair called by clicks while no job has pushed its own.
    void SetIdleCallbacks(const Callback& left, const Callback& right);
    // Jobs push their pairs; clicks call the newest. Pop never removes the idle pair.
    void PushCallbacks(const Callback& left, const Callback& right);
    void PopCallbacks();
    // A button was released over the icon. Double clicks are not detected here: two releases are
    // two calls.
    void OnLeftButtonUp();
    void OnRightButtonUp();

    // Shows frames 0, 1 and 2 in turn. Starting a running animation or stopping a stopped one has
    // no effect; after a stop, the icon shows frame 0.
    void StartTrayAnimation();
    void StopTrayAnimation();
    void OnAnimationTimer();

    // Replaces any visible balloon. Cuts texts that exceed the limits of Balloon.
    void ShowBalloon(const std::u16string& text, const std::u16string& title, BalloonIcon icon,
                     uint32_t timeoutMs);

  private:
    struct CallbackPair {
        Callback left;
        Callback right;
    };

    ITrayView& m_view;
    std::vector<CallbackPair> m_callbacks; // the idle pair first
    bool m_bAnimating = false;
    int m_nTrayFrame = 0;
};

} // namespace larkspin
