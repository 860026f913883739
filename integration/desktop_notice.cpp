// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "desktop_notice.h"

#include "larkspin_client.h"

#include "app/notification.h"

#include <cstdio>
#include <unistd.h>

namespace larkspin {

namespace {

bool HasTerminal() {
    return ::isatty(STDIN_FILENO) != 0 || ::isatty(STDOUT_FILENO) != 0 ||
           ::isatty(STDERR_FILENO) != 0;
}

} // namespace

void TellUser(const std::string& text) {
    std::fprintf(stderr, "larkspin-send: %s\n", text.c_str());
    if (!HasTerminal() && !Notify({text})) {
        ShowInBox(text);
    }
}

} // namespace larkspin
