// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/terminal_echo.h"
#include "platform/text.h"
#include "ui/progress_dialog.h"

#include <cstdio>

namespace larkspin {

namespace {

void Tell(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

} // namespace

void EchoMessage(const std::u16string& text) {
    Tell("message: " + ToNative(text));
}

void TerminalEcho::OnStart(JobKind kind) {
    if (kind == JobKind::Erase) {
        Tell(ToNative(kEraseStatus));
    }
}

void TerminalEcho::OnStatus(const std::u16string& text) {
    Tell(ToNative(text));
}

void TerminalEcho::OnProgress(int percent) {
    if (m_nLastPercent.exchange(percent) != percent) {
        Tell(Format("%3d%%", percent));
    }
}

void TerminalEcho::OnQuestion(const std::u16string& text, BoxButtons) {
    if (!text.empty()) { // a dialog reports the rest itself
        EchoMessage(text);
    }
}

} // namespace larkspin
