// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The five jobs: one disc operation each, run on the job's thread.
//
// A job asks for its parameters, prompts until the right disc is in the drive, and works. It
// reports everything to the user itself; its caller only has to decide whether the program goes on.
// A cancel is not a failure: no message follows it.
//
// However a job ends, its threads have been joined, the drive's door has been unlocked if the job
// locked it, and its tray callbacks and progress dialog are gone.
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
    Idle, // the program continues as if nothing had happened
    Exit, // the program exits, unless paths are still in the queue
};

// Starts a thread; throws std::system_error if none is available.
using ThreadStarter = std::function<std::thread(std::function<void()> body)>;

// What a job works with. The references must outlive the job.
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

// Writes the queue to a data disc. First the queue is walked, in a window that can be cancelled if
// it takes long. Whatever can't be written, including vanished items, is shown in one list before
// anything is asked of the disc, with Cancel to write nothing and keep the queue; audio discs do
// the same. What only the volume shows (broken files of an old session, names that had to change),
// and what has changed since, is shown in the same way before the first block. Nothing is shown
// twice.
//
// Then the disc is checked:
// - A drive that spins up, wakes or was reset is waited for, up to a minute, before its disc is
//   judged; the other jobs do the same.
// - A DVD that the drive can't read is not written to: there might be a volume on it. If a disc
//   that is written in place holds something else, the user is asked first.
// - A CD whose last session can't be found is not appended to ("Internal error #176."): a volume on
//   top of the wrong session would hide the files of the right one. If a drive refuses the settings
//   for a CD with further sessions, no CD is written.
// - A DVD-RAM that holds a volume is appended to: it can't be blanked.
// - If a volume turns out larger than the room left on the disc, the user is told before its first
//   block, while the queue is still there. If the disc would have room when empty, and can be
//   emptied, the user may sacrifice its contents; otherwise OK checks the disc again.
//
// Right before the first block, the job's paths are removed from the queue. A volume cut short, by
// the user or by a failure of the generator, does not replace the one on a disc that is written in
// place. What only the generator or the drive knows (why there is no volume, a volume cut short on
// a DVD, a session that was not closed) is reported in one box at the end.
JobEnd DataJob(JobEnv& env);

// Writes the queue as an audio CD, in as many copies as the user wants: a number of 0 or less
// counts as 1, one above 20 as 20. If the drive could not write the lead-out, the user is told
// after the copy, as in ImageJob.
JobEnd AudioJob(JobEnv& env);

// Copies an image file to disc, sector by sector, with copies as in AudioJob. Only a regular file
// is an image. After the disc, the job reports a file that got shorter while it was written, and
// one that is too small for the DVD logic, which writes nothing below 64 KiB.
JobEnd ImageJob(JobEnv& env, const std::u16string& imagePath);

// Erases the disc in the drive with that index.
JobEnd EraseJob(JobEnv& env, uint32_t driveIndex);

// Reads everything on the disc in the drive with that index, whoever made it, and reports what
// can't be read: files by the directories of the last session's volume, sound by track. The disc
// stays in.
JobEnd VerifyJob(JobEnv& env, uint32_t driveIndex);

// Runs the body of a job: reads the settings again, hides the queue editor, and handles exceptions
// that escape.
JobEnd RunJob(JobEnv& env, const std::function<JobEnd()>& body);

} // namespace larkspin
