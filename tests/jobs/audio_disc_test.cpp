// Audio discs from end to end: files of all formats in, the track list of the finished disc out,
// as the drive and as programs that know nothing of Larkspin read it.
#include "audio/ape_writer.h"
#include "audio/codec_files.h"
#include "audio/factory.h"
#include "drive/cue_sheet.h"
#include "job_bench.h"
#include "job_texts.h"

namespace larkspin {
namespace {

constexpr size_t kFrames = 200'000; // 340.1 blocks, a little more than a track must have

class AudioDisc : public testing::Test {
  protected:
    std::string Path(const std::string& name) const { return bench.Source() / name; }

    // Encodes a WAV file of the source folder with a program that is told IN and OUT by $1 and $2.
    std::u16string Encode(const std::string& command, const std::string& wav,
                          const std::string& name) {
        codecs::Shell("set -- " + Path(wav) + " " + Path(name) + "; " + command);
        return ToWide(Path(name));
    }

    std::vector<int32_t> sound = codecs::MakeSound(kFrames, 2, 16);
    FileBytes pcm = codecs::PackSamples(sound, 16);
    JobBench bench;
};

TEST_F(AudioDisc, HoldsTheTracksOfAllFormatsAndConversions) {
    const FileBytes narrow = codecs::PackSamples(codecs::MakeSound(kFrames, 1, 8), 8);
    const std::vector<std::u16string> songs = {
        bench.AddWav("plain.wav", pcm),
        bench.AddFile("converted.WAV", codecs::MakeWav(narrow, 32000, 1, 8)),
        Encode("lame --quiet -b 128 --resample 48 $1 $2", "plain.wav", "song.mp3"),
        Encode("ffmpeg -v error -i $1 -c:a wmav2 -f asf $2", "plain.wav", "song.wma"),
        Encode("oggenc -Q -o $2 $1", "plain.wav", "song.ogg"),
        bench.AddFile("song.ape", codecs::WriteApe({.samples = sound})),
        Encode("flac -s -o $2 $1", "plain.wav", "song.flac"),
    };
    bench.host.queue = songs;
    ASSERT_EQ(bench.RunAudio(), JobEnd::Exit);
    ASSERT_EQ(bench.ui.Texts(), Texts{});

    FileBytes all;
    std::vector<size_t> starts; // of each track and of the lead-out, in blocks
    for (size_t i = 0; i < songs.size(); ++i) {
        SCOPED_TRACE(ToNative(songs[i]));
        const FileBytes track = codecs::Drain(*CreateAudioReader(songs[i]));
        EXPECT_TRUE(bench.AudioTrack(static_cast<uint8_t>(i + 1)) == track);
        const bool lossless = i == 0 || i >= 5;
        EXPECT_TRUE(!lossless || std::equal(pcm.begin(), pcm.end(), track.begin()));
        starts.push_back(all.size() / kCdBlockBytes);
        all.insert(all.end(), track.begin(), track.end());
    }
    starts.push_back(all.size() / kCdBlockBytes);
    EXPECT_TRUE(ReadFileBytes(bench.disc + "/disc.bin") == all) << "gapless, in this order";

    // What other programs make of the disc: of its files, and of the drive as /dev/sr0.
    const std::string copy = bench.folder.Path() + "/copy.pcm";
    const std::string end = std::to_string(starts.back() - 1);
    const std::string readAll =
        "cd-read --no-header --mode=audio --start=0 --end=" + end + " --output-file=" + copy + " ";
    struct Road {
        std::string environment;
        std::string disc;
    };
    const std::string cueSheet = bench.disc + "/disc.cue";
    std::vector<Road> roads = {{"", cueSheet}};
#ifdef LARKSPIN_FAKESR_LIBRARY
    roads.push_back(
        {"LARKSPIN_FAKESR=" + bench.disc + " LD_PRELOAD=" LARKSPIN_FAKESR_LIBRARY " ", "/dev/sr0"});
#endif
    for (const Road& road : roads) {
        SCOPED_TRACE(road.disc);
        const codecs::Bytes info =
            codecs::Capture("LC_ALL=C " + road.environment + "cd-info --no-header --no-cddb " +
                            road.disc + " 2>/dev/null");
        const std::string list(info.begin(), info.end());
        for (size_t i = 0; i < starts.size(); ++i) {
            const MsfAddress time(static_cast<int32_t>(starts[i]) + 150);
            const bool isLeadOut = i + 1 == starts.size();
            const std::string row = Format(
                "%3zu: %02d:%02d:%02d  %06zu %s", isLeadOut ? size_t{170} : i + 1, time.minutes,
                time.seconds, time.frames, starts[i], isLeadOut ? "leadout" : "audio");
            EXPECT_NE(list.find(row), std::string::npos) << row << " in:\n" << list;
        }
        std::filesystem::remove(copy);
        codecs::Shell(road.environment + readAll + road.disc + " > /dev/null 2>&1");
        EXPECT_TRUE(ReadFileBytes(copy) == all);
    }
}

// A folder works as long as every file in it is sound, and what stands twice is written twice.
TEST_F(AudioDisc, TakesFoldersOfSoundAlone) {
    const std::u16string song = bench.AddWav("music/a.wav", pcm);
    const std::u16string folder = ToWide(Path("music"));
    bench.host.queue = {song, folder};
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_TRUE(bench.AudioTrack(1) == bench.AudioTrack(2));
    EXPECT_FALSE(bench.AudioTrack(2).empty());

    bench.InsertNew("cd-r");
    const std::u16string words = bench.AddFile("music/words.txt", Payload(10, 1));
    bench.host.queue = {folder};
    bench.ejects = 0;
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{u"Error: cannot write " + words +
                                      u". It's not an audio or this format is not supported."});
    EXPECT_FALSE(bench.WasEjected());
    EXPECT_FALSE(std::filesystem::exists(bench.disc + "/disc.bin"));
}

// What a reader refuses is told in a box of its own title before a disc is touched.
TEST_F(AudioDisc, RefusesBeforeTheDiscWhatWouldBeNoise) {
    const struct {
        const char* name;
        FileBytes file;
        const char16_t* text;
    } cases[] = {
        {"six.wav", codecs::MakeWav(pcm, 44100, 6, 16),
         u"Cannot write six.wav: it has 6 channels, an audio CD takes at most 2."},
        {"wide.wav", codecs::MakeWav(pcm, 44100, 2, 24), u"Internal error #293."},
        {"empty.ape", {}, nullptr},
        {"torn.flac", {'f', 'L', 'a', 'C', 0x80, 0, 0, 34}, nullptr},
        {"zeros.mp3", FileBytes(5000), nullptr},
        {"page.ogg", {'O', 'g', 'g', 'S'}, nullptr},
        {"page.wma", Payload(1000, 5), nullptr},
    };
    const std::u16string good = bench.AddWav("good.wav", pcm);
    size_t boxes = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        bench.host.queue = {good, bench.AddFile(c.name, c.file)};
        EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
        ASSERT_EQ(bench.ui.Boxes().size(), ++boxes);
        const FakeUi::Box box = bench.ui.Boxes().back();
        EXPECT_EQ(box.title, u"Brackwater");
        EXPECT_EQ(box.icon, BoxIcon::Stop);
        EXPECT_FALSE(box.text.empty());
        EXPECT_TRUE(c.text == nullptr || box.text == c.text) << ToNative(box.text);
    }
    EXPECT_FALSE(bench.WasEjected());
    EXPECT_EQ(bench.host.clears, 0);
    EXPECT_FALSE(std::filesystem::exists(bench.disc + "/disc.bin"));
}

} // namespace
} // namespace larkspin
