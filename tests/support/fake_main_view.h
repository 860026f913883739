// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The desktop as CMainDlg sees it, for tests: it keeps what it was asked for.
#pragma once

#include "ui/main_view.h"

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace larkspin {

class FakeMainView final : public IMainView {
  public:
    struct Balloon {
        std::u16string text;
        std::u16string title;
        BalloonIcon icon;
        uint32_t timeoutMs;
    };

    std::vector<Balloon> Balloons() const {
        const std::lock_guard lock(m_mutex);
        return m_balloons;
    }
    // Called with each balloon, on the thread that shows it.
    std::function<void(const Balloon& balloon)> onBalloon;

    std::function<void()> onCancelQuestions = [] {};
    std::function<void()> idleLeft;
    std::function<void()> idleRight;
    std::function<void(const std::u16string&)> pathDropped;
    std::optional<uint32_t> clickTimerMs; // set while the timer runs
    std::function<void()> clickTick;
    std::function<void()> afterPainting; // the test calls it
    uint32_t doubleClickMs = 400;
    std::vector<IdleMenuState> menus;
    std::function<void(uint32_t)> menuCommand;
    int queueEditors = 0;
    std::vector<std::pair<std::u16string, std::u16string>> errors; // text, title
    std::vector<int> quits;

    void ShowBalloon(const std::u16string& text, const std::u16string& title, BalloonIcon icon,
                     uint32_t timeoutMs) override {
        const Balloon balloon{text, title, icon, timeoutMs};
        {
            const std::lock_guard lock(m_mutex);
            m_balloons.push_back(balloon);
        }
        if (onBalloon) {
            onBalloon(balloon);
        }
    }
    void SetIdleTrayCallbacks(std::function<void()> left, std::function<void()> right) override {
        idleLeft = std::move(left);
        idleRight = std::move(right);
    }
    void SetPathDropped(std::function<void(const std::u16string&)> dropped) override {
        pathDropped = std::move(dropped);
    }
    void StartClickTimer(uint32_t ms, std::function<void()> tick) override {
        clickTimerMs = ms;
        clickTick = std::move(tick);
    }
    void KillClickTimer() override { clickTimerMs.reset(); }
    void AfterPainting(std::function<void()> work) override { afterPainting = std::move(work); }
    uint32_t DoubleClickTimeMs() override { return doubleClickMs; }
    void TrackIdleMenu(const IdleMenuState& state, std::function<void(uint32_t)> command) override {
        menus.push_back(state);
        menuCommand = std::move(command);
    }
    void ShowQueueEditor() override { ++queueEditors; }
    void CancelQuestions() override { onCancelQuestions(); }
    void ShowErrorBox(const std::u16string& text, const std::u16string& title) override {
        errors.emplace_back(text, title);
    }
    void Quit(int code) override { quits.push_back(code); }

  private:
    mutable std::mutex m_mutex;
    std::vector<Balloon> m_balloons;
};

} // namespace larkspin
