// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a job needs from the engine that started it: the queue, its head lines and the settings.
//
// All functions are called on the job's thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace larkspin {

class JobHost {
  public:
    virtual ~JobHost() = default;

    virtual std::vector<std::u16string> CopyQueue() = 0;
    // Removes from the queue what the last CopyQueue found there, and nothing that has been added
    // since; a second call does nothing.
    virtual void TakePaths() = 0;
    // The program is about to exit. A job that has not changed anything on its disc yet ends, too.
    virtual bool IsLeaving() = 0;
    // A feeding program has taken over the queue.
    virtual bool IsQueueExclusive() = 0;

    // PCM bytes of the queue, limited to the largest 32-bit number. Empty while the queue is still
    // being measured; does not wait.
    virtual std::optional<uint32_t> QueueAudioBytes() = 0;
    // kCalculating while the queue is still being measured.
    virtual std::u16string DataHeaderText() = 0;
    virtual std::u16string AudioHeaderText(uint32_t audioBytes) = 0;

    // Reads the settings again; the next three results change only then.
    virtual void LoadSettings() = 0;
    virtual bool BufferUnderrunProtection() = 0;
    virtual bool WriteSpeedControl() = 0;
    // The initial state of the "Verify" tick box in this job.
    virtual bool VerifyAfterWriting() = 0;

    // Tells the user that one disc has been made as requested: with a notification that stays, or,
    // if the desktop has none, in a box that is waited for. A later message about this disc makes
    // it a failure.
    virtual void TellSuccess(const std::u16string& what) = 0;
};

} // namespace larkspin
