// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/libav/decoder.h"

#include "audio/readers/seek_from.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <mutex>

extern "C" {
#include <libavutil/log.h>
}

namespace larkspin {

namespace {

constexpr int kIoBufferBytes = 32768;
constexpr size_t kSkipSamplesBytes = 10;    // of a packet's side data about them
constexpr int kMaxSamplesInFrame = 1 << 20; // of all channels; a hostile header may claim more

} // namespace

// Callbacks for libavformat, with the decoder as opaque data.
struct CLibavDecoder::Callbacks {
    static int Read(void* opaque, uint8_t* buffer, int bytes) {
        auto& decoder = *static_cast<CLibavDecoder*>(opaque);
        if (decoder.m_bStop) {
            return AVERROR_EXIT;
        }
        const std::ptrdiff_t got = decoder.m_file.Read(buffer, static_cast<size_t>(bytes));
        if (got == 0) {
            return AVERROR_EOF;
        }
        return got < 0 ? AVERROR(EIO) : static_cast<int>(got);
    }

    static int64_t Seek(void* opaque, int64_t offset, int whence) {
        auto& file = static_cast<CLibavDecoder*>(opaque)->m_file;
        if ((whence & AVSEEK_SIZE) != 0) {
            return file.Size();
        }
        const int64_t position = SeekFrom(file, offset, whence & ~AVSEEK_FORCE);
        return position < 0 ? AVERROR(EIO) : position;
    }

