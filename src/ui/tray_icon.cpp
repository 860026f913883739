// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/tray_icon.h"

namespace larkspin {

namespace {

constexpr size_t kTextLimit = 255;
constexpr size_t kTitleLimit = 63;

void DoNothing() {}

// Cuts to `limit` units, never through the middle of a surrogate pair.
std::u16string Cut(const std::u16string& text, size_t limit) {
    if (text.size() <= limit) {
        return text;
    }
    const bool splitsPair = text[limit - 1] >= 0xD800 && text[limit - 1] <= 0xDBFF;
    return text.substr(0, splitsPair ? limit - 1 : limit);
}

} // namespace

CCDWriterUITrayIcon::CCDWriterUITrayIcon(ITrayView& view)
    : m_view(view), m_callbacks{{Callback(DoNothing), Callback(DoNothing)}} {}

void CCDWriterUITrayIcon::SetIdleCallbacks(const Callback& left, const Callback& right) {
    m_callbacks.front() = {left, right};
}

void CCDWriterUITrayIcon::PushCallbacks(const Callback& left, const Callback& right) {
    m_callbacks.push_back({left, right});
}

void CCDWriterUITrayIcon::PopCallbacks() {
    if (m_callbacks.size() > 1) {
        m_callbacks.pop_back();
    }
}

void CCDWriterUITrayIcon::OnLeftButtonUp() {
    // A copy, because the callback may push or pop.
    Callback left = m_callbacks.back().left;
    left();
}

void CCDWriterUITrayIcon::OnRightButtonUp() {
    Callback right = m_callbacks.back().right;
    right();
}

void CCDWriterUITrayIcon::StartTrayAnimation() {
    if (m_bAnimating) {
        return;
    }
    m_nTrayFrame = 0;
    m_view.StartAnimationTimer(kAnimationPeriodMs);
    m_bAnimating = true;
}

void CCDWriterUITrayIcon::StopTrayAnimation() {
    if (!m_bAnimating) {
        return;
    }
    m_view.KillAnimationTimer();
    m_view.SetTrayIcon(0);
    m_bAnimating = false;
}

void CCDWriterUITrayIcon::OnAnimationTimer() {
    if (m_bAnimating) {
        m_nTrayFrame = (m_nTrayFrame + 1) % kFrames;
        m_view.SetTrayIcon(m_nTrayFrame);
    }
}

void CCDWriterUITrayIcon::ShowBalloon(const std::u16string& text, const std::u16string& title,
                                      BalloonIcon icon, uint32_t timeoutMs) {
    m_view.ShowBalloon({Cut(text, kTextLimit), Cut(title, kTitleLimit), icon, timeoutMs});
}

} // namespace larkspin
