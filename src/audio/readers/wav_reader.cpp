// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/wav_reader.h"

#include "audio/readers/read_whole.h"
#include "audio/source_limits.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

namespace larkspin {

namespace {

constexpr uint16_t kPcmFormatTag = 1;
// Programs that write to a pipe put at least this in place of a size that they don't know yet.
constexpr uint32_t kUnfinishedBytes = 0x7FFF0000;
constexpr uint32_t kChunkHeaderBytes = 8; // identifier and size
constexpr uint32_t kFormTypeBytes = 4;
constexpr uint32_t kFormatBytes = 40; // of a "fmt " chunk in its extensible form
constexpr uint16_t kExtensibleFormatTag = 0xFFFE;
constexpr size_t kSubFormatOffset = 24;
// KSDATAFORMAT_SUBTYPE_PCM as it stands in a file.
constexpr std::array<uint8_t, 16> kPcmSubFormat = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                                   0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

struct Chunk {
    std::array<char, 4> id = {};
    uint64_t offset = 0; // of the contents, in the file
    uint32_t size = 0;

    bool Is(std::string_view name) const { return std::string_view(id.data(), id.size()) == name; }
    uint64_t End() const { return offset + size; }
    // Chunks begin at even offsets; a pad byte follows an odd one.
    uint64_t Next() const { return End() + (size & 1); }
};

// What a walk over a WAVE file finds.
struct WavFile {
    std::unique_ptr<ISequentialFile> file;
    WavFormat format;
    Chunk data;
};

class WavWalk {
  public:
    WavWalk(ISequentialFile& file, WavSizes sizes)
        : m_file(file), m_sizes(sizes), m_nFileSize(std::max<int64_t>(file.Size(), 0)) {}

    // False if there is no form WAVE, a chunk extends beyond it, or a part is missing.
    bool Run(WavFile* found) {
        Chunk riff;
        if (!FindForm(&riff)) {
            return false;
        }
        if (m_sizes == WavSizes::Unfinished) {
            riff.size = HeldToFile(riff.offset);
        }
        bool hasFormat = false;
        bool hasData = false;
        uint64_t at = riff.offset + kFormTypeBytes;
        Chunk chunk;
        while (at + kChunkHeaderBytes <= riff.End() && ReadHeader(at, &chunk)) {
            if (m_sizes == WavSizes::Unfinished && chunk.Is("data")) {
                chunk.size = HeldToFile(chunk.offset);
            }
            if (chunk.End() > riff.End()) {
                return false;
            }
            if (chunk.Is("fmt ") && !hasFormat) {
                if (!ReadFormat(chunk, &found->format)) {
                    return false;
                }
                hasFormat = true;
            } else if (chunk.Is("data") && !hasData) {
                found->data = chunk;
                hasData = true;
            }
            at = chunk.Next();
        }
        return m_nChunks <= kMaxWavChunks && hasFormat && hasData && found->data.size > 0;
    }

  private:
    bool FindForm(Chunk* riff) {
        uint64_t at = 0;
        while (ReadHeader(at, riff)) {
            std::array<char, kFormTypeBytes> form = {};
            if (riff->Is("RIFF") && ReadWhole(m_file, form.data(), form.size()) == form.size() &&
                std::string_view(form.data(), form.size()) == "WAVE") {
                return true;
            }
            at = riff->Next();
        }
        return false;
    }

    bool ReadHeader(uint64_t at, Chunk* chunk) {
        std::array<uint8_t, kChunkHeaderBytes> header = {};
        if (++m_nChunks > kMaxWavChunks || !m_file.Seek(at) ||
            ReadWhole(m_file, header.data(), header.size()) != header.size()) {
            return false;
        }
        std::copy_n(header.begin(), chunk->id.size(), chunk->id.begin());
        chunk->size = LoadLe32(header.data() + 4);
        chunk->offset = at + kChunkHeaderBytes;
        return true;
    }