    static int IsStopped(void* opaque) {
        return static_cast<CLibavDecoder*>(opaque)->m_bStop ? 1 : 0;
    }
};

void CLibavDecoder::Deleter::operator()(AVIOContext* io) const {
    av_freep(&io->buffer);
    avio_context_free(&io);
}

std::unique_ptr<ILibavDecoder> CLibavDecoder::Open(ISequentialFile& file, const char* demuxer) {
    static std::once_flag silenced;
    std::call_once(silenced, [] { av_log_set_level(AV_LOG_QUIET); });

    std::unique_ptr<CLibavDecoder> decoder(new CLibavDecoder(file));
    if (!decoder->OpenInput(demuxer)) {
        return nullptr;
    }
    return decoder;
}

bool CLibavDecoder::OpenInput(const char* demuxer) {
    const AVInputFormat* input = av_find_input_format(demuxer);
    auto* buffer = static_cast<unsigned char*>(av_malloc(kIoBufferBytes));
    if (input == nullptr || buffer == nullptr) {
        av_free(buffer);
        return false;
    }
    m_pIo.reset(avio_alloc_context(buffer, kIoBufferBytes, 0, this, &Callbacks::Read, nullptr,
                                   &Callbacks::Seek));
    if (m_pIo == nullptr) {
        av_free(buffer);
        return false;
    }
    AVFormatContext* format = avformat_alloc_context();
    m_pPacket.reset(av_packet_alloc());
    m_pFrame.reset(av_frame_alloc());
    if (format == nullptr || m_pPacket == nullptr || m_pFrame == nullptr) {
        avformat_free_context(format);
        return false;
    }
    format->pb = m_pIo.get();
    format->flags |= AVFMT_FLAG_CUSTOM_IO;
    format->interrupt_callback = {.callback = &Callbacks::IsStopped, .opaque = this};
    // Frees `format` when it fails.
    if (avformat_open_input(&format, nullptr, input, nullptr) < 0) {
        return false;
    }
    m_pFormat.reset(format);
    return true;
}

std::span<AVStream* const> CLibavDecoder::Streams() const {
    return {m_pFormat->streams, m_pFormat->nb_streams};
}

bool CLibavDecoder::CompleteStreamInfo() {
    return avformat_find_stream_info(m_pFormat.get(), nullptr) >= 0;
}

bool CLibavDecoder::Select(size_t index, AVSampleFormat output) {
    m_pStream = Streams()[index];
    for (AVStream* stream : Streams()) {
        stream->discard = stream == m_pStream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    const AVCodec* codec = avcodec_find_decoder(m_pStream->codecpar->codec_id);
    if (codec == nullptr) {
        return false;
    }
    m_pCodec.reset(avcodec_alloc_context3(codec));
    if (m_pCodec == nullptr ||
        avcodec_parameters_to_context(m_pCodec.get(), m_pStream->codecpar) < 0) {
        return false;
    }
    m_pCodec->thread_count = 1;
    m_pCodec->max_samples = kMaxSamplesInFrame;
    m_pCodec->pkt_timebase = m_pStream->time_base;
    if (avcodec_open2(m_pCodec.get(), codec, nullptr) < 0) {
        return false;
    }
    m_nChannels = m_pCodec->ch_layout.nb_channels;
    m_nSampleRate = m_pCodec->sample_rate;
    if (m_nChannels <= 0 || m_nSampleRate <= 0 || m_pCodec->sample_fmt == AV_SAMPLE_FMT_NONE) {
        return false;
    }
    m_output = output;
    m_input = m_pCodec->sample_fmt;

    // The same layout on both sides: the form of the samples changes, but channels are not mixed.
    AVChannelLayout layout = {};
    av_channel_layout_default(&layout, Channels());
    SwrContext* converter = nullptr;
    const int made = swr_alloc_set_opts2(&converter, &layout, m_output, SampleRate(), &layout,
                                         m_input, SampleRate(), 0, nullptr);
    m_pConverter.reset(converter);
    return made >= 0 && swr_init(converter) >= 0;
}

int CLibavDecoder::SampleBytes() const {
    return av_get_bytes_per_sample(m_output);
}

bool CLibavDecoder::ReadPacket() {
    while (!m_bStop && av_read_frame(m_pFormat.get(), m_pPacket.get()) >= 0) {
        if (m_pPacket->stream_index == m_pStream->index) {
            return true;
        }
        av_packet_unref(m_pPacket.get());
    }
    return false;
}

uint64_t CLibavDecoder::PacketFrames() const {
    const AVCodecParameters& form = *m_pStream->codecpar;
    // A packet of AAC always decodes to a whole frame, even if the container says that it is
    // shorter.
    const int64_t frames =
        form.codec_id == AV_CODEC_ID_AAC && form.frame_size > 0
            ? form.frame_size
            : av_rescale_q(m_pPacket->duration, m_pStream->time_base, AVRational{1, m_nSampleRate});
    return static_cast<uint64_t>(std::max<int64_t>(frames, 0));
}

uint64_t CLibavDecoder::ClaimedFrames() const {
    const bool isGuess = m_pFormat->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
    return isGuess || m_pStream->duration <= 0
               ? 0
               : static_cast<uint64_t>(av_rescale_q(m_pStream->duration, m_pStream->time_base,
                                                    AVRational{1, m_nSampleRate}));
}

uint64_t CLibavDecoder::CountFrames() {
    uint64_t total = 0;
    uint64_t skip = static_cast<uint64_t>(std::max(m_pStream->codecpar->initial_padding, 0));
    for (; ReadPacket(); av_packet_unref(m_pPacket.get())) {
        size_t bytes = 0;
        const uint8_t* skipped =
            av_packet_get_side_data(m_pPacket.get(), AV_PKT_DATA_SKIP_SAMPLES, &bytes);
        if (skipped != nullptr && bytes >= kSkipSamplesBytes) {
            skip = LoadLe32(skipped);
        }
        const uint64_t frames = PacketFrames();
        const uint64_t cut = std::min(frames, skip);
        skip -= cut;
        if ((m_pPacket->flags & AV_PKT_FLAG_DISCARD) == 0) {
            total += frames - cut;
        }
    }
    return total;
}

void CLibavDecoder::SendPacket() {
    if (!ReadPacket()) {
        m_bDraining = true;
        avcodec_send_packet(m_pCodec.get(), nullptr);
        return;
    }
    m_nPacketFrames = PacketFrames();
    // A packet refused by the decoder is lost, and the next one is tried.
    if (avcodec_send_packet(m_pCodec.get(), m_pPacket.get()) < 0) {
        m_nLostFrames += m_nPacketFrames;
    }
    av_packet_unref(m_pPacket.get());
}

bool CLibavDecoder::HasRightForm(const AVFrame& frame) const {
    return frame.format == m_input && frame.sample_rate == m_nSampleRate &&
           frame.ch_layout.nb_channels == m_nChannels;
}

bool CLibavDecoder::ReceiveFrame() {
    while (!m_bStop) {
        const int result = avcodec_receive_frame(m_pCodec.get(), m_pFrame.get());
        if (result >= 0) {
            return HasRightForm(*m_pFrame);
        }
        if (result == AVERROR_EOF || m_bDraining) {
            return false;
        }
        if (result != AVERROR(EAGAIN)) {
            m_nLostFrames += m_nPacketFrames;
        }
        SendPacket();
    }
    return false;
}

std::span<const uint8_t> CLibavDecoder::Convert() {
    const int frameBytes = Channels() * SampleBytes();
    m_samples.resize(static_cast<size_t>(m_pFrame->nb_samples) * static_cast<size_t>(frameBytes));
    uint8_t* to = m_samples.data();
    const int made =
        swr_convert(m_pConverter.get(), &to, m_pFrame->nb_samples,
                    const_cast<const uint8_t**>(m_pFrame->extended_data), m_pFrame->nb_samples);
    int64_t skip = 0;
    if (m_nSeekFrame >= 0) {
        // If a packet yields several frames, only the first has a time stamp.
        if (m_pFrame->pts != AV_NOPTS_VALUE) {
            m_nNextFrame =
                av_rescale_q(m_pFrame->pts, m_pStream->time_base, AVRational{1, SampleRate()});
        }
        skip = std::clamp<int64_t>(m_nSeekFrame - m_nNextFrame, 0, std::max(made, 0));
        m_nNextFrame += std::max(made, 0);
        if (skip < made) {
            m_nSeekFrame = -1;
        }
    }
    if (made <= skip) {
        return {};
    }
    return std::span(m_samples).subspan(static_cast<size_t>(skip * frameBytes),
                                        static_cast<size_t>((made - skip) * frameBytes));
}

std::span<const uint8_t> CLibavDecoder::Next() {
    while (ReceiveFrame()) {
        const std::span<const uint8_t> samples = Convert();
        if (!samples.empty()) {
            return samples;
        }
    }
    return {};
}

bool CLibavDecoder::Seek(int64_t frame) {
    const int64_t stamp = av_rescale_q(frame, AVRational{1, SampleRate()}, m_pStream->time_base);
    if (av_seek_frame(m_pFormat.get(), m_pStream->index, stamp, AVSEEK_FLAG_BACKWARD) < 0) {
        return false;
    }
    avcodec_flush_buffers(m_pCodec.get());
    m_bDraining = false;
    m_nSeekFrame = frame;
    return true;
}

} // namespace larkspin
