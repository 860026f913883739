// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/libav_sync_reader.h"

#include "audio/readers/asf_header.h"
#include "audio/readers/libav_decoder.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

constexpr const char* kDemuxer = "asf";
// Any other content of an ASF file (speech codecs, MPEG audio) is not what the suffix promises.
constexpr std::array kCodecs = {AV_CODEC_ID_WMAV1, AV_CODEC_ID_WMAV2, AV_CODEC_ID_WMAPRO,
                                AV_CODEC_ID_WMALOSSLESS, AV_CODEC_ID_WMAVOICE};

AVSampleFormat FormOf(const AVCodecParameters& stream) {
    if (stream.bits_per_coded_sample <= 16) {
        return AV_SAMPLE_FMT_S16;
    }
    return stream.codec_id == AV_CODEC_ID_WMAPRO ? AV_SAMPLE_FMT_FLT : AV_SAMPLE_FMT_S32;
}

class CLibavSyncReader final : public ISyncReader {
  public:
    OpenResult Open(ISequentialFile& file) override {
        const std::optional<AsfHeader> header = ReadAsfHeader(file);
        if (!header) {
            return OpenResult::Failed;
        }
        if (header->isProtected) {
            return OpenResult::Protected;
        }
        m_duration = header->duration;
        if (file.Seek(0)) {
            m_pDecoder = GetLibavModule().open(file, kDemuxer);
        }
        return m_pDecoder == nullptr ? OpenResult::Failed : OpenResult::Opened;
    }

    bool GetStreamCount(uint32_t* count) override {
        *count = static_cast<uint32_t>(m_pDecoder->Streams().size());
        return true;
    }

    bool GetStream(uint32_t index, SyncStream* stream) override {
        const std::span<AVStream* const> streams = m_pDecoder->Streams();
        if (index >= streams.size()) {
            return false;
        }
        stream->number = static_cast<uint16_t>(streams[index]->id);
        stream->isAudio = streams[index]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
        return true;
    }

    bool GetDuration(uint64_t* duration) override {
        if (!m_duration) {
            return false;
        }
        *duration = *m_duration;
        return true;
    }

    bool GetOutputNumberForStream(uint16_t stream, uint32_t* output) override {
        const std::span<AVStream* const> streams = m_pDecoder->Streams();
        const auto found = std::find_if(streams.begin(), streams.end(), [stream](AVStream* each) {
            return each->id == stream && each->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
        });
        if (found == streams.end()) {
            return false;
        }
        *output = static_cast<uint32_t>(found - streams.begin());
        const AVCodecID codec = (*found)->codecpar->codec_id;
        return std::find(kCodecs.begin(), kCodecs.end(), codec) != kCodecs.end() &&
               GetLibavModule().hasDecoder(codec);
    }

    bool GetOutputProps(uint32_t output, WaveFormat* format) override {
        const AVSampleFormat form = FormOf(*m_pDecoder->Streams()[output]->codecpar);
        if (!m_pDecoder->Select(output, form)) {
            return false;
        }
        format->channels = static_cast<uint16_t>(m_pDecoder->Channels());
        format->samplesPerSecond = static_cast<uint32_t>(m_pDecoder->SampleRate());
        format->bitsPerSample = static_cast<uint16_t>(m_pDecoder->SampleBytes() * 8);
        format->isFloat = form == AV_SAMPLE_FMT_FLT;
        return true;
    }

    bool GetNextSample(std::span<const uint8_t>* samples) override {
        *samples = m_pDecoder->Next();
        return !samples->empty();
    }

    void RequestStop() override { m_pDecoder->RequestStop(); }

  private:
    std::optional<uint64_t> m_duration;
    std::unique_ptr<ILibavDecoder> m_pDecoder;
};

} // namespace

SyncReaderResult CreateSyncReader(std::unique_ptr<ISyncReader>* reader) {
    const LibavModule* module = FindLibavModule();
    if (module == nullptr || !module->hasDemuxer(kDemuxer) ||
        std::none_of(kCodecs.begin(), kCodecs.end(), module->hasDecoder)) {
        return SyncReaderResult::NotInstalled;
    }
    *reader = std::make_unique<CLibavSyncReader>();
    return SyncReaderResult::Created;
}

} // namespace larkspin