    uint32_t HeldToFile(uint64_t offset) const {
        const uint64_t rest = m_nFileSize - std::min(m_nFileSize, offset);
        return static_cast<uint32_t>(std::min<uint64_t>(rest, UINT32_MAX));
    }

    // The chunk must be complete, but only its first fields are read.
    bool ReadFormat(const Chunk& chunk, WavFormat* format) {
        if (chunk.End() > m_nFileSize) {
            return false;
        }
        std::array<uint8_t, kFormatBytes> fields = {};
        const size_t wanted = std::min(kFormatBytes, chunk.size);
        if (ReadWhole(m_file, fields.data(), wanted) != wanted) {
            return false;
        }
        format->wFormatTag = LoadLe16(fields.data());
        format->nChannels = LoadLe16(fields.data() + 2);
        format->nSamplesPerSec = LoadLe32(fields.data() + 4);
        format->wBitsPerSample = LoadLe16(fields.data() + 14);
        format->bExtensiblePcm =
            format->wFormatTag == kExtensibleFormatTag &&
            std::equal(kPcmSubFormat.begin(), kPcmSubFormat.end(), &fields[kSubFormatOffset]);
        return true;
    }

    ISequentialFile& m_file;
    WavSizes m_sizes;
    uint64_t m_nFileSize;
    int m_nChunks = 0;
};

bool OpenWav(const std::u16string& name, IFileSystem& files, WavSizes sizes, WavFile* found) {
    found->file = files.OpenSequential(name);
    return found->file && WavWalk(*found->file, sizes).Run(found);
}

bool HasUnfinishedSizes(WavFile& wav) {
    return wav.data.size >= kUnfinishedBytes &&
           wav.data.End() > static_cast<uint64_t>(std::max<int64_t>(wav.file->Size(), 0));
}

int32_t ClampToInt(uint32_t value) {
    return static_cast<int32_t>(std::min<uint32_t>(value, std::numeric_limits<int32_t>::max()));
}

} // namespace

CWavReader::CWavReader(const std::u16string& name, IFileSystem& files, WavSizes sizes) {
    WavFile wav;
    if (!OpenWav(name, files, sizes, &wav) || !wav.file->Seek(wav.data.offset)) {
        throw CNotOpened(TextWithName("Cannot open ", name, "."));
    }
    m_nLength = CheckedLength(wav.data.size);
    m_nSampleRate = ClampToInt(wav.format.nSamplesPerSec);
    m_nChannels = wav.format.nChannels;
    m_nBits = wav.format.wBitsPerSample;
    m_bPcm = wav.format.wFormatTag == kPcmFormatTag || wav.format.bExtensiblePcm;
    m_bUnfinished = HasUnfinishedSizes(wav);
    m_pFile = std::move(wav.file);
    m_nDataLeft = wav.data.size;
}

void CWavReader::Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) {
    const uint32_t wanted = std::min(bytes, m_nDataLeft);
    const auto got = static_cast<uint32_t>(ReadWhole(*m_pFile, buffer, wanted));
    // After a short read, nothing more will be returned, whatever happens to the file.
    m_nDataLeft = got < wanted ? 0 : m_nDataLeft - got;
    if (bytesRead != nullptr) {
        *bytesRead = got;
    }
}

std::optional<AudioProbe> ProbeWav(const std::u16string& name, IFileSystem& files, WavSizes sizes) {
    WavFile wav;
    if (!OpenWav(name, files, sizes, &wav) || HasUnfinishedSizes(wav) ||
        (wav.format.wFormatTag != kPcmFormatTag && !wav.format.bExtensiblePcm)) {
        return std::nullopt;
    }
    return AudioProbe{.bytes = wav.data.size,
                      .bits = wav.format.wBitsPerSample,
                      .rate = ClampToInt(wav.format.nSamplesPerSec),
                      .channels = wav.format.nChannels};
}

} // namespace larkspin
