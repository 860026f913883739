// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What comes between a job's parameters and its disc: the queue is walked, and the user learns what
// of it will not be on the disc, and may say no. Nothing has been asked of the disc by then.
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

// How often a job looks whether the queue has been measured before it shows its dialog, which fills
// the size in later.
inline constexpr int kLooksBeforeDialog = 1;
inline constexpr std::chrono::milliseconds kLookTime{50};
// What is over by then shows no progress window.
inline constexpr uint64_t kSilentMs = 250;

// Remembers what the user has been shown, so that nothing is told twice.
class LeftOut {
  public:
    explicit LeftOut(CCDWriterUI& ui) : m_ui(ui) {}

    // Shows what of `notices` is new. False if the user wants nothing written then.
    bool Accept(const std::vector<VolumeNotice>& notices);
    bool WasShown(const VolumeNotice& notice) const {
        return m_shown.contains({notice.reason, notice.path});
    }

  private:
    CCDWriterUI& m_ui;
    std::set<std::pair<NoticeReason, std::u16string>> m_shown;
};

// "Counting files...", with how many there are so far and where.
std::u16string CountingText(size_t count, const std::u16string& folder);

// The files of the queue, after the user has accepted what is left out. Empty if they have not, or
// have cancelled the walk, or if there is nothing to write, which is told. The job's progress
// window comes up if the walk lasts.
std::optional<FileList> ListQueue(JobEnv& env, JobKind kind,
                                  const std::vector<std::u16string>& queue, LeftOut& leftOut);

} // namespace larkspin
