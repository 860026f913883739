// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/run.h"

#include <utility>

namespace larkspin {

namespace {

FileStatus SyntheticFolder(const GenOptions& options, int64_t moment) {
    FileStatus status;
    status.type = FileStatus::Type::Folder;
    status.mode = kModeFolder | options.synthetic_dir_mode;
    status.links = 2;
    status.uid = options.uid;
    status.gid = options.gid;
    status.accessTime = moment;
    status.modifyTime = moment;
    status.changeTime = moment;
    return status;
}

} // namespace

VolumeRun::VolumeRun(IFileSystem& fileSystem, IClock& clock, const GenOptions& genOptions,
                     VolumeNoticeTaker noticeCallback, uint32_t previousBase, uint32_t sessionBase)
    : files(fileSystem), options(genOptions), moment(clock.Now()),
      moment_milliseconds(static_cast<uint32_t>(clock.TickMs())),
      default_status(SyntheticFolder(genOptions, moment)), previous_base(previousBase),
      session_base(sessionBase), plan_sector(sessionBase), tree(genOptions.relocation_depth),
      boot_patches(fileSystem), m_notice(std::move(noticeCallback)) {}

void VolumeRun::Tell(NoticeReason reason, std::u16string path, std::u16string shownAs) const {
    if (m_notice) {
        m_notice({reason, std::move(path), std::move(shownAs)});
    }
}

} // namespace larkspin
