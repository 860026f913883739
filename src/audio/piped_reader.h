// The decoder behind a pipe: base of the readers that decode on a thread of their own.
//
// The concrete constructor parses and validates on the calling thread and ends with StartDecoder;
// before that there is nothing to Read.
// The thread runs Decode, which calls WritePcm for every decoded unit and returns when its input is
// at an end, its decoder fails or WritePcm says that the reader has gone; an exception out of it
// ends the stream as well. The concrete destructor must call StopDecoder first: it closes the read
// end, so that a blocked WritePcm fails, and joins.
#pragma once

#include "audio/reader.h"
#include "platform/byte_pipe.h"

#include <memory>
#include <thread>

namespace larkspin {

constexpr size_t kDecoderPipeBytes = 65536;

class CPipedReader : public CReader {
  public:
    ~CPipedReader() override;
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;

  protected:
    CPipedReader() = default;

    // The texts are raised as a CReaderException when no pipe or no thread can be had.
    void StartDecoder(const char* noPipe, const char* noThread);
    void StopDecoder();
    bool WritePcm(const void* data, size_t bytes) { return m_pPipe->Write(data, bytes); }
    virtual void Decode() = 0;

  private:
    std::unique_ptr<BytePipe> m_pPipe;
    std::thread m_hThread;
};

} // namespace larkspin
