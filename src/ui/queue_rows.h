// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The rows of the queue editor: the queue's paths in the order of their names, or as they are. Free
// of state; any thread.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace larkspin {

struct QueueRow {
    std::u16string strPath;
    size_t nTrack = 0; // place in the queue, from 1
};

enum class QueueOrder {
    ByName,  // ascending, letters without regard to case; names that differ in case alone by units
    ByTrack, // that of the queue
};

std::vector<QueueRow> MakeRows(std::vector<std::u16string> paths, QueueOrder order);

} // namespace larkspin
