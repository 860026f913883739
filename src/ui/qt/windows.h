// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What all windows share: coming to the front, message boxes and the ownership of windows that
// go when they are closed. Main thread.
#pragma once

#include "ui/ccdwriter_ui.h"

#include <QDialog>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace larkspin {

// Shows `window`, takes it out of its minimised state, raises it and asks for the input focus.
void BringToFront(QWidget& window);

// Owns dialogs from when they are opened until they are closed. Nothing waits for them: any number
// may be open at once.
class CWindowSet {
  public:
    // Shows `dialog` at the front. When it is closed, `done` gets its result, and it is deleted.
    // Returns the dialog, for as long as it is open.
    QDialog* Open(std::unique_ptr<QDialog> dialog, std::function<void(int)> done);

  private:
    std::vector<std::unique_ptr<QDialog>> m_open;
};

// A message box of no window; `done` gets true for OK or Yes, and false for all other ways out.
QDialog* OpenMessageBox(CWindowSet& windows, const std::u16string& text,
                        const std::u16string& title, BoxButtons buttons, BoxIcon icon,
                        std::function<void(bool)> done);

} // namespace larkspin
