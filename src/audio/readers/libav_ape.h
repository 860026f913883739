// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A Monkey's Audio decompressor with a small call surface, on libavformat and libavcodec.
//
// A block is one sample of all channels. GetData and Seek belong to one thread; GetInfo may be
// called from any. Bits per sample are what the file says; samples leave packed: 8-bit ones
// unsigned, all others signed and little-endian.
#pragma once

#include <cstdint>
#include <memory>

namespace larkspin {

// How the decompressor gets at the file. Operations give 0 for success and any other number for
// failure; a decompressor only reads, so that a file behind this may refuse all the rest.
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
    // Puts up to `blocks` blocks at `buffer` and their number in *retrieved; 0 is the end.
    // Anything but 0 as the result is a failure.
    virtual int GetData(char* buffer, int64_t blocks, int64_t* retrieved) = 0;
    // Makes `block` the next that GetData gives. 0 on success.
    virtual int Seek(int64_t block) = 0;
    // A field of ApeInfo; -1 for a field that isn't known.
    virtual int64_t GetInfo(int field) const = 0;
    // Makes a GetData that runs on another thread come to its end soon.
    virtual void RequestStop() = 0;
};

// Null if `io` holds no Monkey's Audio file. `io` is borrowed and must outlive the result. Throws
// what GetLibavModule does.
std::unique_ptr<IAPEDecompress> CreateIAPEDecompressEx(CIO& io);

} // namespace larkspin
