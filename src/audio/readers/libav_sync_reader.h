// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A synchronous reader of Windows Media audio: the operations that CWmaReader needs of the
// runtime, and the runtime that stands on libavformat and libavcodec.
//
// Streams are known by index (from 0) and by their number in the file (from 1). Operations belong
// to one thread at a time; RequestStop alone may come from any other.
#pragma once

#include "platform/files.h"

#include <cstdint>
#include <memory>
#include <span>

namespace larkspin {

struct SyncStream {
    uint16_t number = 0;
    bool isAudio = false;
};

struct WaveFormat {
    uint16_t channels = 0;
    uint32_t samplesPerSecond = 0;
    uint16_t bitsPerSample = 0;
    bool isFloat = false;
};

class ISyncReader {
  public:
    enum class OpenResult { Opened, Protected, Failed };

    virtual ~ISyncReader() = default;
    // `file` is borrowed and must outlive the reader's use.
    virtual OpenResult Open(ISequentialFile& file) = 0;
    virtual bool GetStreamCount(uint32_t* count) = 0;
    virtual bool GetStream(uint32_t index, SyncStream* stream) = 0;
    // Playing time in units of 100 ns.
    virtual bool GetDuration(uint64_t* duration) = 0;
    // False if what the stream holds has no decoder.
    virtual bool GetOutputNumberForStream(uint16_t stream, uint32_t* output) = 0;
    // Starts the decoder of `output`, once. False if it does not take the stream.
    virtual bool GetOutputProps(uint32_t output, WaveFormat* format) = 0;
    // The next decoded samples of the output, valid until the next call. False at the end and on
    // any failure.
    virtual bool GetNextSample(std::span<const uint8_t>* samples) = 0;
    // Makes a running GetNextSample come to its end soon.
    virtual void RequestStop() = 0;
};

enum class SyncReaderResult { Created, NotInstalled, Failed };

using CreateSyncReaderFunction = SyncReaderResult (*)(std::unique_ptr<ISyncReader>* reader);

// NotInstalled if the libraries on this machine can't be loaded, or were built without ASF or
// Windows Media audio.
// Samples come out with 16 bits; those of an encoder that was given more with 32, or as floats
// where its decoder gives such.
SyncReaderResult CreateSyncReader(std::unique_ptr<ISyncReader>* reader);

} // namespace larkspin
