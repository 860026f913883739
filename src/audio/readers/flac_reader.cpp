// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/flac_reader.h"

#include "audio/source_limits.h"

#include <algorithm>
#include <new>

namespace larkspin {

// Callbacks for libFLAC, with the reader as client data.
struct CFLACReader::Callbacks {
    static CFLACReader& Reader(void* client) { return *static_cast<CFLACReader*>(client); }

    static FLAC__StreamDecoderReadStatus Read(const FLAC__StreamDecoder* /*decoder*/,
                                              FLAC__byte buffer[], size_t* bytes, void* client) {
        if (bytes == nullptr || *bytes == 0 || Reader(client).m_bStop) {
            return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
        }
        const std::ptrdiff_t got = Reader(client).m_hFile->Read(buffer, *bytes);
        if (got < 0) {
            return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
        }
        *bytes = static_cast<size_t>(got);
        if (got == 0) {
            Reader(client).m_bEndOfFile = true;
            return FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM;
        }
        return FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
    }

    static FLAC__StreamDecoderSeekStatus Seek(const FLAC__StreamDecoder* /*decoder*/,
                                              FLAC__uint64 offset, void* client) {
        Reader(client).m_bEndOfFile = false;
        return Reader(client).m_hFile->Seek(offset) ? FLAC__STREAM_DECODER_SEEK_STATUS_OK
                                                    : FLAC__STREAM_DECODER_SEEK_STATUS_ERROR;
    }

    static FLAC__StreamDecoderTellStatus Tell(const FLAC__StreamDecoder* /*decoder*/,
                                              FLAC__uint64* offset, void* client) {
        const int64_t position = Reader(client).m_hFile->Tell();
        if (position < 0) {
            return FLAC__STREAM_DECODER_TELL_STATUS_ERROR;
        }
        *offset = static_cast<FLAC__uint64>(position);
        return FLAC__STREAM_DECODER_TELL_STATUS_OK;
    }

    static FLAC__StreamDecoderLengthStatus Length(const FLAC__StreamDecoder* /*decoder*/,
                                                  FLAC__uint64* length, void* client) {
        *length = Reader(client).m_nFileSize;
        return FLAC__STREAM_DECODER_LENGTH_STATUS_OK;
    }

    static FLAC__bool IsEndOfFile(const FLAC__StreamDecoder* /*decoder*/, void* client) {
        return Reader(client).m_bEndOfFile ? 1 : 0;
    }

    static FLAC__StreamDecoderWriteStatus Write(const FLAC__StreamDecoder* /*decoder*/,
                                                const FLAC__Frame* frame,
                                                const FLAC__int32* const channels[], void* client) {
        return Reader(client).TakeFrame(*frame, channels)
                   ? FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE
                   : FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    }

    static void Metadata(const FLAC__StreamDecoder* /*decoder*/,
                         const FLAC__StreamMetadata* metadata, void* client) {
        if (metadata->type == FLAC__METADATA_TYPE_STREAMINFO) {
            Reader(client).TakeStreamInfo(metadata->data.stream_info);
        }
    }

