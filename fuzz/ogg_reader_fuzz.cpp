#include "audio/readers/ogg_reader.h"
#include "audio_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return larkspin::FuzzAudioReader<larkspin::COggReader>(data, size, &larkspin::ProbeOgg);
}
