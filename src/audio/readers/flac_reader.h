// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A FLAC file through libFLAC, decoded on its own thread.
//
// m_nBits is STREAMINFO's, rounded up to whole bytes: samples of 12 bits become 16, those of 20
// become 24, with zeros at the low end. 8-bit samples are returned as unsigned bytes, wider ones as
// signed.
//
// A stream without a length (0 samples in STREAMINFO) has m_nLength 0, which CheckSource refuses by
// name. A frame whose number of channels or width differs from STREAMINFO's ends the stream. A
// frame that libFLAC can't decode is left out; for a frame with a wrong checksum, libFLAC returns
// silence. A file that loses its first second in this way is refused.
//
// Constructor failures: "cannot open", "not a FLAC file", "Internal error #280" (no pipe),
// "Internal error #281" (no thread).
#pragma once

#include "audio/piped_reader.h"
#include "audio/probe.h"
#include "platform/files.h"

#include <FLAC/stream_decoder.h>
#include <atomic>
#include <limits>
#include <memory>
#include <vector>

namespace larkspin {

class CFLACReader : public CPipedReader {
  public:
    CFLACReader(const std::u16string& name, IFileSystem& files);
    CFLACReader(HeaderOnly tag, const std::u16string& name, IFileSystem& files);
    ~CFLACReader() override;

    // Positions in whole seconds, callable on any thread. SetPosition takes effect at the next
    // decoded frame; what is already in the pipe still comes first.
    virtual void SetPosition(uint32_t seconds);
    virtual uint32_t GetPosition() const;
    virtual uint32_t GetDuration() const { return m_nDurationSeconds; }

    uint64_t PcmBytes() const;

  protected:
    void Decode() override;

  private:
    struct Callbacks;
    struct DecoderDeleter {
        void operator()(FLAC__StreamDecoder* decoder) const {
            FLAC__stream_decoder_delete(decoder);
        }
    };
    static constexpr uint64_t kNoSeek = std::numeric_limits<uint64_t>::max();

    void TakeStreamInfo(const FLAC__StreamMetadata_StreamInfo& info);
    bool TakeFrame(const FLAC__Frame& frame, const FLAC__int32* const channels[]);

    std::unique_ptr<ISequentialFile> m_hFile;
    std::unique_ptr<FLAC__StreamDecoder, DecoderDeleter> m_pDecoder;
    std::vector<uint8_t> m_frame; // one frame, interleaved
    int32_t m_nFileBits = 0;      // of a sample in the file
    uint64_t m_nTotalSamples = 0; // per channel
    uint64_t m_nFileSize = 0;
    uint32_t m_nDurationSeconds = 0;
    bool m_bDamagedFrame = false;      // the next frame is silence in its place
    bool m_bEndOfFile = false;         // a read callback reached the end of the file
    std::atomic<bool> m_bStop = false; // the destructor asks the thread to stop
    std::atomic<uint64_t> m_nSeekSample = kNoSeek;
    std::atomic<uint64_t> m_nDecodeOffset = 0; // bytes into the file
};

} // namespace larkspin
