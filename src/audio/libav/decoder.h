// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The implementation of ILibavDecoder, with RAII.
#pragma once

#include "audio/readers/libav_decoder.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

extern "C" {
#include <libswresample/swresample.h>
}

namespace larkspin {

class CLibavDecoder final : public ILibavDecoder {
  public:
    static std::unique_ptr<ILibavDecoder> Open(ISequentialFile& file, const char* demuxer);
    CLibavDecoder(const CLibavDecoder&) = delete;
    CLibavDecoder& operator=(const CLibavDecoder&) = delete;
    ~CLibavDecoder() override = default;

    std::span<AVStream* const> Streams() const override;
    bool CompleteStreamInfo() override;
    bool Select(size_t index, AVSampleFormat output) override;
    int Channels() const override { return m_nChannels; }
    int SampleRate() const override { return m_nSampleRate; }
    int SampleBytes() const override;
    uint64_t ClaimedFrames() const override;
    uint64_t CountFrames() override;
    std::span<const uint8_t> Next() override;
    bool Seek(int64_t frame) override;
    uint64_t TakeLostFrames() override { return std::exchange(m_nLostFrames, 0); }
    void RequestStop() override { m_bStop = true; }

  private:
    struct Callbacks;
    struct Deleter {
        void operator()(AVIOContext* io) const;
        void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
        void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
        void operator()(SwrContext* converter) const { swr_free(&converter); }
        void operator()(AVPacket* packet) const { av_packet_free(&packet); }
        void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    };

    explicit CLibavDecoder(ISequentialFile& file) : m_file(file) {}
    bool OpenInput(const char* demuxer);
    // False if the decoder has no more.
    bool ReceiveFrame();
    void SendPacket();
    // The next packet of the selected stream. False at the end of the container.
    bool ReadPacket();
    // The frames in m_pPacket, according to the container and the form of the sound.
    uint64_t PacketFrames() const;
    bool HasRightForm(const AVFrame& frame) const;
    // The samples of m_pFrame, without those that a seek still has to skip.
    std::span<const uint8_t> Convert();

    ISequentialFile& m_file;
    std::atomic<bool> m_bStop = false;
    std::unique_ptr<AVIOContext, Deleter> m_pIo; // destroyed after m_pFormat, which uses it
    std::unique_ptr<AVFormatContext, Deleter> m_pFormat;
    std::unique_ptr<AVCodecContext, Deleter> m_pCodec;
    std::unique_ptr<SwrContext, Deleter> m_pConverter;
    std::unique_ptr<AVPacket, Deleter> m_pPacket;
    std::unique_ptr<AVFrame, Deleter> m_pFrame;
    std::vector<uint8_t> m_samples;
    AVStream* m_pStream = nullptr;
    AVSampleFormat m_output = AV_SAMPLE_FMT_NONE;
    AVSampleFormat m_input = AV_SAMPLE_FMT_NONE;
    int m_nChannels = 0;
    int m_nSampleRate = 0;
    uint64_t m_nPacketFrames = 0; // in the packet sent last
    uint64_t m_nLostFrames = 0;
    bool m_bDraining = false;  // the container has ended; the decoder returns what it still holds
    int64_t m_nSeekFrame = -1; // set by Seek until the first samples after it
    int64_t m_nNextFrame = 0;  // the next one from Convert, while m_nSeekFrame is set
};

} // namespace larkspin
