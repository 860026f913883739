#include "volume/volume_notice.h"

#include "platform/text.h"

namespace larkspin {

namespace {

const char* FormOf(NoticeReason reason) {
    switch (reason) {
    case NoticeReason::Missing:
        return "File %s cannot be found.";
    case NoticeReason::Unreadable:
        return "File %s cannot be read.";
    case NoticeReason::Special:
        return "%s is neither a file nor a folder.";
    case NoticeReason::TooLarge:
        return "File %s is too large.";
    case NoticeReason::OldBroken:
        return "File %s on the disk is not complete and was left out.";
    case NoticeReason::OldCut:
        return "The last session on the disk was interrupted before its folders were written. What "
               "only that session had is left out; what was there before it is kept.";
    case NoticeReason::FolderUnreadable:
        return "Folder %s cannot be read.";
    case NoticeReason::HidesFolder:
        return "File %s would hide the folder of that name on the disc.";
    case NoticeReason::Renamed:
        return "File %s is on the disc as \"%s\", for another file has its name.";
    case NoticeReason::Shrank:
        return "File %s became shorter during the writing. Zeros stand for what is missing.";
    case NoticeReason::Grew:
        return "File %s became longer during the writing. What was added is not on the disc.";
    case NoticeReason::Changed:
        return "File %s changed during the writing. Old and new parts may be mixed on the disc.";
    case NoticeReason::Vanished:
        return "File %s was removed during the writing. It may not be whole on the disc.";
    case NoticeReason::OtherKind:
        return "%s is no longer a file. What is on the disc in its place is not what was there.";
    }
    return "%s";
}

} // namespace

std::u16string TextOf(const VolumeNotice& notice) {
    std::u16string text = ToWide(FormOf(notice.reason));
    // The last first: a path may hold anything.
    if (const size_t name = text.find(u"\"%s\""); name != std::u16string::npos) {
        text.replace(name + 1, 2, notice.shown_as);
    }
    if (const size_t path = text.find(u"%s"); path != std::u16string::npos) {
        text.replace(path, 2, notice.path);
    }
    return text;
}

} // namespace larkspin
