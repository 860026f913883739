// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/volume_notice.h"

#include "platform/text.h"

#include <algorithm>
#include <cstddef>
#include <map>

namespace larkspin {

namespace {

struct Forms {
    const char* line;
    const char* head; // of a list
};

Forms FormsOf(NoticeReason reason) {
    switch (reason) {
    case NoticeReason::Nameless:
        return {"%s has no name that a disc could show.", "Without a name that a disc could show"};
    case NoticeReason::Missing:
        return {"File %s cannot be found.", "Not found"};
    case NoticeReason::LeadsNowhere:
        return {"%s is a link that leads nowhere.", "Links that lead nowhere"};
    case NoticeReason::Forbidden:
        return {"%s cannot be reached, for you may not enter a folder on the way to it.",
                "Not reached, for you may not enter a folder on the way"};
    case NoticeReason::Unreachable:
        return {"%s cannot be reached, for the disk or server that it is on reports an error.",
                "Not reached, for the disk or server that they are on reports an error"};
    case NoticeReason::Unreadable:
        return {"File %s cannot be read.", "Files that cannot be read"};
    case NoticeReason::Special:
        return {"%s is neither a file nor a folder.", "Neither files nor folders"};
    case NoticeReason::TooLarge:
        return {"File %s is too large.", "Files that are too large"};
    case NoticeReason::OldBroken:
        return {"File %s on the disk is not complete and was left out.",
                "Files on the disk that are not complete"};
    case NoticeReason::OldCut:
        return {"The last session on the disk was interrupted before its folders were written. "
                "What only that session had is left out; what was there before it is kept.",
                ""};
    case NoticeReason::FolderUnreadable:
        return {"Folder %s cannot be read.", "Folders that cannot be read"};
    case NoticeReason::FolderIncomplete:
        return {"Folder %s could not be read to its end. What was not read is not on the disc.",
                "Folders that could not be read to their end"};
    case NoticeReason::FolderTaken:
        return {"Folder %s is empty on the disc, for its contents are there in another place.",
                "Empty on the disc, for their contents are there in another place"};
    case NoticeReason::LeadsBack:
        return {"Folder %s is empty on the disc, for it leads out to a folder around itself.",
                "Empty on the disc, for they lead out to a folder around themselves"};
    case NoticeReason::HidesFolder:
        return {"File %s would hide the folder of that name on the disc.",
                "Files that would hide a folder of their name on the disc"};
    case NoticeReason::DvdBroken:
        return {
            "Folder %s is not laid out for players, for its IFO files are broken or do not fit.",
            "Not laid out for players, for the IFO files are broken or do not fit"};
    case NoticeReason::NoDvd:
        return {"There is no folder %s to lay out for players.",
                "Missing, so that nothing is laid out for players"};
    case NoticeReason::Renamed:
        return {"File %s is on the disc as \"%s\", for another file has its name.",
                "On the disc under another name, for another file has theirs"};
    case NoticeReason::Shrank:
        return {"File %s became shorter during the writing. Zeros stand for what is missing.",
                "Shorter than before"};
    case NoticeReason::Grew:
        return {"File %s became longer during the writing. What was added is not on the disc.",
                "Longer than before"};
    case NoticeReason::Changed:
        return {"File %s changed during the writing. Old and new parts may be mixed on the disc.",
                "Changed"};
    case NoticeReason::Vanished:
        return {"File %s was removed during the writing. It may not be whole on the disc.",
                "Removed"};
    case NoticeReason::OtherKind:
        return {"%s is no longer a file. What is on the disc in its place is not what was there.",
                "No longer files"};
    }
    return {"%s", ""};
}

constexpr size_t kListedNames = 12;   // for all reasons together
constexpr size_t kLongestShown = 100; // units of a path

// A line of a list, in which a path can't break the line or make it wider than a screen.
std::u16string Shown(std::u16string path) {
    for (char16_t& unit : path) {
        unit = unit < u' ' ? u'?' : unit;
    }
    if (path.size() > kLongestShown) {
        path.replace(kLongestShown / 2, path.size() - kLongestShown, u"...");
    }
    return path;
}

} // namespace

std::u16string TextOf(const VolumeNotice& notice) {
    std::u16string text = ToWide(FormsOf(notice.reason).line);
    // The last one first: a path may contain anything.
    if (const size_t name = text.find(u"\"%s\""); name != std::u16string::npos) {
        text.replace(name + 1, 2, notice.shown_as);
    }
    if (const size_t path = text.find(u"%s"); path != std::u16string::npos) {
        text.replace(path, 2, notice.path);
    }
    return text;
}

std::u16string ListOf(const std::vector<VolumeNotice>& notices) {
    std::map<NoticeReason, std::vector<const VolumeNotice*>> groups;
    for (const VolumeNotice& notice : notices) {
        groups[notice.reason].push_back(&notice);
    }
    std::u16string text;
    for (const auto& [reason, group] : groups) {
        const size_t most = std::max<size_t>(kListedNames / groups.size(), 1);
        text += text.empty() ? u"" : u"\n\n";
        if (group.front()->path.empty()) { // about the disc, not a file
            text += TextOf(*group.front());
            continue;
        }
        text += FormatWide("%s (%zu):", FormsOf(reason).head, group.size());
        for (size_t i = 0; i < std::min(group.size(), most); ++i) {
            text.append(u"\n").append(Shown(group[i]->path));
            if (reason == NoticeReason::Renamed) {
                text.append(u" -> ").append(Shown(group[i]->shown_as));
            }
        }
        if (group.size() > most) {
            text += FormatWide("\n...and %zu more.", group.size() - most);
        }
    }
    return text;
}

} // namespace larkspin
