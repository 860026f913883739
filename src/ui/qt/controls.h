// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Small controls used by several dialogs. Main thread.
#pragma once

#include <QBoxLayout>
#include <QGroupBox>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QString>

namespace larkspin {

// A button with a picture and its name.
QPushButton* MakeButton(int id, const QString& text, const QIcon& icon);

// A titled frame around other controls. Passes keys that those ignore on to the window.
QGroupBox* MakeGroup(const QString& title);

// A centred line of plain text.
QLabel* MakeLine(int id, const QString& text);

// The width for `units` dialog units: a quarter of the font's average letter each.
int DialogWidth(const QWidget& window, int units);
int DialogHeight(const QWidget& window, int units); // an eighth of a line each

// Keeps `window`, whose controls are all in `column`, at least `units` wide, and wider if its
// controls need it. A minimum width of the window itself would allow them to be cut off.
void KeepWide(const QWidget& window, QVBoxLayout& column, int units);

} // namespace larkspin
