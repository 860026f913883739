// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/queue_layout.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr int kMargin = 11;    // left, top, and right of "Close"
constexpr int kListRight = 10; // right of the list
constexpr int kBottom = 21;    // under the buttons, clear of the size grip
constexpr int kListGap = 9;    // between list and buttons
constexpr int kTotalGap = 4;   // between list and total
constexpr int kButtonGap = 18; // between the two buttons
constexpr int kCheckGap = 8;   // around the check box
constexpr int kListMinHeight = 48;

int ButtonsWidth(const QueueControlSizes& sizes) {
    return sizes.nDeleteWidth + kButtonGap + sizes.nCloseWidth + kMargin;
}

bool CheckInOwnRow(int cx, const QueueControlSizes& sizes) {
    return kMargin + sizes.nCheckWidth + kCheckGap + ButtonsWidth(sizes) > cx;
}

int ListTop(const QueueControlSizes& sizes) {
    return kMargin + (sizes.nHeadHeight > 0 ? sizes.nHeadHeight + kListGap : 0);
}

int TotalSpace(const QueueControlSizes& sizes) {
    return sizes.nTotalHeight > 0 ? sizes.nTotalHeight + kTotalGap : 0;
}

} // namespace

QueueLayout LayOutQueueEditor(int cx, int cy, const QueueControlSizes& sizes) {
    QueueLayout layout;
    const int buttonTop = cy - kBottom - sizes.nButtonHeight;
    layout.grip = {cx - sizes.nGrip, cy - sizes.nGrip, sizes.nGrip, sizes.nGrip};
    layout.close = {cx - kMargin - sizes.nCloseWidth, buttonTop, sizes.nCloseWidth,
                    sizes.nButtonHeight};
    layout.deleteSelected = {layout.close.x - kButtonGap - sizes.nDeleteWidth, buttonTop,
                             sizes.nDeleteWidth, sizes.nButtonHeight};

    const bool ownRow = CheckInOwnRow(cx, sizes);
    const int checkTop = ownRow ? buttonTop - kCheckGap - sizes.nCheckHeight
                                : buttonTop + (sizes.nButtonHeight - sizes.nCheckHeight) / 2;
    layout.check = {kMargin, checkTop, sizes.nCheckWidth, sizes.nCheckHeight};

    const int totalBottom = (ownRow ? checkTop : buttonTop) - kListGap;
    const int listBottom = totalBottom - TotalSpace(sizes);
    const int listTop = ListTop(sizes);
    layout.total = {kMargin, totalBottom - sizes.nTotalHeight, cx - kMargin - kListRight,
                    sizes.nTotalHeight};
    layout.list = {kMargin, listTop, cx - kMargin - kListRight, std::max(0, listBottom - listTop)};
    layout.head = {kMargin, kMargin, cx - kMargin - kListRight, sizes.nHeadHeight};
    return layout;
}

QueueMinimum MinimumQueueEditor(const QueueControlSizes& sizes) {
    const int width = kMargin + std::max({ButtonsWidth(sizes), sizes.nCheckWidth + kMargin,
                                          sizes.nHeadWidth + kListRight});
    const int height = ListTop(sizes) + kListMinHeight + TotalSpace(sizes) + kListGap +
                       sizes.nCheckHeight + kCheckGap + sizes.nButtonHeight + kBottom;
    return {std::max(kQueueMinWidth, width), std::max(kQueueMinHeight, height)};
}

} // namespace larkspin
