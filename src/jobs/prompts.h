// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The questions that the jobs ask the user: each text in one place.
//
// Every prompt is a message box without an owner, titled "Larkspin 1.4", shown from the job's
// thread. It returns true for OK or Yes. Prompts never fail. Where Yes can't be undone, No is the
// default.
#pragma once

#include "ui/ccdwriter_ui.h"

#include <cstdint>
#include <string>

namespace larkspin::prompts {

// OK checks the disc again, Cancel gives up.
bool NotSuitableForWriting(CCDWriterUI& ui);
bool RandomBdNotSupported(CCDWriterUI& ui);
bool DataTooLargeForDisk(CCDWriterUI& ui, int32_t megabytes);
bool TooMuchDataForCd(CCDWriterUI& ui);
bool CapacityNotEnough(CCDWriterUI& ui);
bool DvdAudioNotSupported(CCDWriterUI& ui);
bool BluRayAudioNotSupported(CCDWriterUI& ui);
bool NotSuitableForAudio(CCDWriterUI& ui);
bool NotSuitableForImage(CCDWriterUI& ui);
bool ImageTooLargeForDisk(CCDWriterUI& ui, int32_t megabytes);
bool CannotEraseThisDisk(CCDWriterUI& ui);
bool NothingToVerify(CCDWriterUI& ui);
bool DriveNotReady(CCDWriterUI& ui);
bool CannotLookAtDisk(CCDWriterUI& ui);
bool NothingToAddTo(CCDWriterUI& ui);
bool SessionStaysOpen(CCDWriterUI& ui, const std::u16string& reason);

// `list` shows what will not be on the disc. OK writes the rest.
bool WriteTheRest(CCDWriterUI& ui, const std::u16string& list);
void NothingToWrite(CCDWriterUI& ui, const std::u16string& list);

// Yes erases the disc, No gives up.
bool EraseForMoreSpace(CCDWriterUI& ui);
bool EraseNotBlank(CCDWriterUI& ui);

// Yes closes the session and continues, No gives up.
bool CloseOpenSession(CCDWriterUI& ui);

// Yes continues with the disc as it is.
bool WasteDvd(CCDWriterUI& ui);
// `smaller`: the disc that would be large enough.
bool WasteBluRay(CCDWriterUI& ui, const std::u16string& smaller);
bool WasteDoubleLayer(CCDWriterUI& ui);
bool UseUnidentifiedDisk(CCDWriterUI& ui);

// "%d:%02d" of the excess in minutes and seconds.
bool AudioTooLongForDisk(CCDWriterUI& ui, int32_t minutes, int32_t seconds);
// Exclusive use of the drive failed; the reason is a complete sentence. OK tries again.
bool DriveNotHeld(CCDWriterUI& ui, const std::u16string& reason);
bool NextCopy(CCDWriterUI& ui, uint32_t written, uint32_t copies);
// For a drive that stays busy; Yes gives up the work. The progress windows stay meanwhile.
bool StopWaiting(CCDWriterUI& ui);

// A message, not a question. False when the program is exiting and nobody can insert a disc.
bool InsertAnotherDisk(CCDWriterUI& ui);
void AudioOverEightyMinutes(CCDWriterUI& ui);

// An excess in sectors as shown in prompts: in whole megabytes, 0 if below one.
int32_t ExcessMegabytes(int64_t sectors);

} // namespace larkspin::prompts
