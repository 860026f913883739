// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/sndfile_reader.h"

#include "audio/readers/read_whole.h"
#include "audio/readers/seek_from.h"
#include "audio/readers/tags.h"
#include "audio/source_limits.h"
#include "platform/paths.h"

#include <algorithm>
#include <array>
#include <sndfile.h>

namespace larkspin {

struct CSndfileReader::Io {
    std::unique_ptr<ISequentialFile> file;
    int64_t start = 0; // of the sound file, after a tag

    static Io& Of(void* user) { return *static_cast<Io*>(user); }

    static sf_count_t Size(void* user) {
        return std::max<int64_t>(Of(user).file->Size() - Of(user).start, 0);
    }
    static sf_count_t Seek(sf_count_t offset, int whence, void* user) {
        Io& io = Of(user);
        const sf_count_t from = whence == SEEK_SET ? io.start : 0;
        sf_count_t target = 0;
        if (__builtin_add_overflow(offset, from, &target)) {
            return -1;
        }
        const int64_t at = SeekFrom(*io.file, target, whence);
        return at < io.start ? -1 : at - io.start;
    }
    static sf_count_t Read(void* buffer, sf_count_t bytes, void* user) {
        return static_cast<sf_count_t>(
            ReadWhole(*Of(user).file, buffer, static_cast<size_t>(std::max<sf_count_t>(bytes, 0))));
    }
    static sf_count_t Write(const void* /*data*/, sf_count_t /*bytes*/, void* /*user*/) {
        return 0;
    }
    static sf_count_t Tell(void* user) { return Of(user).file->Tell() - Of(user).start; }
};

namespace {

constexpr int kMaxTags = 64;

// The form in which samples of a file leave.
struct SampleForm {
    int bits;
    bool isFloat;
};

SampleForm FormOf(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
    case SF_FORMAT_IMA_ADPCM:
    case SF_FORMAT_MS_ADPCM:
    case SF_FORMAT_GSM610:
        return {.bits = 16, .isFloat = false};
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
        return {.bits = 32, .isFloat = false};
    default:
        return {.bits = 32, .isFloat = true};
    }
}

// Behind all tags in front.
int64_t StartOfSound(ISequentialFile& file) {
    uint64_t start = 0;
    std::array<uint8_t, 32> head;
    for (int i = 0; i < kMaxTags; ++i) {
        const size_t got = file.Seek(start) ? ReadWhole(file, head.data(), head.size()) : size_t{0};
        const uint64_t tag = TagBytes(std::span(head).first(got));
        const int64_t size = file.Size();
        if (tag == 0 || size < 0 || start + tag > static_cast<uint64_t>(size)) {
            break;
        }
        start += tag;
    }
    return static_cast<int64_t>(start);
}

} // namespace

CSndfileReader::CSndfileReader(HeaderOnly /*tag*/, const std::u16string& name, IFileSystem& files)
    : m_pIo(std::make_unique<Io>(Io{.file = files.OpenSequential(name)})) {
    SF_INFO info = {};
    if (m_pIo->file != nullptr) {
        m_pIo->start = StartOfSound(*m_pIo->file);
        SF_VIRTUAL_IO calls = {.get_filelen = &Io::Size,
                               .seek = &Io::Seek,
                               .read = &Io::Read,
                               .write = &Io::Write,
                               .tell = &Io::Tell};
        if (Io::Seek(0, SEEK_SET, m_pIo.get()) == 0) {
            m_pSound = sf_open_virtual(&calls, SFM_READ, &info, m_pIo.get());
        }
    }
    if (m_pSound == nullptr || info.frames <= 0) {
        if (m_pSound != nullptr) {
            sf_close(m_pSound);
        }
        throw CNotOpened(TextWithName("Cannot open ", name, "."));
    }
    const SampleForm form = FormOf(info.format);
    m_nBits = form.bits;
    m_bFloat = form.isFloat;
    m_nChannels = info.channels;
    m_nSampleRate = info.samplerate;
    const auto frames = static_cast<uint64_t>(info.frames);
    if (__builtin_mul_overflow(frames, static_cast<uint64_t>(info.channels * form.bits / 8),
                               &m_nPcmBytes)) {
        m_nPcmBytes = UINT64_MAX;
    }
}

CSndfileReader::CSndfileReader(const std::u16string& name, IFileSystem& files)
    : CSndfileReader(HeaderOnly(), name, files) {
    m_nLength = CheckedLength(PcmBytes());
    const uint64_t trial = TrialBytes(*this);
    std::vector<uint8_t> second(trial);
    uint32_t decoded = 0;
    if (m_nChannels <= kMaxSourceChannels) {
        // With another reader, since not every form can be rewound to its start.
        CSndfileReader(HeaderOnly(), name, files)
            .Read(second.data(), static_cast<uint32_t>(trial), &decoded);
        CheckTrial(decoded, trial);
    }
}

CSndfileReader::~CSndfileReader() {
    sf_close(m_pSound);
}

void CSndfileReader::Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) {
    const auto frameBytes = static_cast<uint32_t>(m_nChannels * m_nBits / 8);
    const sf_count_t wanted = bytes / frameBytes;
    sf_count_t frames = 0;
    if (m_bFloat) {
        frames = sf_readf_float(m_pSound, static_cast<float*>(buffer), wanted);
    } else if (m_nBits == 16) {
        frames = sf_readf_short(m_pSound, static_cast<short*>(buffer), wanted);
    } else {
        frames = sf_readf_int(m_pSound, static_cast<int*>(buffer), wanted);
    }
    if (bytesRead != nullptr) {
        *bytesRead = static_cast<uint32_t>(std::max<sf_count_t>(frames, 0)) * frameBytes;
    }
}

} // namespace larkspin
