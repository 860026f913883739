// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Menus on the screen. Main thread.
#pragma once

#include "ui/menus.h"

#include <QPoint>

#include <cstdint>
#include <functional>
#include <vector>

class QMenu;

namespace larkspin {

// Makes `menu` hold exactly `items`; a choice comes back through `command`.
void FillMenu(QMenu& menu, const std::vector<MenuItem>& items,
              const std::function<void(uint32_t)>& command);

// Pops `menu` up at a point of the screen without waiting for the choice.
void TrackMenuOnMonitor(QMenu& menu, QPoint point);

} // namespace larkspin
