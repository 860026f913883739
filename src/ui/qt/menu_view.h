// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Shows menus. Main thread.
#pragma once

#include "ui/menus.h"

#include <QPoint>

#include <cstdint>
#include <functional>
#include <vector>

class QMenu;

namespace larkspin {

// Fills `menu` with exactly `items`; the choice is passed to `command`.
void FillMenu(QMenu& menu, const std::vector<MenuItem>& items,
              const std::function<void(uint32_t)>& command);

// Pops up `menu` at a point of the screen, without waiting for the choice.
void TrackMenuOnMonitor(QMenu& menu, QPoint point);

} // namespace larkspin
