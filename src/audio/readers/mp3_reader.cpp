// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/mp3_reader.h"

#include "audio/readers/mp3_info.h"
#include "audio/readers/mpeg_stream.h"
#include "audio/source_limits.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr size_t kMaxFrameSamples = 1152;
constexpr uint64_t kUnitSamples = 32;
constexpr uint64_t kDecoderDelay = 529; // samples returned before the first one that went in
constexpr uint64_t kLeastCoverage = 10; // frames of sound are at least a tenth of a file

int ChannelsOf(const mad_header& header) {
    return header.mode == MAD_MODE_SINGLE_CHANNEL ? 1 : 2;
}

// A frame's samples of each channel, in units of 32.
int UnitsOf(const mad_header& header) {
    if (header.layer == MAD_LAYER_I) {
        return 12;
    }
    return header.layer == MAD_LAYER_III && (header.flags & MAD_FLAG_LSF_EXT) != 0 ? 18 : 36;
}

// What the frames of a file say.
struct Mp3Scan {
    AudioProbe sound;
    std::optional<Mp3Info> info; // set if the first frame is an encoder's own
    uint64_t frames = 0;         // of sound
    uint64_t samples = 0;        // of each channel, including what the encoder added
    uint64_t coveredBytes = 0;   // by runs of frames
};

// Counts how much of a file are runs of frames of one kind that follow one another. In a file of
// another format much may look like frames, since one in free format ends where the next is found,
// but four in a row do not come up.
class Coverage {
  public:
    uint64_t Bytes() const { return m_nBytes; }
    void Add(const mad_header& header, const CMpegStream& stream) {
        const unsigned kind = static_cast<unsigned>(header.layer) * 2 +
                              ((header.flags & MAD_FLAG_FREEFORMAT) != 0 ? 1 : 0);
        const uint64_t at = stream.FrameOffset();
        if (at != m_nEnd || kind != m_nKind || header.samplerate != m_nRate) {
            m_nRunFrames = 0;
            m_nRunBytes = 0;
        }
        m_nRunBytes += stream.Frame().size();
        if (++m_nRunFrames >= kRun) {
            m_nBytes += m_nRunBytes;
            m_nRunBytes = 0;
        }
        m_nEnd = at + stream.Frame().size();
        m_nKind = kind;
        m_nRate = header.samplerate;
    }

  private:
    static constexpr uint64_t kRun = 4;

    uint64_t m_nBytes = 0;
    uint64_t m_nRunFrames = 0;
    uint64_t m_nRunBytes = 0; // not counted yet
    uint64_t m_nEnd = 0;      // of the frame before
    unsigned m_nKind = 0;
    unsigned m_nRate = 0;
};

// The samples before and after the sound that are not part of it. If an encoder counted other
// frames than there are, its numbers can't apply to the end of this file.
uint64_t SamplesInFront(const Mp3Scan& scan) {
    return scan.info ? scan.info->delay : 0;
}

uint64_t SamplesBehind(const Mp3Scan& scan) {
    const bool whole =
        scan.info && (scan.info->frames == scan.frames || scan.info->frames == scan.frames + 1);
    return whole ? scan.info->padding : 0;
}

// Adds up all frames by their headers. Nothing if there are none or the walk was interrupted.
std::optional<Mp3Scan> ScanHeaders(CMpegStream& stream) {
    Mp3Scan scan;
    scan.sound.bits = 16;
    Coverage coverage;
    mad_header header;
    mad_header_init(&header);
    bool first = true;
    while (stream.NextHeader(&header)) {
        coverage.Add(header, stream);
        if (first) {
            first = false;
            scan.info = ReadMp3Info(header, stream);
            if (scan.info) {
                stream.KeepLastFrame();
                continue;
            }
        }
        scan.sound.rate = static_cast<int>(header.samplerate);
        scan.sound.channels = ChannelsOf(header);
        scan.samples += static_cast<uint64_t>(UnitsOf(header)) * kUnitSamples;
        ++scan.frames;
    }
    mad_header_finish(&header);
    if (!stream.AtEnd() || scan.samples <= SamplesInFront(scan) + SamplesBehind(scan)) {
        return std::nullopt;
    }
    // Of one channel count throughout, as the frames are delivered.
    scan.sound.bytes = (scan.samples - SamplesInFront(scan) - SamplesBehind(scan)) *
                       sizeof(int16_t) * static_cast<uint64_t>(scan.sound.channels);
    scan.coveredBytes = coverage.Bytes();
    return scan;
}

bool IsCovered(const Mp3Scan& scan, const CMpegStream& stream) {
    return scan.coveredBytes >= stream.End() / kLeastCoverage;
}

// The mean of both channels replaces the first.
void MixToMono(mad_pcm* pcm) {
    for (unsigned i = 0; i < pcm->length; ++i) {
        pcm->samples[0][i] = static_cast<mad_fixed_t>(
            (int64_t{pcm->samples[0][i]} + int64_t{pcm->samples[1][i]}) / 2);
    }
}

