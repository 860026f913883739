// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the queue editor says of one path beside its name. Slow where the disk is slow: meant for a
// thread that nothing waits for. Any thread.
#pragma once

#include "platform/clock.h"
#include "platform/files.h"

#include <string>

namespace larkspin {

struct QueueItemDetails {
    bool bVanished = false;
    bool bFolder = false;      // also for a path that has vanished
    std::u16string strSize;    // empty for a folder
    std::u16string strChanged; // local time; the present for a path that has vanished
};

// A file that cannot be opened for reading has size 0.
QueueItemDetails ReadQueueItemDetails(IFileSystem& files, IClock& clock,
                                      const std::u16string& path);

} // namespace larkspin
