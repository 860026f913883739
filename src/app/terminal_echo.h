// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Copies what a job tells the user to a terminal: status lines, percentages and message boxes go to
// standard output.
#pragma once

#include "app/observed_ui.h"

#include <atomic>

namespace larkspin {

// Prints the text of a message box.
void EchoMessage(const std::u16string& text);

class TerminalEcho final : public IJobObserver {
  public:
    void OnStart(JobKind kind) override;
    void OnStatus(const std::u16string& text) override;
    void OnProgress(int percent) override;
    void OnQuestion(const std::u16string& text, BoxButtons buttons) override;

  private:
    std::atomic<int> m_nLastPercent = -1;
};

} // namespace larkspin