    // libFLAC itself skips a frame that can't be decoded. For one that was damaged, or whose start
    // was not found, it returns silence after this call.
    static void Error(const FLAC__StreamDecoder* /*decoder*/, FLAC__StreamDecoderErrorStatus status,
                      void* client) {
        if (status == FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH ||
            status == FLAC__STREAM_DECODER_ERROR_STATUS_LOST_SYNC) {
            Reader(client).m_bDamagedFrame = true;
        }
    }
};

namespace {

// Interleaves two channels of 16-bit samples, in a loop simple enough for vector code.
void InterleaveStereo16(const FLAC__int32* left, const FLAC__int32* right, size_t samples,
                        uint8_t* to) {
    for (size_t i = 0; i < samples; ++i) {
        to[4 * i] = static_cast<uint8_t>(left[i]);
        to[4 * i + 1] = static_cast<uint8_t>(left[i] >> 8);
        to[4 * i + 2] = static_cast<uint8_t>(right[i]);
        to[4 * i + 3] = static_cast<uint8_t>(right[i] >> 8);
    }
}

} // namespace

CFLACReader::CFLACReader(HeaderOnly /*tag*/, const std::u16string& name, IFileSystem& files)
    : m_hFile(files.OpenSequential(name)) {
    if (m_hFile == nullptr) {
        throw CNotOpened("cannot open");
    }
    m_nFileSize = static_cast<uint64_t>(std::max<int64_t>(m_hFile->Size(), 0));
    m_pDecoder.reset(FLAC__stream_decoder_new());
    if (m_pDecoder == nullptr) {
        throw std::bad_alloc();
    }
    const bool read =
        FLAC__stream_decoder_init_stream(
            m_pDecoder.get(), &Callbacks::Read, &Callbacks::Seek, &Callbacks::Tell,
            &Callbacks::Length, &Callbacks::IsEndOfFile, &Callbacks::Write, &Callbacks::Metadata,
            &Callbacks::Error, this) == FLAC__STREAM_DECODER_INIT_STATUS_OK &&
        FLAC__stream_decoder_process_until_end_of_metadata(m_pDecoder.get()) != 0;
    // libFLAC also accepts a bare sequence of frames; without STREAMINFO its properties are
    // unknown.
    if (!read ||
        FLAC__stream_decoder_get_state(m_pDecoder.get()) > FLAC__STREAM_DECODER_END_OF_STREAM ||
        m_nSampleRate <= 0) {
        throw CReaderException("not a FLAC file");
    }
}

CFLACReader::CFLACReader(const std::u16string& name, IFileSystem& files)
    : CFLACReader(HeaderOnly(), name, files) {
    m_nLength = CheckedLength(PcmBytes());
    StartTriedDecoder("Internal error #280", "Internal error #281");
}

CFLACReader::~CFLACReader() {
    // The callbacks see the flag even if the pipe has room, or if no more frame is found.
    m_bStop = true;
    StopDecoder();
}

uint64_t CFLACReader::PcmBytes() const {
    return m_nTotalSamples * static_cast<uint64_t>(m_nBits) * static_cast<uint64_t>(m_nChannels) /
           8;
}

void CFLACReader::TakeStreamInfo(const FLAC__StreamMetadata_StreamInfo& info) {
    m_nSampleRate = static_cast<int32_t>(info.sample_rate);
    m_nChannels = static_cast<int32_t>(info.channels);
    m_nFileBits = static_cast<int32_t>(info.bits_per_sample);
    m_nBits = (m_nFileBits + 7) / 8 * 8;
    m_nTotalSamples = info.total_samples;
    if (info.sample_rate > 0) {
        m_nDurationSeconds = static_cast<uint32_t>(info.total_samples / info.sample_rate);
    }
}

bool CFLACReader::TakeFrame(const FLAC__Frame& frame, const FLAC__int32* const channels[]) {
    if (m_bStop || frame.header.channels != static_cast<uint32_t>(m_nChannels) ||
        frame.header.bits_per_sample != static_cast<uint32_t>(m_nFileBits)) {
        return false;
    }
    const size_t samples = frame.header.blocksize;
    const auto channelCount = static_cast<size_t>(m_nChannels);
    const size_t sampleBytes = static_cast<size_t>(m_nBits) / 8;
    m_frame.resize(samples * channelCount * sampleBytes);
    uint8_t* to = m_frame.data();
    if (m_nFileBits == 16 && m_nChannels == 2) {
        InterleaveStereo16(channels[0], channels[1], samples, to);
    } else {
        for (size_t i = 0; i < samples; ++i) {
            for (size_t channel = 0; channel < channelCount; ++channel) {
                uint32_t sample = static_cast<uint32_t>(channels[channel][i])
                                  << (m_nBits - m_nFileBits);
                if (m_nBits == 8) {
                    sample += 0x80;
                }
                for (size_t byte = 0; byte < sampleBytes; ++byte) {
                    *to++ = static_cast<uint8_t>(sample);
                    sample >>= 8;
                }
            }
        }
    }
    if (m_bDamagedFrame) {
        m_bDamagedFrame = false;
        CountDamaged(m_frame.size());
    }
    return WritePcm(m_frame.data(), m_frame.size());
}

void CFLACReader::Decode() {
    FLAC__StreamDecoder* decoder = m_pDecoder.get();
    while (FLAC__stream_decoder_process_single(decoder) != 0) {
        const uint64_t target = m_nSeekSample.exchange(kNoSeek);
        if (target != kNoSeek && FLAC__stream_decoder_seek_absolute(decoder, target) == 0) {
            return;
        }
        // An aborted search for the next frame counts as processed; only the state shows it.
        if (FLAC__stream_decoder_get_state(decoder) >= FLAC__STREAM_DECODER_END_OF_STREAM) {
            return;
        }
        FLAC__uint64 offset = 0;
        if (FLAC__stream_decoder_get_decode_position(decoder, &offset) != 0) {
            m_nDecodeOffset = offset;
        }
    }
}

void CFLACReader::SetPosition(uint32_t seconds) {
    if (m_nDurationSeconds > 0) {
        m_nSeekSample = m_nTotalSamples * seconds / m_nDurationSeconds;
    }
}

uint32_t CFLACReader::GetPosition() const {
    return m_nFileSize == 0
               ? 0
               : static_cast<uint32_t>(m_nDecodeOffset * m_nDurationSeconds / m_nFileSize);
}

} // namespace larkspin
