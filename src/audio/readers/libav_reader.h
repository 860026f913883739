// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CLibavReader: the formats that libavformat and libavcodec read by themselves, decoded on its own
// thread: AAC and Apple Lossless in an MPEG-4 file, bare AAC (ADTS), Opus in Ogg, AIFF, WavPack.
//
// Samples keep the width in which they are decoded: 8, 16 or 32 bits, or floats. What an encoder
// added at the ends is left out if the file declares it in a way that the library understands.
// Sound that can't be decoded becomes silence.
#pragma once

#include "audio/piped_reader.h"
#include "audio/probe.h"
#include "audio/readers/libav_decoder.h"
#include "platform/files.h"

#include <memory>

namespace larkspin {

class CLibavReader : public CPipedReader {
  public:
    // `demuxer` is the library's name of the container. Throws CReaderException: "Cannot open %s.",
    // "it holds no sound.", "it holds a kind of sound that cannot be decoded.", and those of
    // GetLibavModule, CheckedLength and StartTriedDecoder.
    CLibavReader(const char* demuxer, const std::u16string& name, IFileSystem& files);
    CLibavReader(HeaderOnly tag, const char* demuxer, const std::u16string& name,
                 IFileSystem& files);
    ~CLibavReader() override;

    uint64_t PcmBytes() const { return m_nPcmBytes; }

  protected:
    void Decode() override;

  private:
    const AVCodecParameters& Open(const char* demuxer, const std::u16string& name);
    bool WriteSilence(uint64_t frames);

    std::unique_ptr<ISequentialFile> m_hFile; // outlives m_pDecoder, which reads it
    std::unique_ptr<ILibavDecoder> m_pDecoder;
    uint64_t m_nPcmBytes = 0;
};

// The reader of one container, for the factory.
template <const char* demuxer>
class CLibavFile final : public CLibavReader {
  public:
    CLibavFile(const std::u16string& name, IFileSystem& files)
        : CLibavReader(demuxer, name, files) {}
    CLibavFile(HeaderOnly tag, const std::u16string& name, IFileSystem& files)
        : CLibavReader(tag, demuxer, name, files) {}
};

inline constexpr char kMpeg4[] = "mov";
inline constexpr char kAdts[] = "aac";
inline constexpr char kOggPages[] = "ogg";
inline constexpr char kAiff[] = "aiff";
inline constexpr char kWavPack[] = "wv";

} // namespace larkspin
