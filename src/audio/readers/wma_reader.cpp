// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/wma_reader.h"

#include "audio/source_limits.h"

namespace larkspin {

namespace {

constexpr uint64_t kSlackBytes = 5000;
constexpr uint64_t kUnitsPerSecond = 10'000'000; // of a duration

} // namespace

CWmaReader::CWmaReader(HeaderOnly /*tag*/, const std::u16string& name, IFileSystem& files,
                       CreateSyncReaderFunction create)
    : m_hFile(files.OpenSequential(name)) {
    const std::string cannotOpen = TextWithName("Cannot open ", name, ".");
    if (m_hFile == nullptr) {
        throw CNotOpened(cannotOpen);
    }
    switch (create(&m_pSyncReader)) {
    case SyncReaderResult::Created:
        break;
    case SyncReaderResult::NotInstalled:
        throw CReaderException("WMA decoding libraries aren't installed.");
    case SyncReaderResult::Failed:
        throw CReaderException("Cannot access WMA decoding library.");
    }
    switch (m_pSyncReader->Open(*m_hFile)) {
    case ISyncReader::OpenResult::Opened:
        break;
    case ISyncReader::OpenResult::Protected:
        throw CReaderException(
            TextWithName("Cannot open ", name, ", file is digitally protected (DRM)."));
    case ISyncReader::OpenResult::Failed:
        throw CNotOpened(cannotOpen);
    }
    FindStream(name);
    TakeFormat();
}

CWmaReader::CWmaReader(const std::u16string& name, IFileSystem& files,
                       CreateSyncReaderFunction create)
    : CWmaReader(HeaderOnly(), name, files, create) {
    m_nLength = CheckedLength(PcmBytes());
    StartTriedDecoder("Internal error #210.", "Internal error #211.");
}

CWmaReader::~CWmaReader() {
    m_pSyncReader->RequestStop();
    StopDecoder();
}

void CWmaReader::FindStream(const std::u16string& name) {
    uint32_t count = 0;
    if (!m_pSyncReader->GetStreamCount(&count)) {
        throw CReaderException("Internal error #201.");
    }
    bool found = false;
    for (uint32_t index = 0; index < count; ++index) {
        SyncStream stream;
        if (!m_pSyncReader->GetStream(index, &stream)) {
            throw CReaderException("Internal error #202.");
        }
        if (stream.isAudio) {
            found = true;
            m_nStream = stream.number;
        }
    }
    if (!found) {
        throw CReaderException(
            TextWithName("Cannot open ", name, ": no audio streams found in file."));
    }
    if (m_nStream == 0) {
        throw CReaderException("Internal error #203.");
    }
}

void CWmaReader::TakeFormat() {
    if (!m_pSyncReader->GetDuration(&m_nDuration)) {
        throw CReaderException("Internal error #205.");
    }
    uint32_t output = 0;
    if (!m_pSyncReader->GetOutputNumberForStream(m_nStream, &output)) {
        throw CReaderException("Internal error #206");
    }
    if (!m_pSyncReader->GetOutputProps(output, &m_Format)) {
        throw CReaderException("Internal error #207");
    }
    m_nBits = m_Format.bitsPerSample;
    m_bFloat = m_Format.isFloat;
    m_nChannels = m_Format.channels;
    m_nSampleRate = static_cast<int32_t>(m_Format.samplesPerSecond);
}

uint64_t CWmaReader::PcmBytes() const {
    const uint64_t bytesPerSecond =
        uint64_t{m_Format.bitsPerSample} / 8 * m_Format.channels * m_Format.samplesPerSecond;
    uint64_t product = 0;
    if (__builtin_mul_overflow(bytesPerSecond, m_nDuration, &product)) {
        return UINT64_MAX;
    }
    return product / kUnitsPerSecond + kSlackBytes;
}

void CWmaReader::Decode() {
    std::span<const uint8_t> samples;
    while (m_pSyncReader->GetNextSample(&samples) && WritePcm(samples.data(), samples.size())) {
    }
}

} // namespace larkspin
