// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A decoder behind a pipe: the base of readers that decode on their own thread.
//
// The derived constructor parses and validates on the calling thread and ends with StartDecoder, or
// StartTriedDecoder for a file; before that, nothing can be read. The thread runs Decode, which
// calls WritePcm for every decoded unit and returns when its input ends, its decoder fails or
// WritePcm reports that the reader has gone; an exception from it also ends the stream. The derived
// destructor must first call StopDecoder, which closes the read end, so that a blocked WritePcm
// fails, and joins the thread.
//
// The pipe of a format reader holds the first second of sound, but at most 1 MiB, so that the
// constructor can wait for it and refuse a file that can't be decoded.
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

    // The texts are thrown as a CReaderException if no pipe or no thread is available.
    void StartDecoder(const char* noPipe, const char* noThread);
    // The same for the reader of a file, whose fields must be set: waits for the first second of
    // sound and refuses the file (source_limits.h) if less than a quarter of that arrives.
    void StartTriedDecoder(const char* noPipe, const char* noThread);
    void StopDecoder();

    // For Decode. False if the reader has gone.
    bool WritePcm(const void* data, size_t bytes);
    // The next bytes written replace sound that could not be decoded.
    void CountDamaged(size_t bytes);
    virtual void Decode() = 0;

  private:
    void EndTrial();

    std::unique_ptr<BytePipe> m_pPipe;
    // The first second, in bytes. Counted only by the decoder until the promise is kept, and read
    // afterwards.
    uint64_t m_nTrial = 0;
    uint64_t m_nDecoded = 0;
    std::atomic<uint64_t> m_nDamaged = 0; // counted to the end
    bool m_bTrialEnded = false;
    std::promise<void> m_trial;
    std::thread m_hThread;
};

} // namespace larkspin
