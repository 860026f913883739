// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// libavformat and libavcodec as the readers see them: one stream of a file, decoded to interleaved
// samples. They come in a module of their own (src/audio/libav), since they bring more than a
// hundred libraries with them: a program that meets no file for them neither waits for these to be
// loaded nor carries them along. The types of the library's headers are used, none of its
// functions.
//
// The file is reached through callbacks only, the demuxer is the one that the caller names (nothing
// is guessed), and everything runs on the calling thread. A packet that cannot be decoded is
// skipped and counted; a container that breaks ends the stream, as does a change of rate, channels
// or sample form in its middle. The library's log is silenced for the process.
//
// One thread uses a decoder at a time; RequestStop alone may come from any other.
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
    // Reads, and decodes, a little of the streams to learn what their headers leave out. What has
    // been read so comes again. False if that fails.
    virtual bool CompleteStreamInfo() = 0;

    // Opens the decoder of stream `index`, once; the other streams are left out from now on.
    // `output` is the packed form that samples shall take, converted as the library does by
    // itself. False if there is no decoder, or it does not accept the stream.
    virtual bool Select(size_t index, AVSampleFormat output) = 0;
    // Of the selected stream.
    virtual int Channels() const = 0;
    virtual int SampleRate() const = 0;
    virtual int SampleBytes() const = 0; // of one channel, in the form chosen
    // Frames (one sample of each channel) that its header claims. 0 if it doesn't tell, or if what
    // it tells is a guess from the rate of bits.
    virtual uint64_t ClaimedFrames() const = 0;

    // Frames that all its packets decode to, less those that an encoder added. Reads the whole
    // file, and nothing can be decoded after that. CompleteStreamInfo comes first.
    virtual uint64_t CountFrames() = 0;

    // The next decoded samples, valid until the next call; empty at the end.
    virtual std::span<const uint8_t> Next() = 0;
    // Makes frame `frame` of the selected stream the next that comes. False if the container cannot
    // be moved there.
    virtual bool Seek(int64_t frame) = 0;

    // Frames of packets that could not be decoded, counted anew by each call.
    virtual uint64_t TakeLostFrames() = 0;

    // Makes a running call come to its end soon, and every later one at once.
    virtual void RequestStop() = 0;
};

// What the module gives.
struct LibavModule {
    // `file` is borrowed and must outlive the result. Null if the demuxer is not in the library,
    // refuses the file or memory runs out.
    std::unique_ptr<ILibavDecoder> (*open)(ISequentialFile& file, const char* demuxer);
    bool (*hasDemuxer)(const char* name);
    bool (*hasDecoder)(AVCodecID codec);
    bool (*isLossless)(AVCodecID codec);
};

// The module's one symbol.
using LibavModuleFunction = const LibavModule* (*)();
inline constexpr char kLibavModuleSymbol[] = "LarkspinLibavModule";

// Loads the module with the first call, from its place beside the program's folder; any thread.
// Null if that fails, and then it is tried again with the next call.
const LibavModule* FindLibavModule();

// The same, for readers. Throws CReaderException with the module's name.
const LibavModule& GetLibavModule();

} // namespace larkspin
