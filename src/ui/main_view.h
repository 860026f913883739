// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What CMainDlg needs from the desktop: tray, timer, boxes, main loop. To be called on the main
// thread, except ShowBalloon, which may be called on any.
#pragma once

#include "ui/ccdwriter_ui.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace larkspin {

enum class BalloonIcon : uint32_t { None = 0, Information = 1, Warning = 2, Error = 3 };

// Commands of the idle tray menu and of the other menus.
enum MenuCommand : uint32_t {
    CMD_OK = 1,
    CMD_CANCEL = 2,
    CMD_HIDE = 1008,
    CMD_SHOW = 32773,
    CMD_WRITE_DATA = 32774,
    CMD_WRITE_AUDIO = 32775,
    CMD_EDIT_QUEUE = 32776,
    CMD_CLEAR_QUEUE = 32777,
    CMD_EXIT = 32778,
    CMD_REMOVE_FROM_QUEUE = 32779,
    CMD_TRACK_UP = 33000,
    CMD_TRACK_DOWN = 33001,
    CMD_ERASE_FIRST_DRIVE = 33024,  // and the following numbers: the drives in order
    CMD_VERIFY_FIRST_DRIVE = 33280, // the same
};

// Which items of the idle menu are enabled; "Exit" always is.
struct IdleMenuState {
    bool bQueueHasItems = false;
    bool bAllAudio = false;
    std::vector<std::u16string> drives =
        {}; // labels; for each, there is an item to verify its disc and one to erase it
};

class IMainView {
  public:
    virtual ~IMainView() = default;

    virtual void ShowBalloon(const std::u16string& text, const std::u16string& title,
                             BalloonIcon icon, uint32_t timeoutMs) = 0;
    // The idle pair of tray callbacks, at the bottom of the stack to which jobs add theirs. May be
    // empty.
    virtual void SetIdleTrayCallbacks(std::function<void()> left, std::function<void()> right) = 0;
    // `dropped` is called on the main thread for each file or folder that the user drops on a
    // window.
    virtual void SetPathDropped(std::function<void(const std::u16string& path)> dropped) = 0;
    // Calls `tick` on the main thread after `ms`, and again every `ms` until killed.
    virtual void StartClickTimer(uint32_t ms, std::function<void()> tick) = 0;
    virtual void KillClickTimer() = 0;
    // Calls `work` on the main thread a moment later, when what was shown before is visible. Never
    // called after the view has ended.
    virtual void AfterPainting(std::function<void()> work) = 0;
    virtual uint32_t DoubleClickTimeMs() = 0;
    // Pops up the idle menu at the cursor; the choice is passed to `command`.
    virtual void TrackIdleMenu(const IdleMenuState& state,
                               std::function<void(uint32_t)> command) = 0;
    virtual void ShowQueueEditor() = 0;
    // The program is to exit, but a job still runs: its questions, now and from now on, get the
    // cancelled answer. Its messages are closed if they are open now, and from now on stay for at
    // most a minute.
    virtual void CancelQuestions() = 0;
    // A box with an OK button that does not block the caller.
    virtual void ShowErrorBox(const std::u16string& text, const std::u16string& title) = 0;
    // Leaves the main loop with this code.
    virtual void Quit(int code) = 0;
};

} // namespace larkspin
