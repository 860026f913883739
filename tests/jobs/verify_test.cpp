// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/sense.h"
#include "job_bench.h"

#include <fstream>

namespace larkspin {
namespace {

// A bench whose jobs verify. `damage` is done to the disc between the writing and the reading.
struct VerifyBench : JobBench {
    explicit VerifyBench(const std::string& newKind = "cd-r", IFileSystem& files = PosixFiles())
        : JobBench(newKind, 0, files) {
        ui.data.bVerify = ui.audio.bVerify = ui.image.bVerify = true;
        host.onSuccess = [this](const std::u16string& what) { ui.ShowMessage(what); };
        ui.onStatus = [this](JobKind job, const std::u16string& text) {
            if (text == u"Verifying...") {
                ++verifies;
                commandsBefore = job == JobKind::Verify ? commandsBefore : commands;
                if (damage) {
                    damage();
                }
            }
        };
    }
    // Whatever a test does last, it only reads.
    ~VerifyBench() {
        for (const uint8_t opcode :
             {mmc::kWrite10, mmc::kCloseTrackSession, mmc::kBlank, mmc::kFormatUnit,
              mmc::kSynchronizeCache, mmc::kReserveTrack, mmc::kSendCueSheet}) {
            EXPECT_TRUE(verifies == 0 || SentSince(opcode) == 0) << int{opcode};
        }
    }
    JobEnd VerifyDisc() {
        commandsBefore = commands;
        return RunVerify();
    }
    void Flip(const std::string& file, uint64_t byte) const {
        std::fstream stream(disc + "/" + file, std::ios::binary | std::ios::in | std::ios::out);
        stream.seekg(static_cast<std::streamoff>(byte));
        const int found = stream.get();
        stream.seekp(static_cast<std::streamoff>(byte));
        stream.put(static_cast<char>(found ^ 0x10));
    }
    // The disc in the drive has had these defects from the beginning.
    void Spoil(const std::string& rules) {
        WriteFileBytes(disc + "/defects.txt", Bytes(rules.begin(), rules.end()));
        ASSERT_TRUE(drive.Insert(disc));
    }
    int SentSince(uint8_t opcode) { return commands[opcode] - commandsBefore[opcode]; }
    std::u16string Verdict() const {
        return ui.Texts().empty() ? std::u16string() : ui.Texts().back();
    }

