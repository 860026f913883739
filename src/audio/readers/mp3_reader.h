// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CMP3Reader: MPEG audio of all layers through libmad, decoded on a thread of its own.
//
// The constructor walks all frame headers once, which gives the length without any synthesis. The
// headers alone are trusted: rate and channels of the last frame stand for the whole file. All
// frames are delivered, and counted, with the file's channels: one of a single channel sounds on
// both, one of two channels is mixed to their mean. A frame of another rate keeps its samples and
// so plays at the wrong speed. Tags are stepped over, junk between frames is skipped. A last frame
// that isn't followed by a tag or 8 other bytes is neither counted nor decoded, since libmad asks
// for that much behind a frame.
//
// Where the first frame is an encoder's own and tells the silence that it added (mp3_info.h), this
// frame and that silence are left out, and the last frame is decoded in any case: tracks that were
// cut out of one piece join without a gap.
//
// The file is read through a window of fixed size that moves on, not mapped: a mapped file that
// shrinks or can't be read any more would end the process instead of the stream.
#pragma once

#include "audio/piped_reader.h"
#include "audio/probe.h"
#include "audio/readers/mp3_dither.h"
#include "platform/files.h"

#include <array>
#include <memory>
#include <optional>

namespace larkspin {

class CMpegStream;

class CMP3Reader final : public CPipedReader {
  public:
    // Throws CReaderException: "Cannot open %s." for a file that can't be opened or is empty,
    // "Error parsing MP3 file %s." for one without frames or that can't be read to its end,
    // "Internal error #210." or "#211." when no pipe or no thread can be had; refuses
    // (source_limits.h) what decodes to more than 2 GiB, what does not decode, and a file of which
    // frames that go together are less than a tenth.
    explicit CMP3Reader(const std::u16string& name, IFileSystem& files = PosixFiles());
    ~CMP3Reader() override;

  private:
    void Decode() override;

    std::unique_ptr<CMpegStream> m_pStream; // the thread's alone while it runs
    std::array<CMp3Dither, 2> m_Dither;     // for each channel; the thread's alone
    bool m_bInfoFrame = false;              // the first frame is no sound
    // Samples of each channel to leave out, then to deliver; the thread's alone.
    uint64_t m_nSkip = 0;
    uint64_t m_nLeft = UINT64_MAX;
};

std::optional<AudioProbe> ProbeMp3(const std::u16string& name, IFileSystem& files);

} // namespace larkspin
