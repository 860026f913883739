// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The rows of the queue editor: the queue's paths in the order of their names, or of the queue.
// Stateless; any thread.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace larkspin {

struct QueueRow {
    std::u16string strPath;
    size_t nTrack = 0; // position in the queue, from 1
};

enum class QueueOrder {
    ByName,  // ascending, ignoring case; names that differ only in case by units
    ByTrack, // the order of the queue
};

std::vector<QueueRow> MakeRows(std::vector<std::u16string> paths, QueueOrder order);

} // namespace larkspin
