// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/libav_ape.h"

#include "audio/readers/libav_decoder.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace larkspin {

namespace {

// The file read by the decoder, on top of a CIO.
class CIoFile final : public ISequentialFile {
  public:
    explicit CIoFile(CIO& io) : m_io(io) {}

    std::ptrdiff_t Read(void* buffer, size_t bytes) override {
        uint32_t got = 0;
        const auto wanted = static_cast<uint32_t>(std::min<size_t>(bytes, UINT32_MAX));
        return m_io.Read(buffer, wanted, &got) == 0 ? std::ptrdiff_t{got} : -1;
    }
    int64_t Size() override { return m_io.GetSize(); }
    bool Seek(uint64_t offset) override {
        return m_io.Seek(static_cast<int64_t>(offset), SEEK_SET) == 0;
    }
    int64_t Tell() override { return m_io.GetPosition(); }

  private:
    CIO& m_io;
};

// The form requested for a file of `bits`; 24-bit samples are cut from it.
AVSampleFormat DecodedForm(int bits) {
    switch (bits) {
    case 8:
        return AV_SAMPLE_FMT_U8;
    case 16:
        return AV_SAMPLE_FMT_S16;
    default:
        return AV_SAMPLE_FMT_S32;
    }
}

class CLibavApe final : public IAPEDecompress {
  public:
    explicit CLibavApe(CIO& io) : m_file(io) {}

    bool Open();
    int GetData(char* buffer, int64_t blocks, int64_t* retrieved) override;
    int Seek(int64_t block) override;
    int64_t GetInfo(int field) const override;
    void RequestStop() override { m_pDecoder->RequestStop(); }

  private:
    size_t DecodedAlign() const {
        return static_cast<size_t>(m_nChannels) * static_cast<size_t>(m_pDecoder->SampleBytes());
    }
    int64_t BlockAlign() const { return int64_t{m_nChannels} * (m_nBits / 8); }
    int64_t Milliseconds(int64_t blocks) const { return blocks * 1000 / m_nSampleRate; }
    void CopyBlocks(char* to, size_t blocks);

    CIoFile m_file;
    std::unique_ptr<ILibavDecoder> m_pDecoder;
    int m_nBits = 0;
    int m_nChannels = 0;
    int m_nSampleRate = 0;
    int64_t m_nTotalBlocks = 0;
    std::atomic<int64_t> m_nCurrentBlock = 0;
    std::span<const uint8_t> m_rest; // decoded and not yet returned
};

bool CLibavApe::Open() {
    m_pDecoder = GetLibavModule().open(m_file, "ape");
    if (m_pDecoder == nullptr) {
        return false;
    }
    // A cover picture is a stream too.
    const std::span<AVStream* const> streams = m_pDecoder->Streams();
    const auto found = std::find_if(streams.begin(), streams.end(), [](const AVStream* each) {
        return each->codecpar->codec_id == AV_CODEC_ID_APE;
    });
    if (found == streams.end()) {
        return false;
    }
    m_nBits = (*found)->codecpar->bits_per_coded_sample;
    if (!m_pDecoder->Select(static_cast<size_t>(found - streams.begin()), DecodedForm(m_nBits))) {
        return false;
    }
    m_nChannels = m_pDecoder->Channels();
    m_nSampleRate = m_pDecoder->SampleRate();
    m_nTotalBlocks = static_cast<int64_t>(m_pDecoder->ClaimedFrames());
    return true;
}

void CLibavApe::CopyBlocks(char* to, size_t blocks) {
    if (m_nBits != 24) {
        std::memcpy(to, m_rest.data(), blocks * DecodedAlign());
    } else {
        // The upper three bytes of each 32-bit sample.
        for (size_t i = 0; i < blocks * static_cast<size_t>(m_nChannels); ++i) {
            std::memcpy(to + 3 * i, m_rest.data() + 4 * i + 1, 3);
        }
    }
    m_rest = m_rest.subspan(blocks * DecodedAlign());
}

int CLibavApe::GetData(char* buffer, int64_t blocks, int64_t* retrieved) {
    int64_t done = 0;
    while (done < blocks) {
        if (m_rest.empty()) {
            m_rest = m_pDecoder->Next();
            if (m_rest.empty()) {
                break;
            }
        }
        const auto count =
            std::min<int64_t>(blocks - done, static_cast<int64_t>(m_rest.size() / DecodedAlign()));
        CopyBlocks(buffer + done * BlockAlign(), static_cast<size_t>(count));
        done += count;
    }
    m_nCurrentBlock += done;
    *retrieved = done;
    return 0;
}

int CLibavApe::Seek(int64_t block) {
    const int64_t target = std::clamp<int64_t>(block, 0, m_nTotalBlocks);
    if (!m_pDecoder->Seek(target)) {
        return -1;
    }
    m_rest = {};
    m_nCurrentBlock = target;
    return 0;
}

int64_t CLibavApe::GetInfo(int field) const {
    switch (field) {
    case kApeSampleRate:
        return m_nSampleRate;
    case kApeBitsPerSample:
        return m_nBits;
    case kApeChannels:
        return m_nChannels;
    case kApeBlockAlign:
        return BlockAlign();
    case kApeTotalBlocks:
        return m_nTotalBlocks;
    case kApeCurrentMs:
        return Milliseconds(m_nCurrentBlock);
    case kApeLengthMs:
        return Milliseconds(m_nTotalBlocks);
    default:
        return -1;
    }
}

} // namespace

std::unique_ptr<IAPEDecompress> CreateIAPEDecompressEx(CIO& io) {
    auto decompress = std::make_unique<CLibavApe>(io);
    if (!decompress->Open()) {
        return nullptr;
    }
    return decompress;
}

} // namespace larkspin
