// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The decoder behind a pipe: base of the readers that decode on a thread of their own.
//
// The concrete constructor parses and validates on the calling thread and ends with StartDecoder,
// or StartTriedDecoder for a file; before that there is nothing to Read.
// The thread runs Decode, which calls WritePcm for every decoded unit and returns when its input is
// at an end, its decoder fails or WritePcm says that the reader has gone; an exception out of it
// ends the stream as well. The concrete destructor must call StopDecoder first: it closes the read
// end, so that a blocked WritePcm fails, and joins.
//
// The pipe of a format reader holds the first second of sound, or 1 MiB of it if that is less, so
// that the constructor can wait for it and refuse a file that does not decode.
#pragma once

#include "audio/reader.h"
#include "platform/byte_pipe.h"

#include <atomic>
#include <future>
#include <memory>
#include <thread>

namespace larkspin {

constexpr size_t kDecoderPipeBytes = 65536; // at least

class CPipedReader : public CReader {
  public:
    ~CPipedReader() override;
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;
    SoundLoss Loss() const override { return {.brokeOff = m_nDamaged > 0}; }

  protected:
    CPipedReader() = default;

    // The texts are raised as a CReaderException when no pipe or no thread can be had.
    void StartDecoder(const char* noPipe, const char* noThread);
    // The same for the reader of a file, whose fields are set: waits for the first second of sound
    // and refuses the file (source_limits.h) if less than a quarter of that came.
    void StartTriedDecoder(const char* noPipe, const char* noThread);
    void StopDecoder();

    // For Decode. False when the reader has gone.
    bool WritePcm(const void* data, size_t bytes);
    // What is written next stands for sound that could not be decoded.
    void CountDamaged(size_t bytes);
    virtual void Decode() = 0;

  private:
    void EndTrial();

    std::unique_ptr<BytePipe> m_pPipe;
    // The first second, in bytes. Counted by the decoder alone until the promise is kept, and
    // looked at behind that.
    uint64_t m_nTrial = 0;
    uint64_t m_nDecoded = 0;
    std::atomic<uint64_t> m_nDamaged = 0; // counted on to the end
    bool m_bTrialEnded = false;
    std::promise<void> m_trial;
    std::thread m_hThread;
};

} // namespace larkspin