// A frame's samples with dither, interleaved. The channels are processed in parallel, since each
// sample depends only on the error of the previous one in its own channel.
template <size_t kChannels>
void Reduce(const mad_pcm& pcm, size_t begin, size_t end, std::array<CMp3Dither, 2>* channels,
            int16_t* to) {
    std::array<const mad_fixed_t*, kChannels> from;
    for (size_t channel = 0; channel < kChannels; ++channel) {
        // A frame with one channel is used for both.
        from[channel] = pcm.samples[std::min<size_t>(channel, pcm.channels - 1)];
    }
    std::array<CMp3Dither, 2> dither = *channels; // in registers during the loop
    for (size_t i = begin; i < end; ++i) {
        for (size_t channel = 0; channel < kChannels; ++channel) {
            *to++ = dither[channel].Reduce(from[channel][i]);
        }
    }
    *channels = dither;
}

// Null if the file can't be opened or has no bytes.
std::unique_ptr<CMpegStream> OpenStream(const std::u16string& name, IFileSystem& files) {
    std::unique_ptr<ISequentialFile> file = files.OpenSequential(name);
    if (!file) {
        return nullptr;
    }
    auto stream = std::make_unique<CMpegStream>(std::move(file));
    return stream->Rewind() ? std::move(stream) : nullptr;
}

// Storage for libmad's frame and its samples.
struct FrameDecoder {
    mad_frame frame;
    mad_synth synth;

    FrameDecoder() {
        mad_frame_init(&frame);
        mad_synth_init(&synth);
    }
    FrameDecoder(const FrameDecoder&) = delete;
    FrameDecoder& operator=(const FrameDecoder&) = delete;
    ~FrameDecoder() {
        mad_synth_finish(&synth);
        mad_frame_finish(&frame);
    }
};

} // namespace

CMP3Reader::CMP3Reader(const std::u16string& name, IFileSystem& files)
    : m_pStream(OpenStream(name, files)) {
    if (!m_pStream) {
        throw CNotOpened(TextWithName("Cannot open ", name, "."));
    }
    const std::optional<Mp3Scan> scan = ScanHeaders(*m_pStream);
    if (!scan || !m_pStream->Rewind()) {
        throw CReaderException(TextWithName("Error parsing MP3 file ", name, "."));
    }
    if (!IsCovered(*scan, *m_pStream)) {
        throw CReaderException("only small parts of it are MPEG sound.");
    }
    m_nLength = CheckedLength(scan->sound.bytes);
    m_nSampleRate = scan->sound.rate;
    m_nChannels = scan->sound.channels;
    m_nBits = scan->sound.bits;
    if (scan->info) {
        m_bInfoFrame = true;
        m_nSkip = SamplesInFront(*scan) + kDecoderDelay;
        m_nLeft = scan->sound.bytes / sizeof(int16_t) / static_cast<uint64_t>(m_nChannels);
    }
    StartTriedDecoder("Internal error #210.", "Internal error #211.");
}

CMP3Reader::~CMP3Reader() {
    StopDecoder();
}

void CMP3Reader::Decode() {
    const auto decoder = std::make_unique<FrameDecoder>();
    std::array<int16_t, kMaxFrameSamples * 2> samples;
    const auto channels = static_cast<unsigned>(m_nChannels);
    if (m_bInfoFrame && !m_pStream->NextHeader(&decoder->frame.header)) {
        return;
    }
    while (m_nLeft > 0 && m_pStream->NextFrame(&decoder->frame)) {
        mad_synth_frame(&decoder->synth, &decoder->frame);
        mad_pcm& pcm = decoder->synth.pcm;
        if (pcm.channels > channels) {
            MixToMono(&pcm);
        }
        const size_t begin = std::min<uint64_t>(m_nSkip, pcm.length);
        const size_t end = begin + std::min<uint64_t>(m_nLeft, pcm.length - begin);
        m_nSkip -= begin;
        m_nLeft -= end - begin;
        if (channels == 1) {
            Reduce<1>(pcm, begin, end, &m_Dither, samples.data());
        } else {
            Reduce<2>(pcm, begin, end, &m_Dither, samples.data());
        }
        if (!WritePcm(samples.data(), sizeof(int16_t) * (end - begin) * channels)) {
            return;
        }
    }
}

std::optional<AudioProbe> ProbeMp3(const std::u16string& name, IFileSystem& files) {
    const std::unique_ptr<CMpegStream> stream = OpenStream(name, files);
    const std::optional<Mp3Scan> scan = stream ? ScanHeaders(*stream) : std::nullopt;
    return scan && IsCovered(*scan, *stream) ? std::optional(scan->sound) : std::nullopt;
}

} // namespace larkspin
