#include "audio/readers/mp3_reader.h"

#include "audio/readers/mpeg_stream.h"
#include "audio/source_limits.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr size_t kMaxFrameSamples = 1152;
constexpr int kBytesPerUnit = 64; // of 32 samples in 16 bits

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

// Sums up all frames by their headers. Nothing if there are none or the walk broke off.
std::optional<AudioProbe> ScanHeaders(CMpegStream& stream) {
    AudioProbe probe = {.bits = 16};
    uint64_t units = 0;
    mad_header header;
    mad_header_init(&header);
    while (stream.NextHeader(&header)) {
        probe.rate = static_cast<int>(header.samplerate);
        probe.channels = ChannelsOf(header);
        units += static_cast<uint64_t>(UnitsOf(header));
    }
    mad_header_finish(&header);
    // Of one channel count throughout, as the frames are delivered.
    probe.bytes = units * kBytesPerUnit * static_cast<uint64_t>(probe.channels);
    if (!stream.AtEnd() || probe.bytes == 0) {
        return std::nullopt;
    }
    return probe;
}

// The mean of both channels in the place of the first.
void MixToMono(mad_pcm* pcm) {
    for (unsigned i = 0; i < pcm->length; ++i) {
        pcm->samples[0][i] = static_cast<mad_fixed_t>(
            (int64_t{pcm->samples[0][i]} + int64_t{pcm->samples[1][i]}) / 2);
    }
}

// A frame's samples with dither, interleaved. Channels go side by side, since each sample waits for
// the error of the one before it in its own channel alone.
template <size_t kChannels>
void Reduce(const mad_pcm& pcm, std::array<CMp3Dither, 2>* channels, int16_t* to) {
    std::array<const mad_fixed_t*, kChannels> from;
    for (size_t channel = 0; channel < kChannels; ++channel) {
        // A frame of one channel stands for both.
        from[channel] = pcm.samples[std::min<size_t>(channel, pcm.channels - 1)];
    }
    std::array<CMp3Dither, 2> dither = *channels; // kept out of memory in the loop
    for (size_t i = 0; i < pcm.length; ++i) {
        for (size_t channel = 0; channel < kChannels; ++channel) {
            *to++ = dither[channel].Reduce(from[channel][i]);
        }
    }
    *channels = dither;
}

// Null if the file can't be opened or has nothing to read.
std::unique_ptr<CMpegStream> OpenStream(const std::u16string& name, IFileSystem& files) {
    std::unique_ptr<ISequentialFile> file = files.OpenSequential(name);
    if (!file) {
        return nullptr;
    }
    auto stream = std::make_unique<CMpegStream>(std::move(file));
    return stream->Rewind() ? std::move(stream) : nullptr;
}

// Where libmad puts a frame and its samples.
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
        throw CReaderException(Format("Cannot open %s.", ToNative(name).c_str()));
    }
    const std::optional<AudioProbe> probe = ScanHeaders(*m_pStream);
    if (!probe || !m_pStream->Rewind()) {
        throw CReaderException(Format("Error parsing MP3 file %s.", ToNative(name).c_str()));
    }
    m_nLength = CheckedLength(name, probe->bytes);
    m_nSampleRate = probe->rate;
    m_nChannels = probe->channels;
    m_nBits = probe->bits;
    StartDecoder("Internal error #210.", "Internal error #211.");
}

CMP3Reader::~CMP3Reader() {
    StopDecoder();
}

void CMP3Reader::Decode() {
    const auto decoder = std::make_unique<FrameDecoder>();
    std::array<int16_t, kMaxFrameSamples * 2> samples;
    const auto channels = static_cast<unsigned>(m_nChannels);
    while (m_pStream->NextFrame(&decoder->frame)) {
        mad_synth_frame(&decoder->synth, &decoder->frame);
        mad_pcm& pcm = decoder->synth.pcm;
        if (pcm.channels > channels) {
            MixToMono(&pcm);
        }
        if (channels == 1) {
            Reduce<1>(pcm, &m_Dither, samples.data());
        } else {
            Reduce<2>(pcm, &m_Dither, samples.data());
        }
        if (!WritePcm(samples.data(), sizeof(int16_t) * pcm.length * channels)) {
            return;
        }
    }
}

std::optional<AudioProbe> ProbeMp3(const std::u16string& name, IFileSystem& files) {
    const std::unique_ptr<CMpegStream> stream = OpenStream(name, files);
    return stream ? ScanHeaders(*stream) : std::nullopt;
}

} // namespace larkspin
