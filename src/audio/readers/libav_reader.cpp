// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/libav_reader.h"

#include "audio/source_limits.h"

#include <algorithm>
#include <span>

namespace larkspin {

namespace {

constexpr size_t kSilenceBytes = 65536; // at once

// The form of the samples; none if it isn't one that a chain accepts.
AVSampleFormat FormOf(const AVCodecParameters& stream) {
    switch (stream.format) {
    case AV_SAMPLE_FMT_U8:
    case AV_SAMPLE_FMT_U8P:
        return AV_SAMPLE_FMT_U8;
    case AV_SAMPLE_FMT_S16:
    case AV_SAMPLE_FMT_S16P:
        return AV_SAMPLE_FMT_S16;
    case AV_SAMPLE_FMT_S32:
    case AV_SAMPLE_FMT_S32P:
        return AV_SAMPLE_FMT_S32;
    case AV_SAMPLE_FMT_FLT:
    case AV_SAMPLE_FMT_FLTP:
    case AV_SAMPLE_FMT_DBL:
    case AV_SAMPLE_FMT_DBLP:
        return AV_SAMPLE_FMT_FLT;
    default:
        return AV_SAMPLE_FMT_NONE;
    }
}

} // namespace

CLibavReader::CLibavReader(HeaderOnly /*tag*/, const char* demuxer, const std::u16string& name,
                           IFileSystem& files)
    : m_hFile(files.OpenSequential(name)) {
    const AVCodecParameters& stream = Open(demuxer, name);
    const uint64_t claimed = m_pDecoder->ClaimedFrames();
    uint64_t frames = claimed;
    // For lossy sound, headers state the length including what an encoder added, or in fractions of
    // a second, or not at all. A file that ends long before its claimed end keeps that claim.
    if (claimed == 0 || !GetLibavModule().isLossless(stream.codec_id)) {
        frames = m_pDecoder->CountFrames();
        if (claimed > frames + static_cast<uint64_t>(m_nSampleRate)) {
            frames = claimed;
        }
    }
    if (__builtin_mul_overflow(frames, static_cast<uint64_t>(m_nChannels * m_nBits / 8),
                               &m_nPcmBytes)) {
        m_nPcmBytes = UINT64_MAX;
    }
}

CLibavReader::CLibavReader(const char* demuxer, const std::u16string& name, IFileSystem& files)
    : CLibavReader(HeaderOnly(), demuxer, name, files) {
    m_nLength = CheckedLength(PcmBytes());
    Open(demuxer, name);
    StartTriedDecoder("there is not enough memory to decode it.", "it cannot be decoded now.");
}

CLibavReader::~CLibavReader() {
    m_pDecoder->RequestStop();
    StopDecoder();
}

// Opens the file at its beginning and sets the fields. The result lives as long as m_pDecoder.
const AVCodecParameters& CLibavReader::Open(const char* demuxer, const std::u16string& name) {
    m_pDecoder.reset();
    if (m_hFile != nullptr && m_hFile->Seek(0)) {
        m_pDecoder = GetLibavModule().open(*m_hFile, demuxer);
    }
    if (m_pDecoder == nullptr || !m_pDecoder->CompleteStreamInfo()) {
        throw CNotOpened(TextWithName("Cannot open ", name, "."));
    }
    // A cover picture is a stream too.
    const std::span<AVStream* const> streams = m_pDecoder->Streams();
    const auto found = std::find_if(streams.begin(), streams.end(), [](const AVStream* each) {
        return each->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
    });
    if (found == streams.end()) {
        throw CReaderException("it holds no sound.");
    }
    const AVCodecParameters& stream = *(*found)->codecpar;
    const AVSampleFormat form = FormOf(stream);
    if (form == AV_SAMPLE_FMT_NONE ||
        !m_pDecoder->Select(static_cast<size_t>(found - streams.begin()), form)) {
        throw CReaderException("it holds a kind of sound that cannot be decoded.");
    }
    m_nChannels = m_pDecoder->Channels();
    m_nSampleRate = m_pDecoder->SampleRate();
    m_nBits = m_pDecoder->SampleBytes() * 8;
    m_bFloat = form == AV_SAMPLE_FMT_FLT;
    return stream;
}

void CLibavReader::Decode() {
    for (;;) {
        const std::span<const uint8_t> samples = m_pDecoder->Next();
        if (!WriteSilence(m_pDecoder->TakeLostFrames()) || samples.empty() ||
            !WritePcm(samples.data(), samples.size())) {
            return;
        }
    }
}

// In place of what was lost, so that the rest keeps its time.
bool CLibavReader::WriteSilence(uint64_t frames) {
    const auto frameBytes = static_cast<uint64_t>(m_nChannels * m_nBits / 8);
    const uint8_t silence = m_nBits == 8 ? 0x80 : 0;
    uint64_t left = std::min(frames * frameBytes, PcmBytes());
    for (; left > 0; left -= std::min(left, kSilenceBytes)) {
        const std::vector<uint8_t> part(std::min(left, kSilenceBytes), silence);
        CountDamaged(part.size());
        if (!WritePcm(part.data(), part.size())) {
            return false;
        }
    }
    return true;
}

} // namespace larkspin
