// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Gives what comes from the engine to the user interface in this process, and tells the engine
// what the user does with the tray.
#pragma once

#include "link/link.h"
#include "link/protocol.h"
#include "ui/ccdwriter_ui.h"
#include "ui/main_view.h"

#include <condition_variable>
#include <mutex>
#include <optional>

namespace larkspin {

class UiHost {
  public:
    // Main thread. All references are kept; the link must be closed before the host goes.
    UiHost(Link& link, CCDWriterUI& ui, IMainView& view);
    UiHost(const UiHost&) = delete;
    UiHost& operator=(const UiHost&) = delete;

    // For the progress dialogs, main thread: a Cancel has been confirmed.
    static void TellCancelled(Link& link, JobKind kind, uint32_t run) {
        link.Tell(op::kCancelled, kind, run);
    }

  private:
    void TakeJobs();
    void TakeView();
    void OnRightClick();

    Link& m_link;
    CCDWriterUI& m_ui;
    IMainView& m_view;
    std::mutex m_mutex; // guards the next three
    std::condition_variable m_menuCame;
    std::optional<IdleMenuState> m_menu; // the engine's last word; empty: no menu now
    bool m_bMenuAsked = false;           // and the answer has not come
};

} // namespace larkspin
