// libavformat and libavcodec behind RAII: one stream of a file, decoded to interleaved samples.
//
// The file is reached through callbacks only, the demuxer is the one that the caller names (nothing
// is guessed), and everything runs on the calling thread. A packet that cannot be decoded is
// skipped and counted; a container that breaks ends the stream, as does a change of rate, channels
// or sample form in its middle. The library's log is silenced for the process.
//
// One thread uses an object at a time; RequestStop alone may come from any other.
#pragma once

#include "platform/files.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

namespace larkspin {

class CLibavDecoder {
  public:
    // `file` is borrowed and must outlive the object. Null if the demuxer is not in the library,
    // refuses the file or memory runs out.
    static std::unique_ptr<CLibavDecoder> Open(ISequentialFile& file, const char* demuxer);
    CLibavDecoder(const CLibavDecoder&) = delete;
    CLibavDecoder& operator=(const CLibavDecoder&) = delete;
    ~CLibavDecoder() = default;

    std::span<AVStream* const> Streams() const;
    // Reads, and decodes, a little of the streams to learn what their headers leave out. What has
    // been read so comes again. False if that fails.
    bool CompleteStreamInfo();

    // Opens the decoder of stream `index`, once; the other streams are left out from now on.
    // `output` is the packed form that samples shall take, converted as the library does by
    // itself. False if there is no decoder, or it does not accept the stream.
    bool Select(size_t index, AVSampleFormat output);
    // Of the selected stream.
    int Channels() const { return m_nChannels; }
    int SampleRate() const { return m_nSampleRate; }
    // Frames (one sample of each channel) that its header claims. 0 if it doesn't tell, or if what
    // it tells is a guess from the rate of bits.
    uint64_t ClaimedFrames() const;

    // Frames that all its packets decode to, less those that an encoder added. Reads the whole
    // file, and nothing can be decoded after that. CompleteStreamInfo comes first.
    uint64_t CountFrames();

    // The next decoded samples, valid until the next call; empty at the end.
    std::span<const uint8_t> Next();
    // Makes frame `frame` of the selected stream the next that comes. False if the container cannot
    // be moved there.
    bool Seek(int64_t frame);

    // Frames of packets that could not be decoded, counted anew by each call.
    uint64_t TakeLostFrames() { return std::exchange(m_nLostFrames, 0); }

    // Makes a running call come to its end soon, and every later one at once.
    void RequestStop() { m_bStop = true; }

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
    // False when the decoder has no more.
    bool ReceiveFrame();
    void SendPacket();
    // The next packet of the selected stream. False at the end of the container.
    bool ReadPacket();
    // Of m_pPacket, by what the container and the form of the sound say.
    uint64_t PacketFrames() const;
    bool HasRightForm(const AVFrame& frame) const;
    // The samples of m_pFrame, less what a seek has still to skip.
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
    uint64_t m_nPacketFrames = 0; // of the packet that was sent last
    uint64_t m_nLostFrames = 0;
    bool m_bDraining = false;  // the container has ended; the decoder gives what it still holds
    int64_t m_nSeekFrame = -1; // set by Seek until the first samples after it
};

} // namespace larkspin
