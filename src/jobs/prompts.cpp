// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/prompts.h"
#include "platform/text.h"

namespace larkspin::prompts {

namespace {

constexpr int32_t kSectorsPerMegabyte = 512;

bool OkCancel(CCDWriterUI& ui, const std::u16string& text) {
    return ui.AskUser(text, kBoxTitle, BoxButtons::OkCancel, BoxIcon::None);
}

// For a Yes that can't be undone.
bool YesNoGuarded(CCDWriterUI& ui, const std::u16string& text) {
    return ui.AskUser(text, kBoxTitle, BoxButtons::YesNoGuarded, BoxIcon::None);
}

} // namespace

bool NotSuitableForWriting(CCDWriterUI& ui) {
    return OkCancel(ui, u"The disk is not suitable for writing. It is finalized or doesn't have "
                        u"enough free space and cannot be erased.\n\n"
                        u"Please insert another disk and press \"OK\".");
}

bool RandomBdNotSupported(CCDWriterUI& ui) {
    return OkCancel(
        ui, u"The disk is a BD-R in random recording mode, which Larkspin does not write.\n\n"
            u"Please insert another disk and press \"OK\".");
}

bool DataTooLargeForDisk(CCDWriterUI& ui, int32_t megabytes) {
    return OkCancel(ui, FormatWide("The size of selected files exceeds disk capacity by %dMb.\n\n"
                                   "Please edit your selection or insert another disk and invoke "
                                   "Larkspin again",
                                   megabytes));
}

bool TooMuchDataForCd(CCDWriterUI& ui) {
    return OkCancel(ui, u"Too much data for conventional CD-R/RW.\n\n"
                        u"Please insert a writable DVD disk and press \"OK\".");
}

bool CapacityNotEnough(CCDWriterUI& ui) {
    return OkCancel(ui, u"Disk capacity is not enough to write so much data. You should probably "
                        u"try writing to a DVD.\n\n"
                        u"Please insert another disk and press \"OK\".");
}

bool DvdAudioNotSupported(CCDWriterUI& ui) {
    return OkCancel(ui, u"Creating DVD-Audio disks is not yet supported. Only conventional CD-Rs "
                        u"and CD-RWs can be written as audio.\n\n"
                        u"Please insert another disk and press \"OK\".");
}

bool BluRayAudioNotSupported(CCDWriterUI& ui) {
    return OkCancel(ui, u"Audio cannot be written to a Blu-ray disk. Only conventional CD-Rs and "
                        u"CD-RWs can be written as audio.\n\n"
                        u"Please insert another disk and press \"OK\".");
}

bool NotSuitableForAudio(CCDWriterUI& ui) {
    return OkCancel(ui, u"The disk is not suitable for creating audio disk. It's not empty and "
                        u"cannot be erased.\n\n"
                        u"Please insert another disk and press \"OK\".");
}

bool NotSuitableForImage(CCDWriterUI& ui) {
    return OkCancel(ui, u"The disk is not suitable for image burning. It's not empty and cannot be "
                        u"erased.\n\nPlease insert another disk and press \"OK\".");
}

bool ImageTooLargeForDisk(CCDWriterUI& ui, int32_t megabytes) {
    return OkCancel(ui, FormatWide("The image size exceeds disk capacity by %dMb and cannot be "
                                   "written.\n\nPlease insert another disk and press \"OK\".",
                                   megabytes));
}

bool CannotEraseThisDisk(CCDWriterUI& ui) {
    return OkCancel(ui, u"Cannot erase this disk in this drive. Please insert RW-disk to erase and "
                        u"press \"OK\".");
}

bool NothingToVerify(CCDWriterUI& ui) {
    return OkCancel(ui, u"There is nothing on the disk that could be verified, or there is no disk "
                        u"in the drive.\n\nPlease insert another disk and press \"OK\".");
}

bool DriveNotReady(CCDWriterUI& ui) {
    return OkCancel(ui, u"The drive has not got the disk ready for a minute.\n\n"
                        u"Please take the disk out and insert it again, or insert another disk, "
                        u"and press \"OK\".");
}

bool CannotLookAtDisk(CCDWriterUI& ui) {
    return OkCancel(ui, u"The drive cannot read what is on the disk. There may be files on it that "
                        u"would be lost, so nothing was written.\n\n"
                        u"Please clean the disk or insert another one and press \"OK\". If you "
                        u"need nothing on it, erase it first.");
}

bool NothingToAddTo(CCDWriterUI& ui) {
    return OkCancel(ui, u"The disk holds something that files cannot be added to, and it cannot be "
                        u"erased. Nothing was written.\n\n"
                        u"Please insert another disk and press \"OK\".");
}

bool SessionStaysOpen(CCDWriterUI& ui, const std::u16string& reason) {
    return OkCancel(ui,
                    u"The drive could not close the session that was interrupted, so nothing "
                    u"can be added to the disk. What earlier sessions hold is still there.\n\n" +
                        reason + u"\n\nPlease insert another disk and press \"OK\".");
}

bool CloseOpenSession(CCDWriterUI& ui) {
    return YesNoGuarded(
        ui, u"The last session on the disk is not finished: its writing was interrupted, or "
            u"another program has left it open. Nothing can be added before it is closed.\n\n"
            u"Should Larkspin close it and go on?\n\n"
            u"Earlier sessions are kept. Of the one that was interrupted, files that are not "
            u"complete are left out.");
}

bool WriteTheRest(CCDWriterUI& ui, const std::u16string& list) {
    return OkCancel(ui, u"Not everything that you have picked can be written as it is.\n\n" + list +
                            u"\n\nPress \"OK\" to write all the rest. If you press \"Cancel\" "
                            u"nothing is written, and the queue is kept.");
}

void NothingToWrite(CCDWriterUI& ui, const std::u16string& list) {
    ui.ShowMessage(u"Nothing of what you have picked can be written.\n\n" + list);
}

bool EraseForMoreSpace(CCDWriterUI& ui) {
    return YesNoGuarded(ui, u"The disk in the drive is not blank and doesn't have enough space for "
                            u"data.\n\nShould Larkspin erase it for you?\n\n"
                            u"If you say \"Yes\" all data on this disk will be LOST.");
}

bool EraseNotBlank(CCDWriterUI& ui) {
    return YesNoGuarded(ui, u"The disk in the drive is not blank.\n\n"
                            u"Should Larkspin erase it for you?\n\n"
                            u"If you say \"Yes\" all data on this disk will be LOST.");
}

bool WasteDvd(CCDWriterUI& ui) {
    return YesNoGuarded(ui,
                        u"You are going to write DVD disk, but image size is small enough to fit "
                        u"CD-R/RW disk.\n\n"
                        u"Should Larkspin ignore this and proceed with writing anyway?");
}

bool WasteBluRay(CCDWriterUI& ui, const std::u16string& smaller) {
    return YesNoGuarded(ui,
                        u"You are going to write Blu-ray disk, but image size is small enough to "
                        u"fit " +
                            smaller +
                            u" disk.\n\nShould Larkspin ignore this and proceed with writing "
                            u"anyway?");
}

bool WasteDoubleLayer(CCDWriterUI& ui) {
    return YesNoGuarded(
        ui, u"You are going to write Double Layer disk, but image size is small enough to "
            u"fit single layer disk. You're going to waste your expensive Double Layer "
            u"disk.\n\nShould Larkspin ignore this and proceed with writing anyway?");
}

bool UseUnidentifiedDisk(CCDWriterUI& ui) {
    return YesNoGuarded(ui, u"The disk type cannot be identified.\n\n"
                            u"Should Larkspin ignore this and proceed with writing?\n\n"
                            u"If you're unsure say \"No\".");
}

bool AudioTooLongForDisk(CCDWriterUI& ui, int32_t minutes, int32_t seconds) {
    return OkCancel(
        ui, FormatWide("The duration of selected audio files exceeds disk capacity by %d:%02d "
                       "(min:sec) and cannot be written.\n\n"
                       "Please edit your selection and invoke Larkspin again.",
                       minutes, seconds));
}

bool DriveNotHeld(CCDWriterUI& ui, const std::u16string& reason) {
    return OkCancel(ui, u"Larkspin must have the drive to itself to write, and cannot have it. As "
                        u"long as that is so nothing is written.\n\n" +
                            reason + u"\n\nPress \"OK\" to try again.");
}

bool StopWaiting(CCDWriterUI& ui) {
    return YesNoGuarded(ui,
                        u"The drive has been busy for minutes and does not get on. It may still "
                        u"do so.\n\nShould Larkspin stop waiting for it?\n\n"
                        u"If you say \"Yes\" the disk will not be complete, and what is on it "
                        u"may be LOST.");
}

bool NextCopy(CCDWriterUI& ui, uint32_t written, uint32_t copies) {
    return ui.AskUser(FormatWide("Written %u of %u disks, %u disks left.\n\n"
                                 "Please insert next disk and press \"OK\".",
                                 written, copies, copies - written),
                      kBoxTitle, BoxButtons::OkCancel, BoxIcon::Question);
}

bool InsertAnotherDisk(CCDWriterUI& ui) {
    return ui.AskUser(u"Please insert another disk and press \"OK\".", kBoxTitle, BoxButtons::Ok,
                      BoxIcon::None);
}

void AudioOverEightyMinutes(CCDWriterUI& ui) {
    ui.AskUser(u"The duration of selected audio files is more than 80 minutes. This selection "
               u"won't fit any CD-R/RW.\n\n"
               u"Please edit your selection and invoke Larkspin again.",
               kBoxTitle, BoxButtons::Ok, BoxIcon::Stop);
}

int32_t ExcessMegabytes(int64_t sectors) {
    return static_cast<int32_t>(sectors / kSectorsPerMegabyte);
}

} // namespace larkspin::prompts
