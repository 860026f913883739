// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CMpegStream: libmad's stream over a file, through a moving window of fixed size.
//
// Returns the same frames as a stream over the whole file in one buffer, except that junk can't
// pose as a frame larger than a window, and that tags before, between and after the frames are
// skipped. Only for the source files of the readers: it exposes libmad's types.
#pragma once

#include "platform/files.h"

#include <mad.h>
#include <memory>
#include <span>
#include <vector>

namespace larkspin {

class CMpegStream {
  public:
    // `file` is at its start. Whatever is appended to it later is not read.
    explicit CMpegStream(std::unique_ptr<ISequentialFile> file);
    CMpegStream(const CMpegStream&) = delete;
    CMpegStream& operator=(const CMpegStream&) = delete;
    ~CMpegStream();

    // Makes sure that the last frame is decoded even if nothing follows it: libmad then sees zeros
    // after it. Otherwise libmad leaves that frame out, unless tags after it were skipped.
    void KeepLastFrame() { m_bKeepsLast = true; }
    // Back to the start of the file. False if it can't be read or has no bytes.
    bool Rewind();
    // Goes to the next frame; false at the end or after an error that libmad can't recover from.
    bool NextHeader(mad_header* header);
    bool NextFrame(mad_frame* frame);
    // The bytes of the frame whose header was last read, valid until the next call.
    std::span<const uint8_t> Frame() const { return {m_Stream.this_frame, m_Stream.next_frame}; }
    // Offset of these bytes in the file.
    uint64_t FrameOffset() const;
    // Bytes of the file before any tags at its end.
    uint64_t End() const { return m_nEnd; }
    // Whether the last call reached the end of the file, with all of it read.
    bool AtEnd() const;

  private:
    template <class Decode>
    bool Next(Decode decode);
    void StepOverTags();
    bool PutGuard();
    void Refill();

    std::unique_ptr<ISequentialFile> m_pFile;
    std::vector<uint8_t> m_Window;
    mad_stream m_Stream = {};
    uint64_t m_nEnd; // of the sound, in the file
    bool m_bKeepsLast;
    uint64_t m_nWindowAt = 0; // offset of the window in the file
    size_t m_nFilled = 0;     // bytes in the window
    uint64_t m_nLeft = 0;     // bytes of the file not read yet
    bool m_bFailed = false;   // a read failed
    bool m_bGuarded = false;  // zeros follow the sound in the window
};

} // namespace larkspin
