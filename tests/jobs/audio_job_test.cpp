// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The audio job: files of all formats in, the track list of the finished disc out, as the drive and
// as programs that know nothing of Larkspin read it; and what is refused on the way.
#include "audio/factory.h"
#include "drive/cue_sheet.h"
#include "job_bench.h"

#include <chrono>
#include <thread>

namespace larkspin {
namespace {

constexpr size_t kFrames = 200'000; // 340.1 blocks, a little more than a track must have

class AudioJobTest : public testing::Test {
  protected:
    const codecs::Sound sound = codecs::MakeTones(kFrames);
    const Bytes pcm = codecs::Pcm(sound);
    JobBench bench;
};

TEST_F(AudioJobTest, HoldsTheTracksOfAllFormatsAndConversions) {
    const codecs::Sound narrow =
        codecs::MakeTones(kFrames, {.channels = 1, .bits = 8, .rate = 32000});
    const codecs::Sound longer =
        codecs::MakeTones(120'000, {.channels = 1, .bits = 8, .rate = 8000});
    const std::vector<std::u16string> songs = {
        bench.AddWav("plain.wav", pcm),
        bench.AddFile("converted.WAV", codecs::Encoded(".wav", narrow)),
        bench.AddFile("song.mp3", codecs::Encoded(".mp3", sound, "-b 128 --resample 48")),
        bench.AddFile("song.wma", codecs::Encoded(".wma", sound)),
        bench.AddFile("song.ogg", codecs::Encoded(".ogg", sound)),
        bench.AddFile("song.flac", codecs::Encoded(".flac", sound)),
        bench.AddFile("song.ape", codecs::Encoded(".ape", longer)),
    };
    bench.host.queue = songs;
    ASSERT_EQ(bench.RunAudio(), JobEnd::Exit);
    ASSERT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_EQ(bench.ui.Headers(), Texts{u"audio header"});
    Texts statuses = {u"Writing lead-in..."};
    for (size_t i = 1; i <= songs.size(); ++i) {
        statuses.push_back(FormatWide("Writing track %zu...", i));
    }
    statuses.push_back(u"Writing lead-out...");
    EXPECT_EQ(bench.ui.Statuses(JobKind::Audio), statuses);
    EXPECT_EQ(bench.ui.Progress(JobKind::Audio), 100);
    EXPECT_TRUE(bench.host.successes.at(0).starts_with(u"Disc written: 7 tracks, 0:"));
    EXPECT_EQ(bench.host.clears, 1);
    EXPECT_TRUE(bench.WasEjected());
    EXPECT_TRUE(bench.IsClosed());

    Bytes all;
    std::vector<size_t> starts; // of each track and of the lead-out, in blocks
    for (size_t i = 0; i < songs.size(); ++i) {
        SCOPED_TRACE(ToNative(songs[i]));
        const Bytes track = codecs::Drain(*CreateAudioReader(songs[i]));
        const bool lossless = i == 0 || i == 5;
        EXPECT_TRUE(!lossless || std::equal(pcm.begin(), pcm.end(), track.begin()));
        starts.push_back(all.size() / kCdBlockBytes);
        all.insert(all.end(), track.begin(), track.end());
    }
    starts.push_back(all.size() / kCdBlockBytes);
    EXPECT_TRUE(bench.AudioTracks() == all) << "gapless, in this order";

    // What other programs make of the disc's files.
    const std::string disc = bench.disc + "/disc.cue";
    const Bytes info = codecs::Capture("LC_ALL=C cd-info --no-header --no-cddb " + disc);
    const std::string list(info.begin(), info.end());
    for (size_t i = 0; i < starts.size(); ++i) {
        const MsfAddress time(static_cast<int32_t>(starts[i]) + 150);
        const bool isLeadOut = i + 1 == starts.size();
        const std::string row =
            Format("%3zu: %02d:%02d:%02d  %06zu %s", isLeadOut ? size_t{170} : i + 1, time.minutes,
                   time.seconds, time.frames, starts[i], isLeadOut ? "leadout" : "audio");
        EXPECT_NE(list.find(row), std::string::npos) << row << " in:\n" << list;
    }
}

// A folder works as long as every file in it is sound; files come before those of folders, and what
// stands twice is written twice.
TEST_F(AudioJobTest, TakesFoldersOfSoundAlone) {
    const std::u16string song = bench.AddWav("music/b.wav", pcm);
    const std::u16string folder = ToWide((bench.Source() / "music").string());
    const Bytes other = Payload(320 * 2352, 1);
    bench.host.queue = {folder, bench.AddWav("a.wav", other), song};
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    Bytes padded = pcm;
    padded.resize((pcm.size() + 2351) / 2352 * 2352);
    EXPECT_TRUE(bench.AudioTracks() == codecs::operator+(codecs::operator+(other, padded), padded));

    // A user who gives up at the first copy keeps the queue and the disc.
    bench.InsertNew("cd-r");
    const std::u16string words = bench.AddFile("music/words.txt", Payload(10, 1));
    bench.host.queue = {words};
    bench.ejects = bench.host.clears = 0;
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(),
              Texts{u"1 of 1 files cannot be written to an audio disk.\n\n1. Error: cannot write " +
                    words + u". It's not an audio or this format is not supported."});
    EXPECT_FALSE(bench.WasEjected() || bench.host.clears > 0);
    EXPECT_FALSE(fs::exists(bench.disc + "/disc.bin"));
}

// Reading the one would never end, opening the other neither.
TEST_F(AudioJobTest, DevicesAndPipesAreNeverOpened) {
    const fs::path zeros = bench.Source() / "x.flac";
    const fs::path pipe = bench.Source() / "y.wav";
    bench.host.queue = {bench.AddWav("a.wav", pcm), ToWide(zeros.string()), ToWide(pipe.string())};
    fs::create_symlink("/dev/zero", zeros);
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(GetAudioFileLength(ToWide(zeros.string())), 0U);
    EXPECT_EQ(bench.RunAudio(), JobEnd::Idle);
    ASSERT_EQ(bench.ui.Texts().size(), 1U);
    EXPECT_NE(bench.ui.Texts()[0].find(u"Neither files nor folders (2):\n"), std::u16string::npos);
    bench.ui.onBox = [](const FakeUi::Box&) { return true; };
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_TRUE(bench.IsClosed());
}

// Each copy tells it, and the other tracks stand where they should.
TEST_F(AudioJobTest, NamesTheTracksThatLostSound) {
    Bytes torn = codecs::Encoded(".flac", sound);
    torn.resize(torn.size() / 2);
    const std::u16string broken = bench.AddFile("torn.flac", torn);
    // Floats, of which each fourth is 2.0.
    Bytes loud = codecs::MakeWav(Bytes(pcm.size() * 2), 44100, 2, 32);
    loud[20] = 3;
    for (size_t i = 44 + 3; i < loud.size(); i += 16) {
        loud[i] = 0x40;
    }
    bench.host.queue = {bench.AddFile("a.wav", loud), broken, bench.AddWav("b.wav", pcm)};
    bench.ui.audio.bVerify = true; // which finds what was written, and is no success all the same
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(),
              Texts{u"Track 2 is not complete: " + broken +
                    u" is damaged or could not be read to its end. Silence stands for what is "
                    u"missing.\nLouder than a disk can hold, and cut off there: track 1 (100000 "
                    u"samples).\nDisc written: 3 tracks, 0:13 (min:sec), verified."});
    const Bytes tracks = bench.AudioTracks();
    const size_t track = (pcm.size() + 2351) / 2352 * 2352;
    ASSERT_EQ(tracks.size(), 3 * track);
    EXPECT_TRUE(std::equal(pcm.begin(), pcm.end(), tracks.end() - std::ptrdiff_t(track)));
    EXPECT_TRUE(bench.WasEjected() && bench.IsClosed());
    EXPECT_EQ(bench.host.successes, Texts{});
}

// All that is refused stands in one box, before anything is asked of the disc; the rest can be
// written, on each copy, and nothing is asked twice.
TEST_F(AudioJobTest, ListsAllRefusedFilesAndWritesTheOthersIfToldTo) {
    const std::string deep(100, 'd');
    const std::string name = std::string(200, 'n') + ".wav";
    const Bytes tornFlac = {'f', 'L', 'a', 'C', 0x80, 0, 0, 34};
    const std::u16string good = bench.AddWav("good.wav", pcm);
    const std::u16string words = bench.AddFile("words.txt", Payload(10, 1));
    const Texts queue = {
        good,  bench.AddFile(deep + '/' + deep + '/' + name, codecs::MakeWav(pcm, 44100, 6, 16)),
        good,  bench.AddFile("deep/torn.flac", tornFlac),
        words, bench.AddFile("page.wma", Payload(1000, 5)),
    };
    const std::u16string box =
        u"4 of 6 files cannot be written to an audio disk. Should Larkspin write the other 2 "
        u"without them?\n\n2. " +
        ToWide(name) +
        u" (WAV): it has 6 channels, an audio CD takes at most 2.\n"
        u"4. torn.flac (FLAC): not a FLAC file\n5. Error: cannot write " +
        words +
        u". It's not an audio or this format is not supported.\n6. page.wma (WMA): Cannot open "
        u"page.wma. The file is damaged or of another format.";
    bench.host.queue = queue;
    bench.ui.audio.nCopies = 2;
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    ASSERT_EQ(bench.ui.Texts(), Texts{box});
    EXPECT_EQ(bench.ui.Boxes()[0].title, u"Brackwater");
    EXPECT_EQ(bench.ui.Boxes()[0].buttons, BoxButtons::YesNoGuarded);
    EXPECT_EQ(bench.commands[mmc::kReadDiscInformation] + bench.commands[mmc::kWrite10], 0);
    EXPECT_FALSE(bench.WasEjected() || bench.host.clears > 0);

    bench.ui.onBox = [&](const FakeUi::Box& asked) {
        if (asked.text != box) {
            bench.InsertNew("cd-r");
        }
        return true;
    };
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), (Texts{box, box, NextCopyText(1, 2)}));
    EXPECT_EQ(bench.AudioTracks().size(), 2 * ((pcm.size() + 2351) / 2352 * 2352));
}

