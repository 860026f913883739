// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a job needs of the engine that started it: the queue, its head lines and the settings.
//
// All operations are called on the job's thread.
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
    // Takes out of the queue what the last CopyQueue has found there, and nothing that has come
    // since; a second call does nothing.
    virtual void TakePaths() = 0;
    // The program is to end. A job that has changed nothing on its disc yet ends too.
    virtual bool IsLeaving() = 0;
    // The queue was taken over by a feeding program.
    virtual bool IsQueueExclusive() = 0;

    // PCM bytes of the queue; a sum that 32 bits can't hold stays at their greatest number. Empty
    // while the queue is being measured, which this does not wait for.
    virtual std::optional<uint32_t> QueueAudioBytes() = 0;
    // kCalculating while the queue is being measured.
    virtual std::u16string DataHeaderText() = 0;
    virtual std::u16string AudioHeaderText(uint32_t audioBytes) = 0;

    // Reads the settings anew; the answers of the next three change only by this.
    virtual void LoadSettings() = 0;
    virtual bool BufferUnderrunProtection() = 0;
    virtual bool WriteSpeedControl() = 0;
    // What the tick box "Verify" starts with in this job.
    virtual bool VerifyAfterWriting() = 0;

    // Tells the user that one disc has been made as it was asked for: by a notification that stays,
    // or in a box that is waited for where the desktop has none. What is told of
    // this disc after it spoils it.
    virtual void TellSuccess(const std::u16string& what) = 0;
};

} // namespace larkspin
