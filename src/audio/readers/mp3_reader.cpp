#include "audio/readers/mp3_reader.h"

#include "audio/readers/mpeg_stream.h"
#include "audio/source_limits.h"

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
    mad_header header;
    mad_header_init(&header);
    while (stream.NextHeader(&header)) {
        probe.rate = static_cast<int>(header.samplerate);
        probe.channels = ChannelsOf(header);
        probe.bytes += static_cast<uint64_t>(kBytesPerUnit) * probe.channels * UnitsOf(header);
    }
    mad_header_finish(&header);
    if (!stream.AtEnd() || probe.bytes == 0) {
        return std::nullopt;
    }
    return probe;
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
    while (m_pStream->NextFrame(&decoder->frame)) {
        mad_synth_frame(&decoder->synth, &decoder->frame);
        const mad_pcm& pcm = decoder->synth.pcm;
        for (unsigned channel = 0; channel < pcm.channels; ++channel) {
            CMp3Dither dither = m_Dither[channel];
            for (unsigned i = 0; i < pcm.length; ++i) {
                samples[i * pcm.channels + channel] = dither.Reduce(pcm.samples[channel][i]);
            }
            m_Dither[channel] = dither;
        }
        if (!WritePcm(samples.data(), sizeof(int16_t) * pcm.length * pcm.channels)) {
            return;
        }
    }
}

std::optional<AudioProbe> ProbeMp3(const std::u16string& name, IFileSystem& files) {
    const std::unique_ptr<CMpegStream> stream = OpenStream(name, files);
    return stream ? ScanHeaders(*stream) : std::nullopt;
}

} // namespace larkspin
