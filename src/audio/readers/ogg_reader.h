// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// An Ogg Vorbis file through libvorbisfile, decoded on the caller's thread to 16 bits.
//
// The links of a chained file follow one another. A file whose links have different rates or
// channels is refused by name, and so is one that can't be decoded (source_limits.h).
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
    // Returns only whole frames (one sample of each channel): `bytes` must have room for one.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;

    uint64_t PcmBytes() const { return m_nPcmBytes; }

  private:
    // Bytes stored at `to`, 0 at the end of what can be played.
    uint32_t ReadSome(char* to, uint32_t bytes);
    bool LinksAreAlike();

    std::unique_ptr<ISequentialFile> m_hFile;
    OggVorbis_File m_VorbisFile = {};
    uint64_t m_nPcmBytes = 0;
    bool m_bEnded = false; // the end or a broken stream was reached
};

} // namespace larkspin
