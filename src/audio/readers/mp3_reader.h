// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CMP3Reader: MPEG audio of all layers through libmad, decoded on its own thread.
//
// The constructor walks all frame headers once, which gives the length without any synthesis. Only
// the headers are used: rate and channels of the last frame apply to the whole file. All frames are
// delivered, and counted, with the file's channels: one with a single channel is played on both,
// one with two channels is mixed to their mean. A frame with another rate keeps its samples and so
// plays at the wrong speed. Tags are skipped, and so is junk between frames. A last frame that
// isn't followed by a tag or 8 other bytes is neither counted nor decoded, since libmad needs that
// much after a frame.
//
// If the first frame is an encoder's own and states the silence that was added (mp3_info.h), this
// frame and that silence are left out, and the last frame is always decoded: tracks cut from one
// piece join without a gap.
//
// The file is read through a moving window of fixed size and not mapped: if a mapped file shrinks
// or becomes unreadable, the whole process would end instead of the stream.
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
    // "Internal error #210." or "#211." if no pipe or no thread is available. Refuses
    // (source_limits.h) what decodes to more than 2 GiB, what can't be decoded, and a file in which
    // frames that belong together make up less than a tenth.
    explicit CMP3Reader(const std::u16string& name, IFileSystem& files = PosixFiles());
    ~CMP3Reader() override;

  private:
    void Decode() override;

    std::unique_ptr<CMpegStream> m_pStream; // used only by the thread while that runs
    std::array<CMp3Dither, 2> m_Dither;     // for each channel; used only by the thread
    bool m_bInfoFrame = false;              // the first frame is not sound
    // Samples of each channel to skip, then to deliver; used only by the thread.
    uint64_t m_nSkip = 0;
    uint64_t m_nLeft = UINT64_MAX;
};

std::optional<AudioProbe> ProbeMp3(const std::u16string& name, IFileSystem& files);

} // namespace larkspin
