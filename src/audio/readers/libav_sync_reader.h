// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A synchronous reader of Windows Media audio: the operations that CWmaReader needs from the
// runtime, and a runtime based on libavformat and libavcodec.
//
// Streams are identified by index (from 0) and by their number in the file (from 1). Functions are
// for one thread at a time; only RequestStop may be called on any other.
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
    // `file` is not owned and must outlive the reader's use.
    virtual OpenResult Open(ISequentialFile& file) = 0;
    virtual bool GetStreamCount(uint32_t* count) = 0;
    virtual bool GetStream(uint32_t index, SyncStream* stream) = 0;
    // Playing time in units of 100 ns.
    virtual bool GetDuration(uint64_t* duration) = 0;
    // False if there is no decoder for the content of the stream.
    virtual bool GetOutputNumberForStream(uint16_t stream, uint32_t* output) = 0;
    // Starts the decoder of `output`, once. False if it does not accept the stream.
    virtual bool GetOutputProps(uint32_t output, WaveFormat* format) = 0;
    // The next decoded samples of the output, valid until the next call. False at the end and on
    // any failure.
    virtual bool GetNextSample(std::span<const uint8_t>* samples) = 0;
    // Makes a running GetNextSample end soon.
    virtual void RequestStop() = 0;
};

enum class SyncReaderResult { Created, NotInstalled, Failed };

using CreateSyncReaderFunction = SyncReaderResult (*)(std::unique_ptr<ISyncReader>* reader);

// NotInstalled if this machine's libraries can't be loaded, or were built without ASF or Windows
// Media audio. Samples have 16 bits, or 32 if the encoder was given more than 16, or are floats if
// the decoder returns those.
SyncReaderResult CreateSyncReader(std::unique_ptr<ISyncReader>* reader);

} // namespace larkspin
