// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CWavReader: the samples of a RIFF file of form WAVE (Microsoft/IBM "Multimedia Programming
// Interface and Data Specifications 1.0"), read on the caller's thread.
//
// The first "fmt " and the first "data" chunk of the first RIFF chunk of form WAVE count, in either
// order; all other chunks are skipped. A chunk that reaches beyond the RIFF chunk spoils the file.
// The size of the data chunk is believed even where the file is shorter: the stream then ends
// early. Files of more than kMaxWavChunks chunks are no real ones and fail.
#pragma once

#include "audio/probe.h"
#include "audio/reader.h"
#include "platform/files.h"

#include <memory>
#include <optional>

namespace larkspin {

constexpr int kMaxWavChunks = 65536;

// The fields of a "fmt " chunk that matter here. A shorter chunk leaves the rest 0.
struct WavFormat {
    uint16_t wFormatTag = 0;
    bool bExtensiblePcm = false; // the tag WAVE_FORMAT_EXTENSIBLE with the sub-format PCM
    uint16_t nChannels = 0;
    uint32_t nSamplesPerSec = 0;
    uint16_t wBitsPerSample = 0;
};

// What to believe of a file's sizes: all, or nothing of those of the form and of its data chunk,
// which a program that writes to a pipe can't fill in. Such data goes on to the file's end.
enum class WavSizes { Told, Unfinished };

class CWavReader final : public CReader {
  public:
    // Any format tag is read as PCM of the width that the file states; paths may have any length.
    // Throws CReaderException "Cannot open %s." with the name for all failures, and refuses more
    // than 2 GiB of data (source_limits.h).
    explicit CWavReader(const std::u16string& name, IFileSystem& files = PosixFiles(),
                        WavSizes sizes = WavSizes::Told);
    // Delivers no more than the data chunk holds. A failed read is the end.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;
    // Whether the file calls its samples PCM, in the plain or the extensible form of "fmt ". What
    // else there is (A-law, floats, a compressed stream) is noise when it is read as PCM.
    bool IsPcm() const { return m_bPcm; }
    // Whether the data chunk claims 2 GiB or more and the file does not hold them.
    bool IsUnfinished() const { return m_bUnfinished; }

  private:
    std::unique_ptr<ISequentialFile> m_pFile; // positioned in the data chunk
    uint32_t m_nDataLeft = 0;
    bool m_bPcm = false;
    bool m_bUnfinished = false;
};

// The data chunk of a file of PCM, in the plain or the extensible form. Nothing for any other, and
// for one that is unfinished while its sizes are told.
std::optional<AudioProbe> ProbeWav(const std::u16string& name, IFileSystem& files,
                                   WavSizes sizes = WavSizes::Told);

} // namespace larkspin
