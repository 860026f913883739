// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the queue editor shows about a path besides its name. As slow as the disk, so use a thread
// that nothing waits for. Any thread.
#pragma once

#include "platform/clock.h"
#include "platform/files.h"

#include <string>

namespace larkspin {

struct QueueItemDetails {
    bool bVanished = false;
    bool bFolder = false;      // true for a path that has vanished, too
    std::u16string strSize;    // empty for a folder
    std::u16string strChanged; // local time; the current time for a path that has vanished
};

// A file that cannot be opened for reading has size 0.
QueueItemDetails ReadQueueItemDetails(IFileSystem& files, IClock& clock,
                                      const std::u16string& path);

} // namespace larkspin
