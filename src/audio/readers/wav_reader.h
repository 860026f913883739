// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CWavReader: the samples of a RIFF file of form WAVE (Microsoft/IBM "Multimedia Programming
// Interface and Data Specifications 1.0"), read on the caller's thread.
//
// The first "fmt " and the first "data" chunk of the first RIFF chunk of form WAVE are used, in
// either order; all other chunks are skipped. A chunk that extends beyond the RIFF chunk makes the
// file invalid. The size of the data chunk is believed even if the file is shorter: the stream then
// ends early. Files of more than kMaxWavChunks chunks are not real ones and fail.
#pragma once

#include "audio/probe.h"
#include "audio/reader.h"
#include "platform/files.h"

#include <memory>
#include <optional>

namespace larkspin {

constexpr int kMaxWavChunks = 65536;

// The fields of a "fmt " chunk that matter here. In a shorter chunk, the others are 0.
struct WavFormat {
    uint16_t wFormatTag = 0;
    bool bExtensiblePcm = false; // the tag WAVE_FORMAT_EXTENSIBLE with the sub-format PCM
    uint16_t nChannels = 0;
    uint32_t nSamplesPerSec = 0;
    uint16_t wBitsPerSample = 0;
};

// Which of a file's sizes to believe: all, or not those of the form and its data chunk, which a
// program that writes to a pipe can't fill in. Such data extends to the end of the file.
enum class WavSizes { Told, Unfinished };

class CWavReader final : public CReader {
  public:
    // Any format tag is read as PCM of the width that the file states; paths may have any length.
    // Throws CReaderException "Cannot open %s." with the name for all failures, and refuses more
    // than 2 GiB of data (source_limits.h).
    explicit CWavReader(const std::u16string& name, IFileSystem& files = PosixFiles(),
                        WavSizes sizes = WavSizes::Told);
    // Returns no more than the data chunk holds. A failed read is the end.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;
    // Whether the file calls its samples PCM, in the plain or the extensible form of "fmt ".
    // Anything else (A-law, floats, a compressed stream) is noise when read as PCM.
    bool IsPcm() const { return m_bPcm; }
    // Whether the data chunk claims 2 GiB or more that the file does not have.
    bool IsUnfinished() const { return m_bUnfinished; }

  private:
    std::unique_ptr<ISequentialFile> m_pFile; // positioned in the data chunk
    uint32_t m_nDataLeft = 0;
    bool m_bPcm = false;
    bool m_bUnfinished = false;
};

// The data chunk of a PCM file, in the plain or the extensible form. Nothing for any other, and for
// an unfinished one with WavSizes::Told.
std::optional<AudioProbe> ProbeWav(const std::u16string& name, IFileSystem& files,
                                   WavSizes sizes = WavSizes::Told);

} // namespace larkspin
