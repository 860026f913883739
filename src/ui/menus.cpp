// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/menus.h"

#include <algorithm>

namespace larkspin {

std::vector<MenuItem> MenuItems(MenuId menu) {
    const MenuItem separator = {};
    const MenuItem cancel = {CMD_CANCEL, u"Cancel"};
    switch (menu) {
    case MenuId::RunningShown:
        return {{CMD_HIDE, u"Hide"}, separator, cancel};
    case MenuId::RunningHidden:
        return {{CMD_SHOW, u"Show"}, separator, cancel};
    case MenuId::Idle:
        return {{CMD_WRITE_DATA, u"Write Data CD", true, true},
                {CMD_WRITE_AUDIO, u"Write Audio CD"},
                separator,
                {CMD_EDIT_QUEUE, u"Edit queue..."},
                {CMD_CLEAR_QUEUE, u"Clear queue"},
                separator,
                {CMD_EXIT, u"Exit"}};
    case MenuId::QueueContext:
        return {{CMD_REMOVE_FROM_QUEUE, u"Remove from queue"}};
    }
    return {};
}

std::vector<MenuItem> IdleMenuItems(const IdleMenuState& state) {
    std::vector<MenuItem> items = MenuItems(MenuId::Idle);
    for (MenuItem& item : items) {
        switch (item.nCommand) {
        case CMD_WRITE_DATA:
        case CMD_EDIT_QUEUE:
        case CMD_CLEAR_QUEUE:
            item.bEnabled = state.bQueueHasItems;
            break;
        case CMD_WRITE_AUDIO:
            item.bEnabled = state.bQueueHasItems && state.bAllAudio;
            break;
        default:
            break;
        }
    }
    const auto addForDrives = [&](uint32_t command, const std::u16string& text) {
        for (const std::u16string& drive : state.drives) {
            items.push_back({command++, text + drive + u"..."});
        }
    };
    if (!state.drives.empty()) {
        items.emplace_back();
    }
    addForDrives(CMD_VERIFY_FIRST_DRIVE, u"Verify disk in ");
    addForDrives(CMD_ERASE_FIRST_DRIVE, u"Erase disk in ");
    return items;
}

std::vector<MenuItem> QueueMenuItems(bool allAudio) {
    std::vector<MenuItem> items = MenuItems(MenuId::QueueContext);
    if (allAudio) {
        items.insert(items.end(), {{},
                                   {CMD_TRACK_UP, u"Move track up\tAlt+Up"},
                                   {CMD_TRACK_DOWN, u"Move track down\tAlt+Down"}});
    }
    return items;
}

int MenuX(int x, const WorkArea& nearest) {
    return std::clamp(x, nearest.left, std::max(nearest.left, nearest.right - 1));
}

} // namespace larkspin
