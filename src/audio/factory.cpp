#include "audio/factory.h"

#include "audio/probe.h"
#include "audio/readers/ape_reader.h"
#include "audio/readers/flac_reader.h"
#include "audio/readers/mp3_reader.h"
#include "audio/readers/ogg_reader.h"
#include "audio/readers/wav_reader.h"
#include "audio/readers/wma_reader.h"
#include "audio/source_limits.h"
#include "audio/stages/aligner.h"
#include "audio/stages/bit_enhancer.h"
#include "audio/stages/mono_to_stereo.h"
#include "audio/stages/resampler.h"

#include <algorithm>
#include <limits>

namespace larkspin {

namespace {

template <class Reader>
std::unique_ptr<CReader> Make(const std::u16string& name, IFileSystem& files) {
    return std::make_unique<Reader>(name, files);
}

// The reader takes any format tag for PCM, but a disc of noise is no answer to a user. Widths that
// no stage takes are left to the stage's own refusal.
std::unique_ptr<CReader> MakeWav(const std::u16string& name, IFileSystem& files) {
    auto reader = std::make_unique<CWavReader>(name, files);
    if (!reader->IsPcm() && (reader->m_nBits == 8 || reader->m_nBits == 16)) {
        RefuseSource(name, "its samples are not PCM.");
    }
    return reader;
}

struct AudioFormat {
    std::u16string_view suffix;
    std::unique_ptr<CReader> (*make)(const std::u16string& name, IFileSystem& files);
    std::optional<AudioProbe> (*probe)(const std::u16string& name, IFileSystem& files);
    bool normalised; // whether the probe's length is brought to CD audio or told as it is
};

constexpr AudioFormat kFormats[] = {
    {u".wav", MakeWav, ProbeWav, true},
    {u".mp3", Make<CMP3Reader>, ProbeMp3, true},
    {u".wma", Make<CWmaReader>, ProbeHeader<CWmaReader>, true},
    {u".ogg", Make<COggReader>, ProbeHeader<COggReader>, true},
    {u".ape", Make<CAPEReader>, ProbeHeader<CAPEReader>, false},
    {u".flac", Make<CFLACReader>, ProbeHeader<CFLACReader>, false},
};

// Null if the suffix is none of the six.
const AudioFormat* FormatOf(std::u16string_view name) {
    const auto* format = std::ranges::find_if(kFormats, [name](const AudioFormat& candidate) {
        return EndsWithNoCase(name, candidate.suffix);
    });
    return format == std::end(kFormats) ? nullptr : format;
}

} // namespace

bool IsSupportedAudioFile(std::u16string_view name) {
    return FormatOf(name) != nullptr;
}

std::unique_ptr<CReader> CreateAudioReader(const std::u16string& name, IFileSystem& files) {
    const AudioFormat* format = FormatOf(name);
    if (format == nullptr) {
        return nullptr;
    }
    std::unique_ptr<CReader> chain = format->make(name, files);
    CheckSource(name, *chain);
    if (chain->m_nBits != 16) {
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

uint32_t GetAudioFileLength(const std::u16string& name, IFileSystem& files) {
    try {
        const AudioFormat* format = FormatOf(name);
        const std::optional<AudioProbe> probe =
            format == nullptr ? std::nullopt : format->probe(name, files);
        if (!probe) {
            return 0;
        }
        if (format->normalised) {
            return NormalisedLength(*probe);
        }
        return static_cast<uint32_t>(
            std::min<uint64_t>(probe->bytes, std::numeric_limits<uint32_t>::max()));
    } catch (const std::exception&) {
        return 0;
    }
}

} // namespace larkspin
