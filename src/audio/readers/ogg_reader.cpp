// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/ogg_reader.h"

#include "audio/readers/seek_from.h"
#include "audio/source_limits.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

// Callbacks for libvorbisfile, with the file as data source.

ISequentialFile& File(void* source) {
    return *static_cast<ISequentialFile*>(source);
}

size_t ReadFile(void* buffer, size_t size, size_t count, void* source) {
    const std::ptrdiff_t got = size == 0 ? 0 : File(source).Read(buffer, size * count);
    return got <= 0 ? 0 : static_cast<size_t>(got) / size;
}

int SeekFile(void* source, ogg_int64_t offset, int whence) {
    return SeekFrom(File(source), offset, whence) < 0 ? -1 : 0;
}

int KeepOpen(void* /*source*/) {
    return 0;
}

long TellFile(void* source) {
    return static_cast<long>(File(source).Tell());
}

constexpr int kLittleEndian = 0;
constexpr int kSampleBytes = 2;
constexpr int kSigned = 1;
constexpr uint32_t kMostAtOnce = 1 << 20; // libvorbisfile counts in int

} // namespace

COggReader::COggReader(HeaderOnly /*tag*/, const std::u16string& name, IFileSystem& files)
    : m_hFile(files.OpenSequential(name)) {
    if (m_hFile == nullptr) {
        throw CNotOpened(TextWithName("Cannot open ", name, "."));
    }
    const ov_callbacks callbacks = {.read_func = &ReadFile,
                                    .seek_func = &SeekFile,
                                    .close_func = &KeepOpen,
                                    .tell_func = &TellFile};
    if (ov_open_callbacks(m_hFile.get(), &m_VorbisFile, nullptr, 0, callbacks) != 0) {
        throw CReaderException(TextWithName("", name, " is not an OggVorbis file."));
    }
    const vorbis_info* info = ov_info(&m_VorbisFile, -1);
    const double seconds = ov_time_total(&m_VorbisFile, -1);
    if (info == nullptr || !(seconds >= 0)) {
        ov_clear(&m_VorbisFile);
        throw CReaderException(TextWithName("Malformed OggVorbis file ", name, "."));
    }
    if (!LinksAreAlike()) {
        ov_clear(&m_VorbisFile);
        throw CReaderException("its parts differ in rate or channels.");
    }
    m_nBits = 8 * kSampleBytes;
    m_nChannels = info->channels;
    m_nSampleRate = static_cast<int32_t>(info->rate);
    const int64_t bytesPerSecond = int64_t{m_nSampleRate} * m_nChannels * kSampleBytes;
    // Limited to less than 2^62, which both a double and an integer can hold.
    const double bytes = std::min(seconds * static_cast<double>(bytesPerSecond), 0x1p62);
    m_nPcmBytes = static_cast<uint64_t>(bytes);
}

COggReader::COggReader(const std::u16string& name, IFileSystem& files)
    : COggReader(HeaderOnly(), name, files) {
    m_nLength = CheckedLength(PcmBytes());
    const uint64_t trial = TrialBytes(*this);
    uint64_t decoded = 0;
    std::array<char, 4096> buffer;
    for (uint32_t got = 1; got > 0 && decoded < trial; decoded += got) {
        got = ReadSome(buffer.data(), buffer.size());
    }
    CheckTrial(ov_pcm_seek(&m_VorbisFile, 0) == 0 ? decoded : 0, trial);
}

COggReader::~COggReader() {
    ov_clear(&m_VorbisFile);
}

bool COggReader::LinksAreAlike() {
    const vorbis_info* first = ov_info(&m_VorbisFile, 0);
    for (int link = 1; link < ov_streams(&m_VorbisFile); ++link) {
        const vorbis_info* info = ov_info(&m_VorbisFile, link);
        if (info == nullptr || info->channels != first->channels || info->rate != first->rate) {
            return false;
        }
    }
    return true;
}

uint32_t COggReader::ReadSome(char* to, uint32_t bytes) {
    long got = OV_HOLE;
    int link = 0;
    while (got == OV_HOLE) {
        got = ov_read(&m_VorbisFile, to, static_cast<int>(std::min(bytes, kMostAtOnce)),
                      kLittleEndian, kSampleBytes, kSigned, &link);
    }
    return static_cast<uint32_t>(std::max(got, 0L));
}

void COggReader::Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) {
    auto* to = static_cast<char*>(buffer);
    const auto frameBytes = static_cast<uint32_t>(m_nChannels * kSampleBytes);
    uint32_t filled = 0;
    while (bytes - filled >= frameBytes && !m_bEnded) {
        const uint32_t got = ReadSome(to + filled, bytes - filled);
        m_bEnded = got == 0;
        filled += got;
    }
    if (bytesRead != nullptr) {
        *bytesRead = filled;
    }
}

} // namespace larkspin
