// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Passes the engine's calls to the user interface in this process, and tells the engine what the
// user does with the tray.
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
    // Main thread. Keeps all references; the link must be closed before the host is destroyed.
    UiHost(Link& link, CCDWriterUI& ui, IMainView& view);
    UiHost(const UiHost&) = delete;
    UiHost& operator=(const UiHost&) = delete;

    // For the progress dialogs, on the main thread: a Cancel has been confirmed.
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
    std::optional<IdleMenuState> m_menu; // as last sent by the engine; empty: no menu now
    bool m_bMenuAsked = false;           // and the answer is still missing
};

} // namespace larkspin
