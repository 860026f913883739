// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// libavformat and libavcodec for the readers: one stream of a file, decoded to interleaved samples.
// They are in a separate module (src/audio/libav), because they bring more than a hundred libraries
// with them, which a program that meets no file for them need neither load nor keep. Only types
// from the library's headers are used here, none of its functions.
//
// The file is only accessed through callbacks, the caller chooses the demuxer (nothing is guessed),
// and everything runs on the calling thread. A packet that can't be decoded is skipped and counted.
// A broken container ends the stream, and so does a change of rate, channels or sample form within
// it. The library's log is silenced for the process.
//
// One thread uses a decoder at a time; only RequestStop may be called on any other.
#pragma once

#include "platform/files.h"

#include <cstdint>
#include <memory>
#include <span>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace larkspin {

class ILibavDecoder {
  public:
    virtual ~ILibavDecoder() = default;

    virtual std::span<AVStream* const> Streams() const = 0;
    // Reads, and decodes, a little of the streams to find out what their headers leave out. What
    // has been read in this way is returned again later. False if that fails.
    virtual bool CompleteStreamInfo() = 0;

    // Opens the decoder of stream `index`, once; the other streams are ignored from then on.
    // `output` is the packed form of the samples, to which the library converts by itself. False if
    // there is no decoder, or it does not accept the stream.
    virtual bool Select(size_t index, AVSampleFormat output) = 0;
    // Of the selected stream.
    virtual int Channels() const = 0;
    virtual int SampleRate() const = 0;
    virtual int SampleBytes() const = 0; // of one channel, in the selected form
    // Frames (one sample of each channel) that its header claims. 0 if it doesn't say, or if it is
    // only a guess from the bit rate.
    virtual uint64_t ClaimedFrames() const = 0;

    // Frames that all its packets decode to, less those that an encoder added. Reads the whole
    // file, and nothing can be decoded afterwards. CompleteStreamInfo must be called first.
    virtual uint64_t CountFrames() = 0;

    // The next decoded samples, valid until the next call; empty at the end.
    virtual std::span<const uint8_t> Next() = 0;
    // Makes `frame` of the selected stream the next one returned. False if the container can't be
    // positioned there.
    virtual bool Seek(int64_t frame) = 0;

    // Frames of packets that could not be decoded, since the previous call.
    virtual uint64_t TakeLostFrames() = 0;

    // Makes a running call end soon, and every later one at once.
    virtual void RequestStop() = 0;
};

// The interface of the module.
struct LibavModule {
    // `file` is not owned and must outlive the result. Null if the demuxer is not in the library or
    // refuses the file, or if there is no memory.
    std::unique_ptr<ILibavDecoder> (*open)(ISequentialFile& file, const char* demuxer);
    bool (*hasDemuxer)(const char* name);
    bool (*hasDecoder)(AVCodecID codec);
    bool (*isLossless)(AVCodecID codec);
};

// The module's only symbol.
using LibavModuleFunction = const LibavModule* (*)();
inline constexpr char kLibavModuleSymbol[] = "LarkspinLibavModule";

// Loads the module in the first call, from its place beside the program's folder; any thread. Null
// if that fails, in which case the next call tries again.
const LibavModule* FindLibavModule();

// The same, for readers. Throws CReaderException with the module's name.
const LibavModule& GetLibavModule();

} // namespace larkspin