TEST(AudioJob, ASongWithoutAnEndCanBeCancelledBeforeTheDisc) {
    JobBench bench;
    const std::jthread time([&](const std::stop_token& stop) {
        for (; !stop.stop_requested(); std::this_thread::sleep_for(std::chrono::milliseconds(5))) {
            bench.clock.Advance(100);
        }
    });
    const std::u16string endless = bench.AddFile("zeros.flac", {});
    std::filesystem::resize_file(ToNative(endless), uint64_t{1} << 40);
    bench.ui.onStatus = [&](JobKind kind, const std::u16string& text) {
        if (text == u"Opening the audio files... 1 of 1") {
            bench.ui.Cancel(kind);
        }
    };
    bench.host.queue = {endless};
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_EQ(bench.commands[mmc::kReadDiscInformation] + bench.host.clears, 0);

    const std::string device = bench.folder.Path() + "/device.flac";
    std::filesystem::create_symlink("/dev/zero", device);
    EXPECT_THROW(CreateAudioReader(ToWide(device)), CReaderException);
}

TEST(AudioJob, EightyMinutesComeToTheDialogAndNoMore) {
    JobBench bench;
    bench.ui.audio.bCancelled = true;
    bench.host.audioBytes = 846'720'000;
    EXPECT_EQ(bench.RunAudio(), JobEnd::Idle);
    EXPECT_EQ(bench.ui.Headers(), Texts{u"audio header"});
    bench.host.audioBytes = 846'720'001;
    EXPECT_EQ(bench.RunAudio(), JobEnd::Idle);
    EXPECT_EQ(bench.ui.Headers().size(), 1U);
    EXPECT_EQ(bench.ui.Texts(),
              Texts{u"The duration of selected audio files is more than 80 minutes. This selection "
                    u"won't fit any CD-R/RW.\n\nPlease edit your selection and invoke Larkspin "
                    u"again."});
    EXPECT_EQ(bench.ui.Boxes()[0].icon, BoxIcon::Stop);

    // What lasts is measured behind the dialog.
    bench.ui.audio.bCancelled = false;
    bench.host.measuring = 20;
    EXPECT_EQ(bench.RunAudio(), JobEnd::Idle);
    EXPECT_EQ(bench.ui.Headers().back(), u"Calculating...");
    EXPECT_EQ(bench.ui.Statuses(JobKind::Audio), Texts{u"Measuring the audio files..."});
    EXPECT_EQ(bench.ui.Boxes().size(), 2U);
}

TEST(AudioJob, SevenThousandBlocksOfGrace) {
    for (const int32_t blocks : {8000, 8001}) {
        JobBench bench("cd-r", 1000);
        bench.host.queue = {bench.AddWav("a.wav", Bytes(size_t(blocks) * 2352))};
        EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
        ASSERT_EQ(bench.ui.Texts().size(), 1U);
        // Within the grace the drive is asked, and this one takes no more than it says.
        EXPECT_EQ(bench.ui.Texts()[0],
                  blocks == 8000
                      ? u"Internal error #663. Unable to initiate recording."
                      : u"The duration of selected audio files exceeds disk capacity by 1:33 "
                        u"(min:sec) and cannot be written.\n\nPlease edit your selection and "
                        u"invoke Larkspin again.");
        EXPECT_EQ(bench.host.clears, 0) << "nothing was written";
    }
}

} // namespace
} // namespace larkspin
