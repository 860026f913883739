// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The one symbol of the module.
#include "audio/libav/decoder.h"

namespace larkspin {

namespace {

bool HasDemuxer(const char* name) {
    return av_find_input_format(name) != nullptr;
}

bool HasDecoder(AVCodecID codec) {
    return avcodec_find_decoder(codec) != nullptr;
}

bool IsLossless(AVCodecID codec) {
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec);
    return descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_LOSSLESS) != 0;
}

} // namespace

extern "C" __attribute__((visibility("default"))) const LibavModule* LarkspinLibavModule() {
    static constexpr LibavModule module = {.open = &CLibavDecoder::Open,
                                           .hasDemuxer = &HasDemuxer,
                                           .hasDecoder = &HasDecoder,
                                           .isLossless = &IsLossless};
    return &module;
}

} // namespace larkspin
