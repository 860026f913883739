// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The table of docs/audio.md: what becomes of each shape of a sound file.
#include "audio/factory.h"

#include "audio/codec_files.h"

#include <cmath>
#include <gtest/gtest.h>
#include <span>

namespace larkspin {

namespace {

using namespace codecs;

struct Shape {
    const char* shape;
    const char* name;    // of the file, $f in the command
    const char* command; // s.wav, mono.wav and wide.wav (24 bits) are there, of 2 s at 44,100 Hz
};

constexpr Shape kShapes[] = {
    {"WAV of 16 bits", "a.wav", "cp s.wav $f"},
    {"WAV of 8 bits, one channel", "a.wav", "sox mono.wav -D -b 8 $f"},
    {"WAV of 24 bits, extensible", "a.wav", "ffmpeg -i wide.wav -c:a pcm_s24le $f"},
    {"WAV, extensible, of an unknown kind", "a.wav",
     "ffmpeg -i wide.wav -c:a pcm_s24le $f; printf '\\0' | dd of=$f bs=1 seek=59 conv=notrunc"},
    {"WAV of MPEG sound", "a.wav",
     "ffmpeg -i s.wav -c:a libmp3lame $f; printf '\\x55\\0' | dd of=$f bs=1 seek=20 conv=notrunc"},
    {"WAV of floats", "a.wav", "ffmpeg -i wide.wav -c:a pcm_f32le $f"},
    {"WAV of floats beyond full scale", "a.wav",
     "ffmpeg -i wide.wav -af volume=20dB:precision=float -c:a pcm_f32le $f"},
    {"WAV of 64-bit floats", "a.wav", "ffmpeg -i wide.wav -c:a pcm_f64le $f"},
    {"WAV of A-law", "a.wav", "ffmpeg -i s.wav -c:a pcm_alaw $f"},
    {"WAV from a pipe", "a.wav", "ffmpeg -i s.wav -f wav - | cat > $f"},
    {"WAV from a pipe of sox", "a.wav", "sox s.wav -t wav - | cat > $f"},
    {"WAV whose form is too short", "a.wav",
     "cp s.wav $f; printf '\\100\\0\\0\\0' | dd of=$f bs=1 seek=4 conv=notrunc"},
    {"WAV behind an ID3 tag", "a.wav",
     "{ printf 'ID3\\3\\0\\0\\0\\0\\2\\0'; head -c 256 s.wav; cat s.wav; } > $f"},
    {"RF64", "a.wav", "ffmpeg -i s.wav -rf64 always $f"},
    {"W64", "a.wav", "ffmpeg -i s.wav -f w64 $f"},
    {"WAV of 6 channels", "a.wav", "sox s.wav $f remix 1 1 1 1 1 1"},
    {"WAV cut in half", "a.wav", "half s.wav"},
    {"an empty file", "a.wav", ": > $f"},
    {"a picture", "a.wav", "ffmpeg -f lavfi -i testsrc -frames 1 -f mjpeg $f"},
    {"WAV at 48 kHz", "a.wav", "sox s.wav -r 48000 $f"},
    {"MP3 with LAME's info frame", "a.mp3", "lame s.wav $f"},
    {"MP3 without it", "a.mp3", "lame -t s.wav $f"},
    {"MP3 of variable rate with a tag", "a.mp3", "lame -V 2 --add-id3v2 --tt t s.wav $f"},
    {"MPEG Layer II, one channel of 256 kbit/s", "a.mp3", "ffmpeg -i mono.wav -b:a 256k -f mp2 $f"},
    {"WAV named .mp3", "a.mp3", "cp s.wav $f"},
    {"WMA", "a.wma", "ffmpeg -i s.wav $f"},
    {"Ogg Vorbis", "a.ogg", "oggenc s.wav -o $f"},
    {"Ogg Vorbis, two rates in a chain", "a.ogg",
     "oggenc s.wav -o b.ogg; oggenc --resample 48000 s.wav -o c.ogg; cat b.ogg c.ogg > $f"},
    {"Opus named .ogg", "a.ogg", "ffmpeg -i s.wav -c:a libopus $f"},
    {"FLAC of 16 bits", "a.flac", "flac s.wav -o $f"},
    {"FLAC of 24 bits", "a.flac", "flac wide.wav -o $f"},
    {"FLAC at 96 kHz", "a.flac", "sox s.wav -r 96000 $f"},
    {"FLAC cut in half", "a.flac", "flac s.wav -o b.flac; half b.flac"},
    {"AAC in MPEG-4", "a.m4a", "ffmpeg -i s.wav $f"},
    {"AAC in fragments of MPEG-4", "a.m4a",
     "ffmpeg -i s.wav -movflags frag_keyframe+empty_moov $f"},
    {"Apple Lossless of 16 bits", "a.m4a", "ffmpeg -i s.wav -c:a alac $f"},
    {"Apple Lossless of 24 bits", "a.m4a", "ffmpeg -i wide.wav -c:a alac $f"},
    {"Apple Lossless with a cover picture", "a.m4a",
     "ffmpeg -f lavfi -i testsrc -frames 1 b.png; ffmpeg -i s.wav -i b.png -map 0 -map 1 -c:a alac "
     "-c:v copy -disposition:v attached_pic $f"},
    {"AAC in MPEG-4 cut in half", "a.m4a",
     "ffmpeg -i s.wav -b:a 128k -movflags +faststart b.m4a; half b.m4a"},
    {"MPEG-4 without sound", "a.m4a", "ffmpeg -f lavfi -i testsrc=d=1 -f mp4 $f"},
    {"AAC alone (ADTS)", "a.aac", "ffmpeg -i s.wav $f"},
    {"Opus", "a.opus", "ffmpeg -i s.wav $f"},
    {"Opus, one channel", "a.opus", "ffmpeg -i mono.wav $f"},
    {"AIFF of 16 bits", "a.aiff", "sox s.wav $f"},
    {"AIFF of 24 bits, named .aif", "a.aif", "sox wide.wav -t aiff $f"},
    {"AIFF of floats", "a.aiff", "ffmpeg -i wide.wav -c:a pcm_f32be $f"},
    {"WavPack of 16 bits", "a.wv", "ffmpeg -i s.wav $f"},
    {"WavPack of 24 bits", "a.wv", "ffmpeg -i wide.wav $f"},
    {"WavPack cut in half", "a.wv", "ffmpeg -i s.wav b.wv; half b.wv"},
};

// Where two tracks are alike but for a difference that lies 25 dB below them; one sample of delay
// is more.
bool SoundAlike(std::span<const int16_t> left, std::span<const int16_t> right) {
    double signal = 0;
    double difference = 0;
    for (size_t i = 0; i < std::min(left.size(), right.size()); ++i) {
        signal += std::pow(left[i], 2);
        difference += std::pow(left[i] - right[i], 2);
    }
    return !right.empty() && difference < signal / 316;
}

class Shapes : public testing::Test {
  protected:
    Shapes() {
        WriteSound(m_folder.Path() + "/wide.wav", m_wide);
        WriteSound(m_folder.Path() + "/s.wav", MakeTones(88200));
        WriteSound(m_folder.Path() + "/mono.wav", MakeTones(88200, {.channels = 1}));
    }

