// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CReader: a source of PCM bytes whose total length is known before the first byte is read.
//
// Samples of all channels are interleaved, channel 0 first. Samples of 16 bits or more are signed
// little-endian; 8-bit samples are unsigned with the middle at 128, as in a WAV file. A reader is
// ready when its constructor returns, and only moves forward. One thread uses a reader at a time.
#pragma once

#include "platform/text.h"

#include <array>
#include <cstdint>
#include <exception>
#include <string>

namespace larkspin {

constexpr uint32_t kCdSampleRate = 44100;
constexpr uint32_t kCdBlockBytes = 2352;
constexpr uint32_t kCdReadChunkBytes = 18816; // 8 blocks

// Thrown by the constructors of readers and stages, with a complete text for the user.
class CReaderException : public std::exception {
  public:
    // Keeps at most 127 bytes of the text, without splitting a UTF-8 character.
    explicit CReaderException(const std::string& text);
    const char* what() const noexcept override { return m_szText.data(); }

  private:
    std::array<char, 128> m_szText = {};
};

// The file can't be opened as one of its format, and the reader knows no more about the reason.
class CNotOpened final : public CReaderException {
  public:
    using CReaderException::CReaderException;
};

// What was lost of the sound that a reader has returned so far.
struct SoundLoss {
    bool brokeOff = false;       // the source ended early or is damaged; replaced by silence
    uint64_t clippedSamples = 0; // louder than full scale, and limited to it
};

class CReader {
  public:
    CReader() = default;
    CReader(const CReader&) = delete;
    CReader& operator=(const CReader&) = delete;

    // Fills `buffer` with up to `bytes` bytes and stores their number in *bytesRead unless that is
    // null. 0 for a request above 0 means the end, now and in every later call. Decoding errors are
    // not reported: the stream just ends early.
    virtual void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) = 0;
    // Complete once the end was read. For the reading thread.
    virtual SoundLoss Loss() const { return {}; }
    // May be called at any point of the stream; joins the object's thread if it has one.
    virtual ~CReader() = default;

    int32_t m_nLength = -1; // PCM bytes claimed; only the outermost stage makes it exact
    int32_t m_nSampleRate = -1;
    int32_t m_nChannels = -1;
    int32_t m_nBits = 0;
    bool m_bFloat = false; // samples are IEEE floats with full scale at 1.0
};

} // namespace larkspin
