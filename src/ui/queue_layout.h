// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The positions of the queue editor's controls, in pixels of the client area.
//
// The list takes the remaining space; the buttons keep to the right and bottom edges, the check box
// to the bottom edge. Sizes grow with the user's font and are never below the defaults. In a window
// too narrow for all three in one row, the check box gets a row of its own above the buttons.
#pragma once

namespace larkspin {

inline constexpr int kQueueMinWidth = 300; // of the window
inline constexpr int kQueueMinHeight = 200;

struct QueueRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(const QueueRect&) const = default;
};

// The sizes that the controls need.
struct QueueControlSizes {
    int nCloseWidth = 75;
    int nDeleteWidth = 102;
    int nButtonHeight = 23;
    int nCheckWidth = 155;
    int nCheckHeight = 13;
    int nGrip = 16;
    int nTotalHeight = 0; // the lines under the list
    // Above the list: the stand-in for the tray icon, if there is no tray.
    int nHeadHeight = 0;
    int nHeadWidth = 0; // the minimum to keep its buttons readable
};

struct QueueLayout {
    QueueRect head;
    QueueRect list;
    QueueRect total;
    QueueRect close;
    QueueRect deleteSelected;
    QueueRect check;
    QueueRect grip;
};

QueueLayout LayOutQueueEditor(int cx, int cy, const QueueControlSizes& sizes);

// The smallest client area without overlaps, at least the window's minimum.
struct QueueMinimum {
    int width = kQueueMinWidth;
    int height = kQueueMinHeight;
};
QueueMinimum MinimumQueueEditor(const QueueControlSizes& sizes);

} // namespace larkspin
