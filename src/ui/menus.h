// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The pop-up menus as data, and the rule that places them.
//
// Everything here is free of state and may be called on any thread.
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
    bool bDefault = false; // drawn as the command of a double click

    bool operator==(const MenuItem&) const = default;
};

// The menus, each by its number.
enum class MenuId : uint32_t {
    RunningShown = 225,  // a job runs, its dialog is on the screen
    RunningHidden = 226, // a job runs, its dialog is hidden
    Idle = 227,
    QueueContext = 230,
};

std::vector<MenuItem> MenuItems(MenuId menu);

// The idle menu with "Write Data CD" as default item and grayed by the state of the queue: an
// empty queue leaves only "Exit". Behind it the items that verify and erase the disc of a drive.
std::vector<MenuItem> IdleMenuItems(const IdleMenuState& state);

// The menu of the queue editor's list; with what moves tracks if all is audio.
std::vector<MenuItem> QueueMenuItems(bool allAudio);

// Left and right edge of a monitor's work area; x runs from left to right - 1.
struct WorkArea {
    int left = 0;
    int right = 0;
};

// Where a menu asked for at `x` opens when that point lies on no monitor: moved sideways into the
// nearest one.
int MenuX(int x, const WorkArea& nearest);

} // namespace larkspin
