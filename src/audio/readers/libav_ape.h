// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A small interface for decompressing Monkey's Audio, based on libavformat and libavcodec.
//
// A block is one sample of all channels. GetData and Seek are for one thread; GetInfo may be called
// on any. The bits per sample are the file's. Samples are packed: 8-bit ones unsigned, all others
// signed and little-endian.
#pragma once

#include <cstdint>
#include <memory>

namespace larkspin {

// The decompressor's access to the file. Functions return 0 for success and anything else for
// failure. A decompressor only reads, so a file may refuse everything else.
class CIO {
  public:
    virtual ~CIO() = default;
    virtual int Open(const char16_t* name) = 0;
    virtual int Close() = 0;
    virtual int Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) = 0;
    virtual int Write(const void* buffer, uint32_t bytes, uint32_t* bytesWritten) = 0;
    // `mode` is SEEK_SET, SEEK_CUR or SEEK_END.
    virtual int Seek(int64_t distance, int mode) = 0;
    virtual int Create(const char16_t* name) = 0;
    virtual int Delete() = 0;
    virtual int SetEOF() = 0;
    virtual int64_t GetPosition() = 0; // bytes from the start, -1 on failure
    virtual int64_t GetSize() = 0;     // bytes, -1 on failure
    virtual int GetName(char16_t* buffer) = 0;
};

enum ApeInfo {
    kApeSampleRate = 1003,
    kApeBitsPerSample = 1004,
    kApeChannels = 1006,
    kApeBlockAlign = 1007,
    kApeTotalBlocks = 1016,
    kApeCurrentMs = 2001,
    kApeLengthMs = 2003,
};

class IAPEDecompress {
  public:
    virtual ~IAPEDecompress() = default;
    // Stores up to `blocks` blocks at `buffer` and their number in *retrieved; 0 is the end. Any
    // result but 0 is a failure.
    virtual int GetData(char* buffer, int64_t blocks, int64_t* retrieved) = 0;
    // Makes `block` the next one that GetData returns. 0 on success.
    virtual int Seek(int64_t block) = 0;
    // A field of ApeInfo; -1 for an unknown field.
    virtual int64_t GetInfo(int field) const = 0;
    // Makes a GetData running on another thread return soon.
    virtual void RequestStop() = 0;
};

// Null if `io` is not a Monkey's Audio file. `io` is not owned and must outlive the result. Throws
// the exceptions of GetLibavModule.
std::unique_ptr<IAPEDecompress> CreateIAPEDecompressEx(CIO& io);

} // namespace larkspin
