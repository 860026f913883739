// What a job needs of the engine that started it: the queue, its head lines and the settings.
//
// All operations are called on the job's thread.
#pragma once

#include <cstdint>
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

    // PCM bytes of the queue; a sum that 32 bits can't hold stays at their greatest number.
    virtual uint32_t QueueAudioBytes() = 0;
    virtual std::u16string DataHeaderText() = 0;
    virtual std::u16string AudioHeaderText(uint32_t audioBytes) = 0;

    // Reads the settings anew; the answers of the next two change only by this.
    virtual void LoadSettings() = 0;
    virtual bool BufferUnderrunProtection() = 0;
    virtual bool WriteSpeedControl() = 0;
};

} // namespace larkspin