    std::string Result(const Shape& shape) const {
        const std::string path = m_folder.Path() + '/' + shape.name;
        Capture("cd " + m_folder.Path() + "; f=" + shape.name +
                "; rm -f $f b.* c.*; ffmpeg() { command ffmpeg -v error -y \"$@\"; }; "
                "half() { head -c $(($(stat -c %s $1) / 2)) $1 > $f; }; " +
                shape.command);
        std::unique_ptr<CReader> chain;
        const std::string failure = FailureOf([&] { chain = CreateAudioReader(ToWide(path)); });
        if (chain == nullptr) {
            // The queue tells no length of what is no sound to any library.
            EXPECT_EQ(GetAudioFileLength(ToWide(path)) > 0,
                      failure.find("channels, an") != std::string::npos);
            return "refused: " + failure.substr(failure.find("): ") + 3);
        }
        EXPECT_EQ(GetAudioFileLength(ToWide(path)), static_cast<uint32_t>(chain->m_nLength));
        const std::vector<int16_t> track = ToSamples(Drain(*chain));
        const SoundLoss loss = chain->Loss();
        // ffmpeg damps one channel where it makes two of it.
        const bool mono = std::string(shape.shape).find("one channel") != std::string::npos;
        const std::vector<int16_t> other = ToSamples(Capture(
            "ffmpeg -v quiet -i " + path +
            " -f s16le -ar 44100 -af 'pan=stereo|c0=c0|c1=" + (mono ? "c0" : "c1") + "' -"));
        // WMA claims a little more than there is.
        EXPECT_TRUE(loss.brokeOff || other.size() + 24000 > track.size()) << shape.shape;
        std::string result = IsSource(track, 256)       ? "bit for bit"
                             : IsSource(track, 512)     ? "with dither"
                             : SoundAlike(track, other) ? "as another decoder plays it"
                                                        : "other sound";
        result += loss.brokeOff ? "; told as not complete" : "";
        return result + (loss.clippedSamples > 0 ? "; told as clipped" : "");
    }

  private:
    // But for less than `range` parts of a step's 256.
    bool IsSource(std::span<const int16_t> track, int range) const {
        const std::vector<int32_t>& wide = m_wide.samples;
        return track.size() >= wide.size() &&
               std::equal(wide.begin(), wide.end(), track.begin(), [range](int source, int sample) {
                   return std::abs(sample * 256 - source) < range;
               });
    }

    TempFolder m_folder;
    const Sound m_wide = MakeTones(88200, {.bits = 24}); // MakeTones of 16 bits, but finer
};

TEST_F(Shapes, BecomeWhatTheTableSays) {
    std::string found = "| shape | what it becomes |\n|---|---|\n";
    for (const Shape& shape : kShapes) {
        found += Format("| %s | %s |\n", shape.shape, Result(shape).c_str());
    }
    const Bytes document = ReadFileBytes(LARKSPIN_SOURCE "/docs/audio.md");
    EXPECT_NE(std::string(document.begin(), document.end()).find(found + '\n'), std::string::npos)
        << found;
}

} // namespace

} // namespace larkspin
