// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/factory.h"

#include "audio/probe.h"
#include "audio/readers/ape_reader.h"
#include "audio/readers/flac_reader.h"
#include "audio/readers/libav_reader.h"
#include "audio/readers/mp3_reader.h"
#include "audio/readers/ogg_reader.h"
#include "audio/readers/sndfile_reader.h"
#include "audio/readers/wav_reader.h"
#include "audio/readers/wma_reader.h"
#include "audio/source_limits.h"
#include "audio/stages/aligner.h"
#include "audio/stages/bit_enhancer.h"
#include "audio/stages/bit_narrower.h"
#include "audio/stages/mono_to_stereo.h"
#include "audio/stages/resampler.h"
#include "platform/paths.h"

#include <algorithm>
#include <exception>
#include <limits>

namespace larkspin {

namespace {

constexpr int kMostUsualRate = 48000;

template <class Reader>
std::unique_ptr<CReader> Make(const std::u16string& name, IFileSystem& files) {
    return std::make_unique<Reader>(name, files);
}

bool TakesPlainWav(const CWavReader& reader) {
    return reader.IsPcm() && !reader.IsUnfinished() &&
           (reader.m_nBits == 8 || reader.m_nBits == 16 || reader.m_nBits == 24 ||
            reader.m_nBits == 32);
}

// Nothing that `make` refuses.
template <class Make>
std::unique_ptr<CReader> IfTaken(Make make) {
    try {
        return make();
    } catch (const CReaderException&) {
        return nullptr;
    }
}

// CWavReader reads plain files. libsndfile gets what it refuses and what is not PCM although it
// would read it as such; files with unfinished sizes that libsndfile can't read go back to
// CWavReader. If all refuse, the first answer is used. A disc must never be filled with noise.
std::unique_ptr<CReader> MakeWav(const std::u16string& name, IFileSystem& files) {
    std::unique_ptr<CWavReader> plain;
    std::exception_ptr refusal;
    try {
        plain = std::make_unique<CWavReader>(name, files);
        if (TakesPlainWav(*plain)) {
            return plain;
        }
    } catch (const CReaderException&) {
        refusal = std::current_exception();
    }
    auto other = IfTaken([&] { return std::make_unique<CSndfileReader>(name, files); });
    if (other == nullptr && plain == nullptr) {
        other = IfTaken([&] {
            auto reader = std::make_unique<CWavReader>(name, files, WavSizes::Unfinished);
            return TakesPlainWav(*reader) ? std::move(reader) : nullptr;
        });
    }
    if (other != nullptr) {
        return other;
    }
    if (refusal) {
        std::rethrow_exception(refusal);
    }
    if (!plain->IsPcm()) {
        throw CReaderException("its samples are not PCM.");
    }
    return plain;
}

std::optional<AudioProbe> ProbeAnyWav(const std::u16string& name, IFileSystem& files) {
    std::optional<AudioProbe> probe = ProbeWav(name, files);
    if (!probe) {
        probe = ProbeHeader<CSndfileReader>(name, files);
    }
    return probe ? probe : ProbeWav(name, files, WavSizes::Unfinished);
}

struct AudioFormat {
    std::u16string_view suffix;
    const char* title;
    std::unique_ptr<CReader> (*make)(const std::u16string& name, IFileSystem& files);
    std::optional<AudioProbe> (*probe)(const std::u16string& name, IFileSystem& files);
    bool normalised; // whether the probe's length is converted to CD audio or used as it is
};

constexpr AudioFormat kFormats[] = {
    {u".wav", "WAV", MakeWav, ProbeAnyWav, true},
    {u".mp3", "MP3", Make<CMP3Reader>, ProbeMp3, true},
    {u".wma", "WMA", Make<CWmaReader>, ProbeHeader<CWmaReader>, true},
    {u".ogg", "Ogg Vorbis", Make<COggReader>, ProbeHeader<COggReader>, true},
    {u".ape", "Monkey's Audio", Make<CAPEReader>, ProbeHeader<CAPEReader>, false},
    {u".flac", "FLAC", Make<CFLACReader>, ProbeHeader<CFLACReader>, false},
    {u".m4a", "MPEG-4", Make<CLibavFile<kMpeg4>>, ProbeHeader<CLibavFile<kMpeg4>>, true},
    {u".aac", "AAC", Make<CLibavFile<kAdts>>, ProbeHeader<CLibavFile<kAdts>>, true},
    {u".opus", "Opus", Make<CLibavFile<kOggPages>>, ProbeHeader<CLibavFile<kOggPages>>, true},
    {u".aiff", "AIFF", Make<CLibavFile<kAiff>>, ProbeHeader<CLibavFile<kAiff>>, true},
    {u".aif", "AIFF", Make<CLibavFile<kAiff>>, ProbeHeader<CLibavFile<kAiff>>, true},
    {u".wv", "WavPack", Make<CLibavFile<kWavPack>>, ProbeHeader<CLibavFile<kWavPack>>, true},
};

// Null if the suffix is none of these.
const AudioFormat* FormatOf(std::u16string_view name) {
    const auto* format = std::ranges::find_if(kFormats, [name](const AudioFormat& candidate) {
        return EndsWithNoCase(name, candidate.suffix);
    });
    return format == std::end(kFormats) ? nullptr : format;
}

std::unique_ptr<CReader> MakeChain(const AudioFormat& format, const std::u16string& name,
                                   IFileSystem& files) {
    std::unique_ptr<CReader> chain = format.make(name, files);
    CheckSource(*chain);
    if (CBitNarrower::Takes(*chain)) {
        chain = std::make_unique<CBitNarrower>(std::move(chain));
    } else if (chain->m_nBits != 16) {
        chain = std::make_unique<CBitEnhancer>(std::move(chain));
    }
    if (chain->m_nSampleRate != static_cast<int32_t>(kCdSampleRate)) {
        chain = std::make_unique<CResampler>(std::move(chain), kCdSampleRate);
    }
    if (chain->m_nChannels < 2) {
        chain = std::make_unique<CMonoToStereo>(std::move(chain));
    }
    return std::make_unique<CAligner>(std::move(chain), kCdBlockBytes);
}

const char* WhyNotOpened(const std::u16string& name, IFileSystem& files) {
    FileStatus status;
    if (!files.Status(name, &status)) {
        return " The file is not there.";
    }
    if (!files.IsReadable(name)) {
        return " The file may not be read.";
    }
    return status.size == 0 ? " The file is empty." : " The file is damaged or of another format.";
}

} // namespace

CSourceRefusal::CSourceRefusal(const std::u16string& name, const char* format,
                               const std::string& reason)
    : CReaderException(reason), m_strText(ToNative(LeafName(name))) {
    m_strText.append(" (").append(format).append("): ").append(reason);
}

bool IsSupportedAudioFile(std::u16string_view name) {
    return FormatOf(name) != nullptr;
}

std::unique_ptr<CReader> CreateAudioReader(const std::u16string& name, IFileSystem& files) {
    const AudioFormat* format = FormatOf(name);
    if (format == nullptr) {
        return nullptr;
    }
    try {
        FileStatus status;
        if (files.Status(name, &status) && status.type != FileStatus::Type::Regular) {
            throw CReaderException("it is no file."); // a device has no end, and may do harm
        }
        return MakeChain(*format, name, files);
    } catch (const CNotOpened& failure) {
        throw CSourceRefusal(name, format->title,
                             std::string(failure.what()) + WhyNotOpened(name, files));
    } catch (const CReaderException& failure) {
        throw CSourceRefusal(name, format->title, failure.what());
    }
}

uint32_t GetAudioFileLength(const std::u16string& name, IFileSystem& files) {
    try {
        const AudioFormat* format = FormatOf(name);
        FileStatus status;
        if (format == nullptr || !files.Status(name, &status) ||
            status.type != FileStatus::Type::Regular) {
            return 0; // a device or a pipe has no end, and opening it may do harm
        }
        const std::optional<AudioProbe> probe = format->probe(name, files);
        if (!probe) {
            return 0;
        }
        // Of sound that only the stages beside the usual ones bring to CD audio, the source's own
        // size says too little.
        if (format->normalised || probe->bits > 16 || probe->rate > kMostUsualRate) {
            return NormalisedLength(*probe);
        }
        return static_cast<uint32_t>(
            std::min<uint64_t>(probe->bytes, std::numeric_limits<uint32_t>::max()));
    } catch (const std::exception&) {
        return 0;
    }
}

} // namespace larkspin
