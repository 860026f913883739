#include "audio/readers/ape_reader.h"
#include "audio_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return larkspin::FuzzAudioReader<larkspin::CAPEReader>(data, size, &larkspin::ProbeApe);
}
