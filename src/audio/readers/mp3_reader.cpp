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
    StartDecoder("Internal error #211.");
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
        for (unsigned channel = 0; channel < channels; ++channel) {
            // A frame of one channel stands for both.
            const mad_fixed_t* const source = pcm.samples[std::min(channel, pcm.channels - 1U)];
            CMp3Dither dither = m_Dither[channel];
            for (unsigned i = 0; i < pcm.length; ++i) {
                samples[i * channels + channel] = dither.Reduce(source[i]);
            }
            m_Dither[channel] = dither;
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
