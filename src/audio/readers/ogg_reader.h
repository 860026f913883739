// An Ogg Vorbis file through libvorbisfile, decoded on the caller's thread to 16 bits.
//
// In a chained file the rate and channels of the first link count for the whole. A link that
// differs from it would be noise on a CD: the stream ends before it, and the time that is missing
// becomes silence at the end of the track.
//
// Constructor failures: "Cannot open %s.", "%s is not an OggVorbis file.", "Malformed OggVorbis
// file %s." (no information, or a stream that can't tell its length).
#pragma once

#include "audio/probe.h"
#include "audio/reader.h"
#include "platform/files.h"

#include <memory>

#define OV_EXCLUDE_STATIC_CALLBACKS
#include <vorbis/vorbisfile.h>

namespace larkspin {

class COggReader final : public CReader {
  public:
    COggReader(const std::u16string& name, IFileSystem& files);
    COggReader(HeaderOnly tag, const std::u16string& name, IFileSystem& files);
    ~COggReader() override;
    // Gives whole frames (one sample of each channel) only: `bytes` must hold at least one.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;

    uint64_t PcmBytes() const { return m_nPcmBytes; }

  private:
    // Bytes put at `to`, 0 at the end of what can be played.
    uint32_t ReadSome(char* to, uint32_t bytes);
    bool IsFirstFormat();

    std::unique_ptr<ISequentialFile> m_hFile;
    OggVorbis_File m_VorbisFile = {};
    uint64_t m_nPcmBytes = 0;
    int m_nLink = 0;       // of the samples read last
    bool m_bEnded = false; // the end, a broken stream or a link of another form was met
};

} // namespace larkspin