    std::function<void()> damage;
    int verifies = 0;
    std::map<uint8_t, int> commandsBefore; // the reading
};

constexpr const char16_t* kGood = u"Disc written: ";

TEST(Verify, AGoodDiscIsToldAndOnlyRead) {
    for (const char* kind : {"cd-r", "cd-rw", "dvd-r", "dvd-rw", "dvd-rw-ow", "dvd-ram", "dvd+r",
                             "dvd+rw", "bd-r", "bd-re", "dvd+r-dl"}) {
        SCOPED_TRACE(kind);
        VerifyBench bench(kind);
        // The sources are gone by then: nobody may look at them.
        bench.damage = [&] { fs::remove_all(bench.Source()); };
        for (const char* name : {"first", "second"}) {
            bench.AddFile(std::string(name) + "/a", Payload(3'000'001, 1));
            bench.AddFile(std::string(name) + "/deep/b", Payload(5, 2));
            bench.AddFile(std::string(name) + "/empty", {});
            bench.host.queue = {ToWide((bench.Source() / name).string())};
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            EXPECT_EQ(ToNative(bench.Verdict()),
                      "Disc written: Test disc, 3 files, 2.86 Mb, verified");
            EXPECT_EQ(bench.ui.Progress(JobKind::Data), 100);
            EXPECT_EQ(bench.ui.DiskTypes().back(), kNothingAtStake) << "a cancel costs no disc";
            EXPECT_GT(bench.SentSince(mmc::kRead10), 0);
            EXPECT_TRUE(bench.WasEjected());
            bench.Reload();
        }
        EXPECT_EQ(bench.verifies, 2);
    }
}

TEST(Verify, EveryFlippedBitOutsidePaddingIsNamed) {
    const std::string longName(240, 'n'); // its Rock Ridge entries take a continuation area
    const Bytes contents = Payload(70'001, 7);
    VerifyBench bench;
    const auto run = [&](std::optional<uint64_t> flipped) {
        const std::u16string file = bench.AddFile("folder/" + longName, contents);
        bench.host.queue = {ToWide((bench.Source() / "folder").string())};
        bench.InsertNew("cd-r");
        if (flipped) {
            bench.Spoil(Format("%llu: flip=%llu", static_cast<unsigned long long>(*flipped / 2048),
                               static_cast<unsigned long long>(*flipped % 2048 * 8 + 4)));
        }
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        return file;
    };
    const std::u16string file = run({});
    const Bytes track = bench.Track();
    const uint64_t descriptor = 16 * 2048;
    const auto at = [&](uint64_t offset) { return uint64_t{LoadLe32(&track[offset])} * 2048; };
    const auto find = [&](std::string_view text, uint64_t from) {
        const auto found = std::search(track.begin() + static_cast<std::ptrdiff_t>(from),
                                       track.end(), text.begin(), text.end());
        return static_cast<uint64_t>(found - track.begin());
    };
    const uint64_t name = find("FOLDER", at(descriptor + 158));
    const uint64_t area = find(longName.substr(0, 120), at(descriptor + 158));
    ASSERT_LT(area, track.size()) << "no record has room for that many";
    const uint64_t ce = find("CE\x1c\x01", at(descriptor + 158));
    ASSERT_LT(ce, track.size());
    const auto begin = static_cast<uint64_t>(
        std::search(track.begin(), track.end(), contents.begin(), contents.end()) - track.begin());
    ASSERT_LT(begin, track.size());
    const struct {
        const char* what;
        uint64_t byte;
        std::u16string named; // nothing: padding
    } places[] = {
        {"volume title", descriptor + 40, u"Primary Volume Descriptor"},
        {"last byte of the descriptor", descriptor + 2047, u"Primary Volume Descriptor"},
        {"Joliet descriptor", descriptor + 2048 + 40, u"Joliet Volume Descriptor"},
        {"path table", at(descriptor + 140), u"ath table"},
        {"root directory", at(descriptor + 158), u"Directory tree"},
        {"name", name, u"Directory tree"},
        {"continuation area", area, u"Directory tree"},
        {"first continuation area", at(ce + 4) + LoadLe32(&track[ce + 12]), u"Extension record"},
        {"first byte of the file", begin, file},
        {"inside the file", begin + 35'000, file},
        {"last byte of the file", begin + 70'000, file},
        {"system area", 100, u""},
        {"behind the file", begin + 70'001, u""},
        {"end of the track", track.size() - 1, u""},
    };
    for (const auto& place : places) {
        SCOPED_TRACE(place.what);
        run(place.byte);
        EXPECT_EQ(bench.Verdict().starts_with(kGood), place.named.empty());
        EXPECT_NE(bench.Verdict().find(place.named), std::u16string::npos)
            << ToNative(bench.Verdict());
        if (!place.named.empty()) {
            EXPECT_NE(bench.Verdict().find(u": differs (block"), std::u16string::npos);
            EXPECT_EQ(bench.ui.Boxes().back().icon, BoxIcon::Stop);
        }
    }
}

// An old file is not what this job answers for; what leads to the new ones is.
TEST(Verify, AnAddedSessionAnswersForItself) {
    for (const char* kind : {"cd-r", "dvd+rw", "bd-re", "dvd-rw-ow", "dvd-ram"}) {
        SCOPED_TRACE(kind);
        VerifyBench bench(kind);
        const Bytes old = Payload(50'000, 1);
        bench.host.queue = {bench.AddFile("old", old)};
        bench.RunData();
        const bool isCd = std::string(kind) == "cd-r";
        const Bytes track = bench.Track();
        const auto oldAt = static_cast<uint64_t>(
            std::search(track.begin(), track.end(), old.begin(), old.end()) - track.begin());
        for (const bool descriptor : {false, true}) {
            bench.Reload();
            bench.host.queue = {bench.AddFile(descriptor ? "b" : "a", Payload(50'000, 2))};
            bench.damage = [&] {
                bench.Flip("track-01.iso", descriptor ? 16 * 2048 + 81 : oldAt + 49'000);
            };
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            const bool isNoticed = descriptor && !isCd;
            EXPECT_EQ(bench.Verdict().starts_with(kGood), !isNoticed) << ToNative(bench.Verdict());
            EXPECT_EQ(bench.Verdict().find(u"Volume descriptors: differs (blocks 16 to 31)") !=
                          std::u16string::npos,
                      isNoticed);
            if (isNoticed) {
                bench.Flip("track-01.iso", 16 * 2048 + 81);
            }
        }
    }
}

// Defects of one file, some blocks behind its beginning; the files in front and behind are read all
// the same.
TEST(Verify, DefectsAreNamedOnceAndTheRestIsRead) {
    const Bytes contents = Payload(400'000, 3);
    for (const char* kind : {"cd-r", "dvd+rw"}) {
        SCOPED_TRACE(kind);
        VerifyBench bench(kind);
        const auto run = [&](const std::string& rules) {
            bench.host.queue.clear();
            for (const char* name : {"a", "b", "c"}) {
                bench.host.queue.push_back(bench.AddFile(name, contents));
            }
            bench.InsertNew(kind);
            bench.Spoil(rules);
            const std::u16string file = bench.host.queue[1];
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            return file;
        };
        const std::u16string file = run("# none");
        const int reads = bench.SentSince(mmc::kRead10);
        const Bytes track = bench.Track();
        const auto begin = static_cast<unsigned>(
            (std::search(track.begin(), track.end(), contents.begin(), contents.end()) -
             track.begin()) /
                2048 +
            196);
        const unsigned bad = begin + 10;
        const std::u16string differs =
            FormatWide(": differs (blocks %u to %u)", begin, begin + 195);
        const std::u16string unreadable = FormatWide(": cannot be read (block %u)", bad);
        const struct {
            std::string rules;
            std::u16string told; // nothing: the disc is good
            int moreReads;       // at most
        } cases[] = {
            {Format("%u-%u: unreadable", bad, bad + 100), unreadable, 35},
            {Format("%u: lost", bad), differs, 0},
            {Format("%u: flip=16383", bad), differs, 0},
            {Format("%u: unreadable@1", bad), u"", 35},
            {Format("%u: unreadable@2\n%u: flip=0@2", bad, bad), u"", 0},
            {Format("%u: slow=2000", bad), u"", 0},
            {Format("%u: slow=600000", bad), unreadable, 35},
        };
        for (const auto& test : cases) {
            SCOPED_TRACE(test.rules);
            run(test.rules);
            EXPECT_EQ(bench.Verdict().starts_with(kGood), test.told.empty());
            EXPECT_TRUE(test.told.empty() ||
                        bench.Verdict() ==
                            u"The disk is not good. This is not on it as it was written:\n\n" +
                                file + test.told +
                                u"\n\nYour own files are as they were. Please write them again, on "
                                u"another disk.")
                << ToNative(bench.Verdict());
            EXPECT_LE(bench.SentSince(mmc::kRead10), reads + test.moreReads)
                << "one damaged block is enough to tell";
        }
    }
}

TEST(Verify, WhatStopsItIsTold) {
    const struct {
        const char* name;
        std::function<void(VerifyBench&)> damage;
        std::u16string verdict;
    } cases[] = {
        {"cancelled", [](VerifyBench& bench) { bench.ui.Cancel(JobKind::Data); },
         u"The disk has been written. You cancelled its verification after 0%."},
        {"taken out", [](VerifyBench& bench) { bench.drive.Remove(); },
         u"The disk has been written. Its verification broke off after 0%. There is no disk in "
         u"the drive any more."},
        {"never shown",
         [](VerifyBench& bench) {
             bench.onCommand = [](const PortRequest& request) {
                 // A drive that also puts the disc back in by itself.
                 return request.cdb[0] == mmc::kRead10 ? std::optional(FailWith(5, 0x21, 0))
                        : request.cdb[0] == mmc::kStartStopUnit ? std::optional(InjectedAnswer())
                                                                : std::nullopt;
             };
         },
         u"The disk has been written. It could not be verified. The drive cannot read what it has "
         u"written on this kind of disk."},
        {"shown after a reload",
         [](VerifyBench& bench) {
             bench.onCommand = [&bench](const PortRequest& request) {
                 const bool reloaded = bench.SentSince(mmc::kStartStopUnit) >= 2;
                 return request.cdb[0] == mmc::kRead10 && !reloaded
                            ? std::optional(FailWith(5, 0x21, 0))
                        : request.cdb[0] == mmc::kStartStopUnit && bench.ejects == 0 && !reloaded
                            ? std::optional(InjectedAnswer())
                            : std::nullopt;
             };
         },
         u"Disc written: Test disc, 1 file, 292.97 kb, verified"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        VerifyBench bench;
        bench.host.queue = {bench.AddFile("a", Payload(300'000, 1))};
        bench.damage = [&] { test.damage(bench); };
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(ToNative(bench.Verdict().substr(0, 60)), ToNative(test.verdict.substr(0, 60)));
    }
}

TEST(Verify, EachCopyIsComparedBeforeTheNextIsAskedFor) {
    // An image on a CD leaves out what is less than a sector at the end.
    const struct {
        const char *kind, *file;
        uint64_t flipped;
        const char16_t *bad, *contents;
    } cases[] = {
        {"cd-r", "track-01.iso", 4'999'167,
         u"\nThe image from byte 4194304 to 4999167: differs (blocks 2048 to 2440)\n",
         u"image.iso, 4.77 Mb"},
        {"dvd+rw", "track-01.iso", 5'000'099,
         u"\nThe image from byte 4194304 to 5000099: differs (blocks 2048 to 2441)\n",
         u"image.iso, 4.77 Mb"},
        {"cd-r", "disc.bin", 800'000, u"\nTrack 1: differs (blocks 2 to 397)\n",
         u"1 track, 0:05 (min:sec)"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(ToNative(test.contents));
        VerifyBench bench(test.kind);
        const bool isAudio = std::u16string(test.contents).starts_with(u"1 track");
        const std::u16string path = bench.AddFile("image.iso", Payload(5'000'100, 4));
        bench.host.queue = {bench.AddWav("a.wav", Payload(400 * 2352, 4))};
        bench.ui.image.nCopies = bench.ui.audio.nCopies = 2;
        bench.ui.onBox = [&](const FakeUi::Box&) {
            bench.InsertNew(test.kind);
            bench.damage = {};
            return true;
        };
        bench.damage = [&] { bench.Flip(test.file, test.flipped); };
        EXPECT_EQ(isAudio ? bench.RunAudio() : bench.RunImage(path), JobEnd::Exit);
        const Texts texts = bench.ui.Texts();
        ASSERT_EQ(texts.size(), 3U);
        EXPECT_NE(texts[0].find(test.bad), std::u16string::npos) << ToNative(texts[0]);
        EXPECT_EQ(texts[1], NextCopyText(1, 2));
        EXPECT_EQ(texts[2], kGood + std::u16string(test.contents) + u", verified");
        EXPECT_EQ(bench.verifies, 2);
    }
}

// A drive that reads audio `offset` samples off, with silence around it, and no block outside of
// the tracks. Without an offset it has no command for that.
void ReadOff(VerifyBench& bench, std::optional<int64_t> offset) {
    bench.onCommand = [&bench,
                       offset](const PortRequest& request) -> std::optional<InjectedAnswer> {
        if (!offset && request.cdb[0] == mmc::kStartStopUnit) {
            return InjectedAnswer(); // the disc stays in
        }
        if (request.cdb[0] != mmc::kReadCd) {
            return std::nullopt;
        }
        const Bytes disc = bench.AudioTracks();
        const auto end = static_cast<int64_t>(disc.size());
        const int64_t begin = int64_t{2352} * static_cast<int32_t>(LoadBe32(&request.cdb[2]));
        if (!offset || begin < 0 || begin + request.length > end) {
            return FailWith(kKeyIllegalRequest, offset ? 0x21 : 0x20, 0);
        }
        for (int64_t i = 0; i < request.length; ++i) {
            const int64_t from = begin + i - *offset * 4;
            static_cast<uint8_t*>(request.data)[i] =
                from < 0 || from >= end ? uint8_t{0} : disc[static_cast<size_t>(from)];
        }
        return InjectedAnswer();
    };
}

TEST(Verify, AnAudioDiscIsComparedWhateverTheOffsetOfTheDrive) {
    const struct {
        const char* name;
        std::optional<int64_t> offset; // samples
        int64_t flipped;
        std::u16string verdict;
        size_t period = 0; // bytes after which the sound is the same again; 0: never
    } cases[] = {
        {"none", 0, -1, u"3 tracks, 0:16 (min:sec), verified"},
        {"behind", 667, -1, u", verified. A few"},
        {"before", -1176, -1, u", verified. A few"},
        {"too far", 1177, -1, u"Track 1: differs (blocks 2 to"},
        {"flipped", 6, 1'000'000, u"\n\nTrack 2: differs (blocks 400 to 799)"},
        {"flipped where the sound begins", 667, 30'005,
         u"\n\nTrack 1: differs (blocks 2 to 399)\n\n"},
        {"flipped at the edge", 667, 0, u"\n\nTrack 1: differs (blocks 0 to 1)\n\n"},
        {"flipped at the edge out of reach", -667, 0, u", verified. A few"},
        {"a tone", 667, -1, u", verified. A few", 400},
        {"silence", 667, -1, u"3 tracks", 1},
        {"no command for it", {}, -1, u"could not be verified. The drive cannot"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        VerifyBench bench;
        for (uint32_t i = 0; i < 3; ++i) {
            Bytes pcm = Payload(400 * 2352, i);
            for (size_t at = 0; test.period > 0 && at < pcm.size(); ++at) {
                pcm[at] = static_cast<uint8_t>(at % test.period);
            }
            std::fill_n(pcm.begin(), 30'000, uint8_t{0}); // the first sound comes late
            bench.host.queue.push_back(bench.AddWav(Format("%u.wav", i), pcm));
        }
        bench.damage = [&] {
            if (test.flipped >= 0) {
                bench.Flip("disc.bin", static_cast<uint64_t>(test.flipped));
            }
            ReadOff(bench, test.offset);
        };
        EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
        EXPECT_NE(bench.Verdict().find(test.verdict), std::u16string::npos)
            << ToNative(bench.Verdict());
    }
}

TEST(Verify, AudioOf99Tracks) {
    VerifyBench bench;
    for (int i = 0; i < 99; ++i) {
        bench.host.queue.push_back(
            bench.AddWav(Format("%02d.wav", i), Payload(300 * 2352, static_cast<uint32_t>(i))));
    }
    bench.damage = [&] { bench.Flip("disc.bin", size_t{98} * 300 * 2352 + 5); };
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_NE(
        bench.Verdict().find(u"written:\n\nTrack 99: differs (blocks 29400 to 29697)\n\nYour"),
        std::u16string::npos)
        << ToNative(bench.Verdict());
}

// A disc that is known to be bad, or is none of what was wanted, is not looked at.
TEST(Verify, OnlyAWholeRecordingIsReadBack) {
    const std::function<void(VerifyBench&)> faults[] = {
        [](VerifyBench& bench) { bench.ui.data.bVerify = false; },
        [](VerifyBench& bench) {
            bench.ui.onProgress = [&bench](JobKind kind, int) { bench.ui.Cancel(kind); };
        },
        [](VerifyBench& bench) {
            bench.FailCommand(mmc::kCloseTrackSession, 1, FailWith(3, 0x0C, 0));
        },
        [](VerifyBench& bench) {
            bench.FailCommand(mmc::kSynchronizeCache, 1, FailWith(3, 0x0C, 0));
        },
    };
    for (const auto& fault : faults) {
        VerifyBench bench;
        bench.host.queue = {bench.AddFile("a", Payload(1'000'000, 1))};
        fault(bench);
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.verifies, 0);
        EXPECT_EQ(bench.Verdict().starts_with(kGood), !bench.ui.data.bVerify);
        EXPECT_EQ(bench.Verdict().find(u"verified"), std::u16string::npos);
    }
}

// The job that reads a disc of whatever origin, here with two sessions.
TEST(VerifyJob, NamesWhatCannotBeReadAndWritesNothing) {
    for (const char* kind : {"cd-r", "dvd-r", "dvd+r", "dvd+rw", "dvd-ram", "bd-r"}) {
        SCOPED_TRACE(kind);
        VerifyBench bench(kind);
        bench.ui.data.bVerify = false;
        const std::string far = "far/1/2/3/4/5/6/7/8/9"; // is relocated
        const Bytes old = Payload(400'001, 1);
        const Bytes fresh = Payload(100'000, 2);
        const auto tell = std::exchange(bench.host.onSuccess, [](const std::u16string&) {});
        bench.AddFile("old", old);
        bench.Burn({"old"});
        bench.AddFile("a/b/fresh", fresh);
        bench.AddFile("a/empty", {});
        bench.AddFile(far, Payload(5'000, 3));
        bench.Burn({"a", "far"});
        bench.host.onSuccess = tell;
        std::vector<CAspiCD::RecordedTrack> tracks;
        ASSERT_TRUE(bench.Drive().ReadTracks(&tracks));
        const uint32_t second = tracks.back().begin; // 0 where the disc is written in place
        const Bytes track = bench.Track(static_cast<int>(tracks.size()));
        const auto find = [](const Bytes& bytes, const Bytes& contents) {
            const auto found =
                std::search(bytes.begin(), bytes.end(), contents.begin(), contents.end());
            return static_cast<uint32_t>((found - bytes.begin()) / 2048);
        };
        const uint32_t oldAt = find(bench.Track(), old);
        const uint32_t freshAt = second + find(track, fresh);
        const uint32_t root = LoadLe32(&track[16 * 2048 + 158]);
        const struct {
            std::string rules;
            std::vector<std::u16string> lines; // none: the disc is good
        } cases[] = {
            {"", {}},
            {Format("%u: flip=1", oldAt), {}}, // what nobody has kept a hash of
            {Format("%u-%u: unreadable\n%u: unreadable", oldAt + 3, oldAt + 9, freshAt),
             {FormatWide("/old: cannot be read (block %u)", oldAt + 3),
              FormatWide("/a/b/fresh: cannot be read (block %u)", freshAt)}},
            {Format("%u: unreadable", root),
             {u"Folder /: nobody knows what is in it",
              FormatWide("Folder /: cannot be read (block %u)", root)}},
            {Format("%u: unreadable", second + 17),
             {FormatWide("Outside of all files: cannot be read (block %u)", second + 17)}},
        };
        for (const auto& test : cases) {
            SCOPED_TRACE(test.rules);
            bench.Spoil(test.rules);
            EXPECT_EQ(bench.VerifyDisc(), JobEnd::Exit);
            EXPECT_EQ(bench.ui.Progress(JobKind::Verify), 100);
            std::u16string verdict = u"All of the disk can be read: 4 files, 493.17 kb.";
            if (!test.lines.empty()) {
                verdict = u"The disk is damaged. This cannot be read:\n";
                for (const std::u16string& line : test.lines) {
                    verdict += u"\n" + line;
                }
                verdict += u"\n\nPlease copy the other files to a safe place soon.";
            }
            EXPECT_EQ(ToNative(bench.Verdict()), ToNative(verdict));
        }
        EXPECT_TRUE(bench.drive.HasDisc());
    }
}

TEST(VerifyJob, ReadsSoundAndEndsWhenItIsTold) {
    VerifyBench bench;
    bench.ui.audio.bVerify = false;
    for (int i = 0; i < 3; ++i) {
        bench.host.queue.push_back(bench.AddWav(Format("%d.wav", i), Payload(400 * 2352, 1)));
    }
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    const struct {
        std::string rules;
        std::function<void()> meanwhile;
        std::u16string verdict;
    } cases[] = {
        {"", {}, u"All of the disk can be read: 3 tracks."},
        {"799: unreadable",
         {},
         u"The disk is damaged. This cannot be read:\n\nTrack 2: cannot be read (block 799)\n\n"
         u"Please copy the other files to a safe place soon."},
        {"", [&] { bench.drive.Remove(); },
         u"The disk has not been read to its end. Its verification broke off after 0%. There is no "
         u"disk in the drive any more."},
    };
    for (const auto& test : cases) {
        bench.Spoil(test.rules);
        bench.damage = test.meanwhile;
        EXPECT_EQ(bench.VerifyDisc(), JobEnd::Exit);
        EXPECT_EQ(ToNative(bench.Verdict()), ToNative(test.verdict));
    }
    const size_t told = bench.ui.Texts().size();
    for (const bool leaves : {false, true}) {
        bench.Spoil("");
        bench.damage = [&] {
            bench.host.leaving = leaves;
            bench.ui.Cancel(JobKind::Verify);
        };
        EXPECT_EQ(bench.VerifyDisc(), JobEnd::Exit);
    }
    EXPECT_EQ(bench.ui.Texts().size(), told) << "what the user does need not be told";
    bench.host.leaving = false;
    bench.ui.onBox = [&](const FakeUi::Box&) { return false; };
    bench.InsertNew("dvd+rw");
    EXPECT_EQ(bench.VerifyDisc(), JobEnd::Idle) << "there is nothing on it";
    EXPECT_TRUE(bench.Verdict().starts_with(u"There is nothing on the disk"));
}

} // namespace
} // namespace larkspin
