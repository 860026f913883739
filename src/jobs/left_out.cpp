// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/left_out.h"
#include "jobs/prompts.h"
#include "platform/paths.h"
#include "platform/text.h"

namespace larkspin {

namespace {

constexpr size_t kLongestFolder = 40; // units

} // namespace

bool LeftOut::Accept(const std::vector<VolumeNotice>& notices) {
    std::vector<VolumeNotice> fresh;
    for (const VolumeNotice& notice : notices) {
        if (m_shown.emplace(notice.reason, notice.path).second) {
            fresh.push_back(notice);
        }
    }
    return fresh.empty() || prompts::WriteTheRest(m_ui, ListOf(fresh));
}

std::u16string CountingText(size_t count, const std::u16string& folder) {
    std::u16string_view leaf = LeafName(TrimSeparator(folder));
    return FormatWide("Counting files... %zu, in ", count) +
           std::u16string(leaf.empty() ? folder : leaf.substr(0, kLongestFolder));
}

std::optional<FileList> ListQueue(JobEnv& env, JobKind kind,
                                  const std::vector<std::u16string>& queue, LeftOut& leftOut) {
    FileList list;
    {
        LateProgress progress(env, kind, kSilentMs);
        list =
            ExpandPaths(env.files, queue, [&progress](size_t count, const std::u16string& folder) {
                return progress.Continue([&] { return CountingText(count, folder); });
            });
    }
    if (list.stopped) {
        return std::nullopt;
    }
    if (list.files.empty() && !list.leftOut.empty()) {
        prompts::NothingToWrite(env.ui, ListOf(list.leftOut));
        return std::nullopt;
    }
    if (!leftOut.Accept(list.leftOut)) {
        return std::nullopt;
    }
    return list;
}

} // namespace larkspin
