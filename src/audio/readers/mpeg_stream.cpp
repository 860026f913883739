#include "audio/readers/mpeg_stream.h"

#include <algorithm>
#include <cstring>

namespace larkspin {

namespace {

constexpr size_t kWindowBytes = 65536;
// What libmad can always see ahead: the longest frame, of 5760 bytes, and the header after it,
// which it needs to tell the length of frames in free format.
constexpr size_t kAheadBytes = 16384;

} // namespace

CMpegStream::CMpegStream(std::unique_ptr<ISequentialFile> file)
    : m_pFile(std::move(file)), m_Window(kWindowBytes) {
    mad_stream_init(&m_Stream);
}

CMpegStream::~CMpegStream() {
    mad_stream_finish(&m_Stream);
}

bool CMpegStream::Rewind() {
    const int64_t size = m_pFile->Size();
    if (size <= 0 || !m_pFile->Seek(0)) {
        return false;
    }
    mad_stream_finish(&m_Stream);
    mad_stream_init(&m_Stream);
    m_nFilled = 0;
    m_nLeft = static_cast<uint64_t>(size);
    m_bFailed = false;
    Refill();
    return m_nFilled > 0;
}

bool CMpegStream::NextHeader(mad_header* header) {
    return Next([header](mad_stream* stream) { return mad_header_decode(header, stream); });
}

bool CMpegStream::NextFrame(mad_frame* frame) {
    return Next([frame](mad_stream* stream) { return mad_frame_decode(frame, stream); });
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
        // A failed search for the next frame loses libmad's note that it must search.
        const int sync = m_Stream.sync;
        if (decode(&m_Stream) == 0) {
            return true;
        }
        if (MAD_RECOVERABLE(m_Stream.error)) {
            continue;
        }
        if (m_Stream.error != MAD_ERROR_BUFLEN || m_nLeft == 0) {
            return false;
        }
        if (m_Stream.next_frame == m_Window.data() && m_nFilled == m_Window.size()) {
            // Something that claims to be a frame of a whole window isn't one.
            ++m_Stream.next_frame;
            m_Stream.sync = 0;
            continue;
        }
        m_Stream.sync = sync;
        Refill();
    }
}

// Moves what libmad still needs to the front of the window and fills up behind it. libmad's state
// of synchronisation is kept; a new buffer would count as synchronised.
void CMpegStream::Refill() {
    const bool first = m_Stream.buffer == nullptr;
    const int sync = m_Stream.sync;
    if (!first) {
        const auto done = static_cast<size_t>(m_Stream.next_frame - m_Window.data());
        m_nFilled -= done;
        std::memmove(m_Window.data(), m_Stream.next_frame, m_nFilled);
    }
    while (m_nLeft > 0 && m_nFilled < m_Window.size()) {
        const size_t wanted = std::min<uint64_t>(m_Window.size() - m_nFilled, m_nLeft);
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
