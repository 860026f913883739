// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/queue_details.h"

#include "platform/text.h"

namespace larkspin {

QueueItemDetails ReadQueueItemDetails(IFileSystem& files, IClock& clock,
                                      const std::u16string& path) {
    QueueItemDetails details;
    FileStatus status;
    if (!files.Status(path, &status)) {
        details.bVanished = true;
        details.bFolder = true;
        details.strChanged = FormatShortDateTime(clock.Now());
        return details;
    }
    details.bFolder = status.type == FileStatus::Type::Folder;
    if (!details.bFolder) {
        details.strSize =
            FormatSize(files.IsReadable(path) ? static_cast<long long>(status.size) : 0);
    }
    details.strChanged = FormatShortDateTime(status.modifyTime);
    return details;
}

} // namespace larkspin
