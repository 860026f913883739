#include "ui/menus.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr MenuItem kSeparator = {};
constexpr MenuItem kCancel = {CMD_CANCEL, u"Cancel"};

} // namespace

std::vector<MenuItem> MenuItems(MenuId menu) {
    switch (menu) {
    case MenuId::RunningShown:
        return {{CMD_HIDE, u"Hide"}, kSeparator, kCancel};
    case MenuId::RunningHidden:
        return {{CMD_SHOW, u"Show"}, kSeparator, kCancel};
    case MenuId::Idle:
        return {{CMD_WRITE_DATA, u"Write Data CD", true, true},
                {CMD_WRITE_AUDIO, u"Write Audio CD"},
                kSeparator,
                {CMD_EDIT_QUEUE, u"Edit queue..."},
                {CMD_CLEAR_QUEUE, u"Clear queue"},
                kSeparator,
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
    return items;
}

int MenuX(int x, const WorkArea& nearest) {
    return std::clamp(x, nearest.left, std::max(nearest.left, nearest.right - 1));
}

} // namespace larkspin
