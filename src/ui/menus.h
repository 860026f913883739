// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The pop-up menus as data, and the rule for placing them.
//
// Everything here is stateless and may be called on any thread.
#pragma once

#include "ui/main_view.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace larkspin {

struct MenuItem {
    uint32_t nCommand = 0; // 0 for a separator
    std::u16string strText = {};
    bool bEnabled = true;
    bool bDefault = false; // shown as the command of a double click

    bool operator==(const MenuItem&) const = default;
};

// The menus, each by its number.
enum class MenuId : uint32_t {
    RunningShown = 225,  // a job runs, its dialog is visible
    RunningHidden = 226, // a job runs, its dialog is hidden
    Idle = 227,
    QueueContext = 230,
};

std::vector<MenuItem> MenuItems(MenuId menu);

// The idle menu with "Write Data CD" as default item. Items are greyed out depending on the state
// of the queue: an empty queue leaves only "Exit". Then come the items that verify and erase discs.
std::vector<MenuItem> IdleMenuItems(const IdleMenuState& state);

// The menu of the queue editor's list, with commands for moving tracks if everything is audio.
std::vector<MenuItem> QueueMenuItems(bool allAudio);

// The left and right edges of a monitor's work area; x runs from left to right - 1.
struct WorkArea {
    int left = 0;
    int right = 0;
};

// Where a menu opens that was requested at `x`, if that point is not on a monitor: moved sideways
// into the nearest one.
int MenuX(int x, const WorkArea& nearest);

} // namespace larkspin
