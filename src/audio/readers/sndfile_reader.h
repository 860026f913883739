// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CSndfileReader: the WAV files that are more than plain RIFF with PCM, through libsndfile on the
// caller's thread: files from a pipe whose sizes were never filled in, RF64 and W64, floats, A-law,
// mu-law, ADPCM and the like. Skips a tag at the start of the file.
//
// Samples of up to 16 bits become 16 bits, wider ones 32, and floats stay floats.
#pragma once

#include "audio/probe.h"
#include "audio/reader.h"
#include "platform/files.h"

#include <memory>
#include <vector>

struct sf_private_tag;

namespace larkspin {

class CSndfileReader final : public CReader {
  public:
    // Throws CReaderException "Cannot open %s." with the name for everything that libsndfile does
    // not accept, and refuses (source_limits.h) more than 2 GiB of sound and what can't be decoded.
    CSndfileReader(const std::u16string& name, IFileSystem& files);
    CSndfileReader(HeaderOnly tag, const std::u16string& name, IFileSystem& files);
    ~CSndfileReader() override;
    // Returns only whole frames (one sample of each channel): `bytes` must have room for one.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;

    uint64_t PcmBytes() const { return m_nPcmBytes; }

  private:
    struct Io; // the file after a tag, for the library

    std::unique_ptr<Io> m_pIo; // outlives m_pSound, which reads it
    sf_private_tag* m_pSound = nullptr;
    uint64_t m_nPcmBytes = 0;
};

} // namespace larkspin
