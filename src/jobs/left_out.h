// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The step between a job's parameters and its disc: the queue is walked, and the user learns what
// will not be on the disc, and may decline. Nothing has been asked of the disc at that point.
#pragma once

#include "jobs/file_list.h"
#include "jobs/job_frame.h"

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace larkspin {

// How often a job checks whether the queue has been measured before it shows its dialog, where the
// size is otherwise filled in later.
inline constexpr int kLooksBeforeDialog = 1;
inline constexpr std::chrono::milliseconds kLookTime{50};
// Work that takes less time shows no progress window.
inline constexpr uint64_t kSilentMs = 250;

// Remembers what the user has been shown, so that nothing is shown twice.
class LeftOut {
  public:
    explicit LeftOut(CCDWriterUI& ui) : m_ui(ui) {}

    // Shows those of `notices` that are new. False if the user then wants nothing written.
    bool Accept(const std::vector<VolumeNotice>& notices);
    bool WasShown(const VolumeNotice& notice) const {
        return m_shown.contains({notice.reason, notice.path});
    }

  private:
    CCDWriterUI& m_ui;
    std::set<std::pair<NoticeReason, std::u16string>> m_shown;
};

// "Counting files...", with their number so far and the current folder.
std::u16string CountingText(size_t count, const std::u16string& folder);

// The files of the queue, once the user has accepted what is left out. Empty if they have not, if
// they have cancelled the walk, or if there is nothing to write, which they are told. The job's
// progress window appears if the walk takes long.
std::optional<FileList> ListQueue(JobEnv& env, JobKind kind,
                                  const std::vector<std::u16string>& queue, LeftOut& leftOut);

} // namespace larkspin
