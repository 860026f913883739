// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// library_floor FILE.mp3|FILE.ogg: decodes a file with its bare library, from memory and into
// nothing, so that a benchmark can tell the library's time from our own. The calls are those of the
// readers: libmad's decoding and synthesis, libvorbisfile's reading of 16-bit samples.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mad.h>
#include <memory>
#include <string_view>
#include <vector>

#define OV_EXCLUDE_STATIC_CALLBACKS
#include <vorbis/vorbisfile.h>

namespace {

using Bytes = std::vector<unsigned char>;

// The number of samples of one channel.
size_t DecodeMpeg(const Bytes& file) {
    struct Decoder {
        mad_stream stream;
        mad_frame frame;
        mad_synth synth;
    };
    const auto decoder = std::make_unique<Decoder>();
    mad_stream_init(&decoder->stream);
    mad_frame_init(&decoder->frame);
    mad_synth_init(&decoder->synth);
    mad_stream_buffer(&decoder->stream, file.data(), file.size());
    size_t samples = 0;
    for (;;) {
        if (mad_frame_decode(&decoder->frame, &decoder->stream) == 0) {
            mad_synth_frame(&decoder->synth, &decoder->frame);
            samples += decoder->synth.pcm.length;
        } else if (!MAD_RECOVERABLE(decoder->stream.error)) {
            break;
        }
    }
    mad_synth_finish(&decoder->synth);
    mad_frame_finish(&decoder->frame);
    mad_stream_finish(&decoder->stream);
    return samples;
}

struct Source {
    const Bytes& bytes;
    size_t at = 0;
};

size_t ReadSource(void* to, size_t size, size_t count, void* opaque) {
    auto& source = *static_cast<Source*>(opaque);
    const size_t bytes = std::min(size * count, source.bytes.size() - source.at);
    std::memcpy(to, source.bytes.data() + source.at, bytes);
    source.at += bytes;
    return bytes / size;
}

size_t DecodeVorbis(const Bytes& file) {
    Source source = {.bytes = file};
    OggVorbis_File decoder = {};
    const ov_callbacks callbacks = {.read_func = &ReadSource,
                                    .seek_func = nullptr,
                                    .close_func = nullptr,
                                    .tell_func = nullptr};
    if (ov_open_callbacks(&source, &decoder, nullptr, 0, callbacks) != 0) {
        return 0;
    }
    const auto frameBytes = size_t{2} * static_cast<size_t>(ov_info(&decoder, -1)->channels);
    std::array<char, 16384> buffer;
    size_t bytes = 0;
    int link = 0;
    for (long got = OV_HOLE; got > 0 || got == OV_HOLE;) {
        got = ov_read(&decoder, buffer.data(), buffer.size(), 0, 2, 1, &link);
        bytes += static_cast<size_t>(std::max(got, 0L));
    }
    ov_clear(&decoder);
    return bytes / frameBytes;
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view name = argc == 2 ? argv[1] : "";
    std::ifstream in(argc == 2 ? argv[1] : "", std::ios::binary);
    const Bytes file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    size_t samples = 0;
    if (name.ends_with(".mp3")) {
        samples = DecodeMpeg(file);
    } else if (name.ends_with(".ogg")) {
        samples = DecodeVorbis(file);
    }
    if (samples == 0) {
        std::fputs("usage: library_floor FILE.mp3|FILE.ogg\n", stderr);
        return 2;
    }
    std::printf("%zu\n", samples);
    return 0;
}
