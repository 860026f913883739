#include "app/echo_ui.h"
#include "platform/text.h"

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

void EchoUi::SetStatus(JobKind kind, const std::u16string& text) {
    Tell(ToNative(text));
    m_ui.SetStatus(kind, text);
}

void EchoUi::SetProgress(JobKind kind, int percent) {
    if (m_lastPercent[static_cast<size_t>(kind)].exchange(percent) != percent) {
        Tell(Format("%3d%%", percent));
    }
    m_ui.SetProgress(kind, percent);
}

void EchoUi::StartEraseProgress() {
    Tell("Erasing disk..."); // the erase dialog has this as its fixed text
    m_ui.StartEraseProgress();
}

bool EchoUi::AskUser(const std::u16string& text, const std::u16string& title, BoxButtons buttons,
                     BoxIcon icon) {
    EchoMessage(text);
    return m_ui.AskUser(text, title, buttons, icon);
}

} // namespace larkspin
