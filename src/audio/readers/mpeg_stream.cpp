// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/mpeg_stream.h"

#include "audio/readers/tags.h"

#include <algorithm>
#include <cstring>

namespace larkspin {

namespace {

constexpr size_t kWindowBytes = 65536;
// What libmad always has to see in advance: the longest frame, of 5760 bytes, and the header after
// it, which it needs to determine the length of frames in free format.
constexpr size_t kAheadBytes = 16384;
constexpr unsigned long kMostMonoLayer2 = 192000; // bits per second

} // namespace

CMpegStream::CMpegStream(std::unique_ptr<ISequentialFile> file)
    : m_pFile(std::move(file)), m_Window(kWindowBytes + MAD_BUFFER_GUARD),
      m_nEnd(OffsetOfTagsBehind(*m_pFile)),
      m_bKeepsLast(m_nEnd < static_cast<uint64_t>(std::max<int64_t>(m_pFile->Size(), 0))) {
    mad_stream_init(&m_Stream);
}

CMpegStream::~CMpegStream() {
    mad_stream_finish(&m_Stream);
}

bool CMpegStream::Rewind() {
    if (!m_pFile->Seek(0)) {
        return false;
    }
    mad_stream_finish(&m_Stream);
    mad_stream_init(&m_Stream);
    m_nFilled = 0;
    m_nWindowAt = 0;
    m_nLeft = m_nEnd;
    m_bFailed = false;
    m_bGuarded = false;
    Refill();
    return m_nFilled > 0;
}

bool CMpegStream::NextHeader(mad_header* header) {
    return Next([header](mad_stream* stream) { return mad_header_decode(header, stream); });
}

bool CMpegStream::NextFrame(mad_frame* frame) {
    return Next([frame](mad_stream* stream) {
        mad_header& header = frame->header;
        if (mad_header_decode(&header, stream) != 0) {
            return -1;
        }
        // The standard has no single-channel Layer II above 192 kbit/s, but encoders produce it.
        // From here on, libmad only uses the bit rate to select a table, and the one for free
        // format is right for all high rates.
        if (header.layer == MAD_LAYER_II && header.mode == MAD_MODE_SINGLE_CHANNEL &&
            (header.flags & MAD_FLAG_LSF_EXT) == 0 && header.bitrate > kMostMonoLayer2) {
            header.flags |= MAD_FLAG_FREEFORMAT;
        }
        return mad_frame_decode(frame, stream);
    });
}

uint64_t CMpegStream::FrameOffset() const {
    return m_nWindowAt + static_cast<uint64_t>(m_Stream.this_frame - m_Window.data());
}

bool CMpegStream::AtEnd() const {
    return m_Stream.error == MAD_ERROR_BUFLEN && !m_bFailed;
}

template <class Decode>
bool CMpegStream::Next(Decode decode) {
    for (;;) {
        const auto ahead = static_cast<size_t>(m_Stream.bufend - m_Stream.next_frame);
        if (m_nLeft > 0 && ahead < kAheadBytes) {
            Refill();
        }
        StepOverTags();
        // When a search for the next frame fails, libmad forgets that it must go on searching.
        const int sync = m_Stream.sync;
        if (decode(&m_Stream) == 0) {
            return true;
        }
        if (MAD_RECOVERABLE(m_Stream.error)) {
            continue;
        }
        if (m_Stream.error != MAD_ERROR_BUFLEN || (m_nLeft == 0 && !PutGuard())) {
            return false;
        }
        if (m_Stream.next_frame == m_Window.data() && m_nFilled >= kWindowBytes) {
            // Something that claims to be as large as a whole window isn't a frame.
            ++m_Stream.next_frame;
            m_Stream.sync = 0;
            continue;
        }
        m_Stream.sync = sync;
        Refill();
    }
}

// Appends zeros to the last frame, once. False if that has been done or is not wanted.
bool CMpegStream::PutGuard() {
    if (!m_bKeepsLast || m_bGuarded) {
        return false;
    }
    std::memset(m_Window.data() + m_nFilled, 0, MAD_BUFFER_GUARD);
    m_nFilled += MAD_BUFFER_GUARD;
    m_bGuarded = true;
    return true;
}

// Skips the tags where the next frame is expected. A supposed tag that is longer than the rest of
// the file is not one.
void CMpegStream::StepOverTags() {
    for (;;) {
        const std::span<const uint8_t> ahead(m_Stream.next_frame, m_Stream.bufend);
        const uint64_t tag = TagBytes(ahead);
        if (tag == 0 || tag > ahead.size() + m_nLeft) {
            return;
        }
        if (tag <= ahead.size()) {
            m_Stream.next_frame += tag;
            if (ahead.size() - tag >= kAheadBytes) {
                continue;
            }
        } else {
            const uint64_t beyond = tag - ahead.size();
            const int64_t at = m_pFile->Tell();
            m_bFailed = at < 0 || !m_pFile->Seek(static_cast<uint64_t>(at) + beyond);
            m_nLeft = m_bFailed ? 0 : m_nLeft - beyond;
            m_nWindowAt += beyond;
            m_Stream.next_frame = m_Stream.bufend;
        }
        Refill();
    }
}

// Moves what libmad still needs to the front of the window and fills it up. This keeps libmad's
// synchronisation state, whereas a new buffer would count as synchronised.
void CMpegStream::Refill() {
    const bool first = m_Stream.buffer == nullptr;
    const int sync = m_Stream.sync;
    if (!first) {
        const auto done = static_cast<size_t>(m_Stream.next_frame - m_Window.data());
        m_nFilled -= done;
        m_nWindowAt += done;
        std::memmove(m_Window.data(), m_Stream.next_frame, m_nFilled);
    }
    while (m_nLeft > 0 && m_nFilled < kWindowBytes) {
        const size_t wanted = std::min<uint64_t>(kWindowBytes - m_nFilled, m_nLeft);
        const std::ptrdiff_t got = m_pFile->Read(m_Window.data() + m_nFilled, wanted);
        if (got <= 0) {
            m_bFailed = got < 0;
            m_nLeft = 0;
            break;
        }
        m_nFilled += static_cast<size_t>(got);
        m_nLeft -= static_cast<size_t>(got);
    }
    mad_stream_buffer(&m_Stream, m_Window.data(), m_nFilled);
    if (!first) {
        m_Stream.sync = sync;
    }
}

} // namespace larkspin
