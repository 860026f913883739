// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/ape_reader.h"

#include "audio/readers/seek_from.h"
#include "audio/source_limits.h"

#include <vector>

namespace larkspin {

namespace {

constexpr int64_t kBlocksAtOnce = 1024;
constexpr int kReadFailed = 1000;

} // namespace

class CAPEReader::MyIO final : public CIO {
  public:
    explicit MyIO(std::unique_ptr<ISequentialFile> file) : m_hFile(std::move(file)) {}

    int Open(const char16_t* /*name*/) override { return 0; }
    int Close() override { return 0; }
    int Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override {
        const std::ptrdiff_t got = m_hFile->Read(buffer, bytes);
        *bytesRead = got < 0 ? 0 : static_cast<uint32_t>(got);
        return got < 0 ? kReadFailed : 0;
    }
    int Write(const void* /*buffer*/, uint32_t /*bytes*/, uint32_t* bytesWritten) override {
        *bytesWritten = 0;
        return 0;
    }
    int Seek(int64_t distance, int mode) override {
        return SeekFrom(*m_hFile, distance, mode) < 0 ? -1 : 0;
    }
    int Create(const char16_t* /*name*/) override { return 0; }
    int Delete() override { return 0; }
    int SetEOF() override { return 0; }
    int64_t GetPosition() override { return m_hFile->Tell(); }
    int64_t GetSize() override { return m_hFile->Size(); }
    int GetName(char16_t* /*buffer*/) override { return 0; }

  private:
    std::unique_ptr<ISequentialFile> m_hFile;
};

CAPEReader::CAPEReader(HeaderOnly /*tag*/, const std::u16string& name, IFileSystem& files) {
    std::unique_ptr<ISequentialFile> file = files.OpenSequential(name);
    if (file != nullptr) {
        m_pIO = std::make_unique<MyIO>(std::move(file));
        m_pDecompress = CreateIAPEDecompressEx(*m_pIO);
    }
    if (m_pDecompress == nullptr) {
        throw CNotOpened("cannot open");
    }
    m_nSampleRate = static_cast<int32_t>(m_pDecompress->GetInfo(kApeSampleRate));
    m_nChannels = static_cast<int32_t>(m_pDecompress->GetInfo(kApeChannels));
    m_nBits = static_cast<int32_t>(m_pDecompress->GetInfo(kApeBitsPerSample));
    m_nTotalBlocks = m_pDecompress->GetInfo(kApeTotalBlocks);
    m_nBlockAlign = static_cast<int32_t>(m_pDecompress->GetInfo(kApeBlockAlign));
}

CAPEReader::CAPEReader(const std::u16string& name, IFileSystem& files)
    : CAPEReader(HeaderOnly(), name, files) {
    m_nLength = CheckedLength(PcmBytes());
    StartTriedDecoder("Internal error #610", "Internal error #111");
}

CAPEReader::~CAPEReader() {
    m_pDecompress->RequestStop();
    StopDecoder();
}

uint64_t CAPEReader::PcmBytes() const {
    return static_cast<uint64_t>(m_nTotalBlocks) * static_cast<uint64_t>(m_nBlockAlign);
}

void CAPEReader::Decode() {
    std::vector<char> buffer(static_cast<size_t>(m_nBlockAlign * kBlocksAtOnce));
    for (;;) {
        const int64_t seconds = m_nSeekSeconds.exchange(-1);
        if (seconds >= 0) {
            m_pDecompress->Seek(seconds * m_nSampleRate);
        }
        int64_t blocks = 0;
        if (m_pDecompress->GetData(buffer.data(), kBlocksAtOnce, &blocks) != 0 || blocks == 0 ||
            !WritePcm(buffer.data(), static_cast<size_t>(blocks * m_nBlockAlign))) {
            return;
        }
    }
}

uint32_t CAPEReader::GetPosition() const {
    return static_cast<uint32_t>(m_pDecompress->GetInfo(kApeCurrentMs) / 1000);
}

uint32_t CAPEReader::GetDuration() const {
    return static_cast<uint32_t>(m_pDecompress->GetInfo(kApeLengthMs) / 1000);
}

} // namespace larkspin
