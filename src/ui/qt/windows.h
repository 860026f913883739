// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Common to all windows: coming to the front, message boxes and the ownership of windows that are
// deleted when they are closed. Main thread.
#pragma once

#include "ui/ccdwriter_ui.h"

#include <QDialog>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace larkspin {

// Shows `window`, restores it if minimised, raises it and requests the input focus.
void BringToFront(QWidget& window);

// Owns dialogs from when they are opened until they are closed. Nothing waits for them, and any
// number may be open at once.
class CWindowSet {
  public:
    // Shows `dialog` in front. When it is closed, calls `done` with its result and deletes it.
    // Returns the dialog, which is valid as long as it is open.
    QDialog* Open(std::unique_ptr<QDialog> dialog, std::function<void(int)> done);

  private:
    std::vector<std::unique_ptr<QDialog>> m_open;
};

// A message box without an owner window; `done` gets true for OK or Yes, and otherwise false.
QDialog* OpenMessageBox(CWindowSet& windows, const std::u16string& text,
                        const std::u16string& title, BoxButtons buttons, BoxIcon icon,
                        std::function<void(bool)> done);

} // namespace larkspin
