// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The five jobs: one disc operation each, run on the job's thread.
//
// A job asks for its parameters, brings the right disc into the drive by prompts, and works. It
// reports everything to the user itself; what is left for its caller is what becomes of the
// program. A cancel is no failure: no message follows it.
//
// However a job ends, its threads have been joined, the drive's door has been told to unlock if
// the job locked it, and the tray callbacks and the progress dialog it installed are gone.
#pragma once

#include "drive/drive_list.h"
#include "jobs/job_host.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "ui/ccdwriter_ui.h"

#include <functional>
#include <string>
#include <thread>

namespace larkspin {

enum class JobEnd {
    Idle, // the program goes on as if nothing had happened
    Exit, // the program ends, unless paths are still in the queue
};

// Starts a thread; throws std::system_error if there is none to be had.
using ThreadStarter = std::function<std::thread(std::function<void()> body)>;

// What a job works with. The references outlive the job.
struct JobEnv {
    JobHost& host;
    CCDWriterUI& ui;
    DriveList& drives;
    IFileSystem& files;
    IClock& clock;
    ThreadStarter startThread = [](std::function<void()> body) {
        return std::thread(std::move(body));
    };
};

// Writes the queue to a data disc. The queue is walked first, in a window that can be cancelled if
// it lasts. What can't be written, a vanished item too, is told in one list before anything is
// asked of the disc, with Cancel to write nothing and keep the queue; so do audio discs. What the
// volume alone shows (broken files of an old session, names that had to change) or what has changed
// since then is told in the same way before the first block. Nothing is told twice.
//
// What is on the disc already comes next:
// - A drive that spins up, wakes or was reset is waited for, up to a minute, before its disc is
//   judged; so do the other jobs.
// - A DVD that the drive can't read is not written to: what is on it might be a volume. One that is
//   written in place and holds something else is asked for first.
// - A CD whose last session can't be found is not appended to ("Internal error #176."): a volume
//   over the wrong session would hide the files of the right one. A drive that doesn't take the
//   settings for a CD with a next session writes none.
// - A volume that turns out larger than what the disc has left is told before its first block,
//   while the queue is still there. A disc that would take it if it were empty, and can be emptied,
//   may be given away for it; else OK looks at the disc again.
// The job's paths are taken out of the queue right before the first block.
// - A volume cut short, by the user or by a failure of the generator, does not take the place of
//   the one on a disc that is written in place.
// - A DVD-RAM that holds a volume is added to: it can't be blanked.
// What only the generator or the drive knows (why there is no volume, a volume cut short on a DVD,
// a session that was not closed) is told in one box at the end.
JobEnd DataJob(JobEnv& env);

// Writes the queue as an audio CD, in as many copies as the user wants: a count of 0 or less is
// taken for 1, one above 20 for 20. A lead-out that the drive could not write is told after the
// copy, as it is in ImageJob.
JobEnd AudioJob(JobEnv& env);

// Copies an image file to disc, sector by sector; copies as in AudioJob. Only a regular file is
// an image. A file that gets shorter while it is written is reported when the disc is done, and so
// is one too small for the DVD logic, which writes nothing below 64 KiB.
JobEnd ImageJob(JobEnv& env, const std::u16string& imagePath);

// Erases the disc in the drive of that index.
JobEnd EraseJob(JobEnv& env, uint32_t driveIndex);

// Reads all of the disc in the drive of that index, whoever made it, and tells what can't be read:
// files by the directories of the last session's volume, sound by track. The disc stays in.
JobEnd VerifyJob(JobEnv& env, uint32_t driveIndex);

// The frame around each job: settings read anew, queue editor hidden, and an answer for what a
// body lets escape.
JobEnd RunJob(JobEnv& env, const std::function<JobEnd()>& body);

} // namespace larkspin
