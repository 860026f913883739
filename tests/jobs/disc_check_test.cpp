// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// How the jobs come to the right disc: what they ask before they write, and what comes of the
// answers.
#include "faulty_files.h"
#include "job_bench.h"

#include <set>

namespace larkspin {
namespace {

constexpr const char16_t* kNotSuitable =
    u"The disk is not suitable for writing. It is finalized or doesn't have enough free space and "
    u"cannot be erased.\n\nPlease insert another disk and press \"OK\".";
constexpr const char16_t* kTooMuch = u"Too much data for conventional CD-R/RW.\n\n"
                                     u"Please insert a writable DVD disk and press \"OK\".";
constexpr const char16_t* kCapacity =
    u"Disk capacity is not enough to write so much data. You should probably try writing to a "
    u"DVD.\n\nPlease insert another disk and press \"OK\".";
constexpr const char16_t* kEraseForData =
    u"The disk in the drive is not blank and doesn't have enough space for data.\n\n"
    u"Should Larkspin erase it for you?\n\n"
    u"If you say \"Yes\" all data on this disk will be LOST.";
constexpr const char16_t* kTooLarge = u"The size of selected files exceeds disk capacity by ";
constexpr const char16_t* kNotForAudio =
    u"The disk is not suitable for creating audio disk. It's not empty and cannot be erased.\n\n"
    u"Please insert another disk and press \"OK\".";
constexpr const char16_t* kNotADvd =
    u"Creating DVD-Audio disks is not yet supported. Only conventional CD-Rs and CD-RWs can be "
    u"written as audio.\n\nPlease insert another disk and press \"OK\".";
constexpr const char16_t* kNotOnBluRay =
    u"Audio cannot be written to a Blu-ray disk. Only conventional CD-Rs and CD-RWs can be written "
    u"as audio.\n\nPlease insert another disk and press \"OK\".";
constexpr const char16_t* kRandomBd =
    u"The disk is a BD-R in random recording mode, which Larkspin does not write.\n\n"
    u"Please insert another disk and press \"OK\".";
constexpr const char16_t* kNotForImage =
    u"The disk is not suitable for image burning. It's not empty and cannot be erased.\n\n"
    u"Please insert another disk and press \"OK\".";
constexpr const char16_t* kImageTooLarge =
    u"The image size exceeds disk capacity by 2Mb and cannot be written.\n\n"
    u"Please insert another disk and press \"OK\".";
constexpr const char16_t* kCannotErase =
    u"Cannot erase this disk in this drive. Please insert RW-disk to erase and press \"OK\".";

TEST(DiscCheck, IsNotBegunWithoutParametersAndADrive) {
    const struct {
        JobKind job;
        bool cancelled;
        bool exclusive; // the queue
        JobEnd end;
    } cases[] = {
        {JobKind::Data, true, false, JobEnd::Idle},  {JobKind::Data, true, true, JobEnd::Exit},
        {JobKind::Data, false, false, JobEnd::Idle}, {JobKind::Audio, true, false, JobEnd::Idle},
        {JobKind::Audio, true, true, JobEnd::Exit},  {JobKind::Audio, false, false, JobEnd::Idle},
        {JobKind::Image, true, false, JobEnd::Exit}, {JobKind::Image, false, false, JobEnd::Exit},
        {JobKind::Erase, true, false, JobEnd::Idle}, {JobKind::Erase, false, false, JobEnd::Idle},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(
            Format("%d, %d, %d", static_cast<int>(test.job), test.cancelled, test.exclusive));
        JobBench bench("cd-rw");
        bench.host.exclusive = test.exclusive;
        if (test.cancelled) {
            bench.ui.data.bCancelled = bench.ui.audio.bCancelled = bench.ui.image.bCancelled = true;
            bench.ui.erase.mode = EraseMode::Cancelled;
        }
        const std::u16string path = bench.AddWav("a.wav", Payload(320 * 2352, 1));
        EXPECT_EQ(bench.RunOne(test.job, path, test.cancelled ? 0 : 5), test.end);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_EQ(bench.host.clears, test.exclusive ? 1 : 0)
            << "the queue is kept, unless a feeding program has given it";
        EXPECT_FALSE(bench.WasEjected());
    }
}

// The virtual drive, in the hands of somebody else for a number of attempts.
class ContestedPort final : public IScsiPort {
  public:
    ContestedPort(VirtualDrive& drive, int refusals) : m_drive(drive), m_nRefusals(refusals) {}

    bool IsHeld() const { return m_bHeld; }

    bool IsOpticalDrive(int letter) override { return m_drive.IsOpticalDrive(letter); }
    std::u16string DisplayName(int letter) override { return m_drive.DisplayName(letter); }
    std::unique_ptr<IPortDevice> Open(int letter, bool writeAccess) override {
        return m_drive.Open(letter, writeAccess);
    }
    LockResult LockAndDismount(int) override {
        m_bHeld = m_nRefusals == 0;
        if (m_bHeld) {
            return {};
        }
        --m_nRefusals;
        return {LockResult::State::Refused, u"/dev/sr0 is in use by other (4711)."};
    }
    void Unlock(int) override { m_bHeld = false; }

  private:
    VirtualDrive& m_drive;
    int m_nRefusals;
    bool m_bHeld = false;
};

TEST(DiscCheck, NothingIsWrittenOnAnyRoadUnlessTheDriveIsHeld) {
    const struct {
        JobKind job;
        const char* kind;
        bool suitable = true; // the disc
    } cases[] = {
        {JobKind::Data, "cd-r"},          {JobKind::Data, "dvd+r"},
        {JobKind::Audio, "cd-r"},         {JobKind::Image, "cd-r"},
        {JobKind::Image, "dvd+rw"},       {JobKind::Erase, "cd-rw"},
        {JobKind::Erase, "dvd+rw"},       {JobKind::Erase, "bd-re"},
        {JobKind::Audio, "dvd+r", false}, {JobKind::Erase, "cd-r", false},
    };
    const std::set<uint8_t> needHold = {
        mmc::kWrite10,           mmc::kFormatUnit,    mmc::kSendCueSheet, mmc::kSendOpcInformation,
        mmc::kCloseTrackSession, mmc::kStartStopUnit, mmc::kModeSelect10, mmc::kBlank};
    for (const auto& test : cases) {
        for (const bool giveUp : {false, true}) {
            SCOPED_TRACE(Format("%s, %d, %d", test.kind, static_cast<int>(test.job), giveUp));
            JobBench bench(test.kind);
            const int refusals = giveUp ? 1 : 2;
            ContestedPort port(bench.drive, refusals);
            ASSERT_EQ(bench.drives.ScanDrives(port, bench.clock, {}), DriveList::ScanResult::Found);
            bench.onCommand = [&](const PortRequest& request) -> std::optional<InjectedAnswer> {
                EXPECT_TRUE(port.IsHeld() || !needHold.contains(request.cdb[0]))
                    << int{request.cdb[0]};
                return std::nullopt;
            };
            int contested = 0;
            bench.ui.onBox = [&](const FakeUi::Box& box) {
                EXPECT_FALSE(port.IsHeld()) << "the user can't take the disc out";
                const bool isContest =
                    box.text.find(u"/dev/sr0 is in use by other (4711).") != std::u16string::npos;
                contested += isContest ? 1 : 0;
                return isContest && !giveUp;
            };
            bench.RunOne(test.job, bench.AddWav("a.wav", Payload(320 * 2352, 1)));
            EXPECT_EQ(contested, refusals);
            EXPECT_EQ(bench.WasEjected(), !giveUp && test.suitable);
            EXPECT_FALSE(port.IsHeld());
            EXPECT_TRUE(!giveUp || bench.host.clears == 0) << "the queue is kept";
            bench.drives.ReleaseDrives();
        }
    }
}

TEST(DiscCheck, ABdInRandomModeIsRefusedByName) {
    for (const JobKind job : {JobKind::Data, JobKind::Image}) {
        SCOPED_TRACE(static_cast<int>(job));
        JobBench bench("bd-r");
        bench.AnswerCommand(mmc::kGetConfiguration, {0, 0, 0, 8, 0, 0, 0, 0x42});
        bench.ui.onBox = [](const FakeUi::Box&) { return false; };
        bench.RunOne(job, bench.AddFile("image", Payload(400 * 2048, 1)));
        EXPECT_EQ(bench.ui.Texts(), Texts{kRandomBd});
        EXPECT_EQ(bench.Track(), Bytes());
    }
}

TEST(DiscCheck, PromptsUntilTheDiscIsRightOrTheUserGivesUp) {
    const struct {
        const char* name;
        JobKind job;
        const char* kind;
        uint32_t capacity; // 0: the usual one
        bool finalized;
        uint64_t sectors; // to be written, as far as the check knows
        const char16_t* text;
        const char* good; // the kind that will do; null: this disc, once it is erased
    } cases[] = {
        {"data for no CD", JobKind::Data, "cd-r", 0, false, 360'001, kTooMuch, "dvd+r"},
        {"data on a small CD", JobKind::Data, "cd-r", 1000, false, 1001, kCapacity, "cd-r"},
        {"data on a small DVD", JobKind::Data, "dvd+rw", 4096, false, 4096 + 511, kDataTooLargeText,
         "dvd+rw"},
        {"data on a closed CD-R", JobKind::Data, "cd-r", 0, true, 400, kNotSuitable, "cd-r"},
        {"data on a closed CD-RW", JobKind::Data, "cd-rw", 0, true, 400, kEraseForData, nullptr},
        {"data for no CD-RW", JobKind::Data, "cd-rw", 0, true, 360'001, kNotSuitable, "dvd+r"},
        {"data on a disc that nothing here writes", JobKind::Data, "dvd-r-dl", 0, false, 400,
         kNotSuitable, "dvd+r"},
        {"audio on a closed CD-R", JobKind::Audio, "cd-r", 0, true, 400, kNotForAudio, "cd-r"},
        {"audio on a closed CD-RW", JobKind::Audio, "cd-rw", 0, true, 400, kNotBlankText, nullptr},
        {"audio on a DVD", JobKind::Audio, "dvd-r", 0, false, 400, kNotADvd, "cd-r"},
        {"audio on a Blu-ray disc", JobKind::Audio, "bd-re", 0, false, 400, kNotOnBluRay, "cd-r"},
        {"image on a closed CD-R", JobKind::Image, "cd-r", 0, true, 400, kNotForImage, "cd-r"},
        {"image on a closed CD-RW", JobKind::Image, "cd-rw", 0, true, 400, kNotBlankText, nullptr},
        {"image on a small CD", JobKind::Image, "cd-r", 1000, false, 2025, kImageTooLarge, "cd-r"},
        {"image on a small DVD", JobKind::Image, "dvd+rw", 4096, false, 5136, kImageTooLarge,
         "dvd+rw"},
        {"erasing a CD-R", JobKind::Erase, "cd-r", 0, false, 400, kCannotErase, "cd-rw"},
    };
    const Bytes pcm = Payload(320 * 2352, 1);
    for (const auto& test : cases) {
        for (const bool givesUp : {true, false}) {
            SCOPED_TRACE(Format("%s, %d", test.name, givesUp));
            FaultyFiles files;
            JobBench bench(test.kind, test.capacity, files);
            if (test.finalized) {
                bench.Finalize();
            }
            const Bytes before = bench.Track();
            const bool isImage = test.job == JobKind::Image;
            const Bytes image = Payload(isImage ? test.sectors * 2048 : 0, 2);
            const std::u16string path =
                isImage ? bench.AddFile("image", image) : bench.AddWav("a.wav", pcm);
            if (!isImage) {
                files.size = test.sectors * 2048;
            }
            const int asks = test.good == nullptr ? 1 : 3;
            int asked = 0;
            bench.ui.onBox = [&](const FakeUi::Box& box) {
                if (box.buttons == BoxButtons::Ok) { // told, not asked
                    return true;
                }
                EXPECT_EQ(box.text, test.text);
                EXPECT_EQ(box.buttons,
                          test.good == nullptr ? BoxButtons::YesNoGuarded : BoxButtons::OkCancel);
                EXPECT_EQ(box.title, u"Larkspin 1.4");
                EXPECT_EQ(box.icon, BoxIcon::None);
                // The same disc brings the same box.
                if (++asked == asks && !givesUp && test.good != nullptr) {
                    bench.InsertNew(test.good);
                    files.size = 0; // what is there now is as good, and sooner written
                }
                return asked < asks || !givesUp;
            };
            const bool staysIdle = test.job == JobKind::Erase && givesUp;
            EXPECT_EQ(bench.RunOne(test.job, path), staysIdle ? JobEnd::Idle : JobEnd::Exit);
            EXPECT_EQ(asked, asks);
            EXPECT_EQ(bench.WasEjected(), !givesUp);
            if (givesUp) {
                EXPECT_EQ(bench.host.clears, 0);
                EXPECT_TRUE(bench.Track() == before);
            } else if (test.job == JobKind::Data) {
                EXPECT_TRUE(Holds(bench.Track(), ReadFileBytes(ToNative(path))));
            } else if (test.job == JobKind::Audio) {
                EXPECT_TRUE(bench.AudioTracks() == pcm);
            } else if (isImage) {
                EXPECT_TRUE(bench.Track() == image);
            }
        }
    }
}

// What there is room for shows once the volume is laid out. The queue is still there then, and OK
// looks at the disc again.
TEST(DiscCheck, AVolumeThatDoesNotFitBesideTheOldOneCostsNothing) {
    const struct {
        const char* kind;
        uint32_t capacity;
        bool isErased; // offered: all of the disc would do
    } cases[] = {
        {"cd-r", 20'000, false}, {"cd-rw", 20'000, true},   {"dvd-r", 20'000, false},
        {"dvd+r", 9000, false},  {"dvd-rw", 20'000, true},  {"dvd+rw", 9000, true},
        {"dvd-ram", 9000, true}, {"dvd-rw-ow", 9000, true}, {"bd-r", 9000, false},
        {"bd-re", 9472, true},
    };
    const Bytes old = Payload(1'000'000, 1);
    const Bytes large = Payload(8600 * 2048, 2);
    for (const auto& test : cases) {
        for (const bool givesUp : {true, false}) {
            SCOPED_TRACE(Format("%s, %d", test.kind, givesUp));
            JobBench bench(test.kind, test.capacity);
            bench.AddFile("old", old);
            ASSERT_NO_FATAL_FAILURE(bench.Burn({"old"}));
            const std::string first = bench.disc;
            bench.host.queue = {bench.AddFile("large", large)};
            bench.host.clears = bench.ejects = 0;
            bench.ui.onBox = [&](const FakeUi::Box& box) {
                EXPECT_TRUE(test.isErased ? box.text == kEraseForData
                                          : box.text.starts_with(kTooLarge))
                    << ToNative(box.text);
                EXPECT_FALSE(bench.host.queue.empty());
                EXPECT_EQ(bench.ui.Starts(JobKind::Data), 2) << "the first one wrote the old file";
                EXPECT_TRUE(bench.ui.IsTidy()) << "no window in the way of the box";
                if (!givesUp && !test.isErased) {
                    bench.InsertNew(test.kind);
                }
                return !givesUp;
            };
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            EXPECT_EQ(bench.ui.Boxes().size(), 1U);
            EXPECT_EQ(bench.host.clears, givesUp ? 0 : 1);
            EXPECT_EQ(bench.WasEjected(), !givesUp);
            EXPECT_EQ(Holds(bench.Track(), large), !givesUp);
            const bool isKept = givesUp || !test.isErased;
            EXPECT_EQ(Holds(ReadFileBytes(first + "/track-01.iso"), old), isKept);
        }
    }
}

// A drive that can't be asked yet, or at all, must not cost the volume that it holds.
TEST(DiscCheck, WhatCouldNotBeLookedAtIsNotWrittenOver) {
    InjectedAnswer timeOut;
    timeOut.completion.error = PortError::TimedOut;
    const InjectedAnswer reset = FailWith(6, 0x29, 0);
    const InjectedAnswer spinsUp = FailWith(2, 0x04, 1);
    const InjectedAnswer stopped = FailWith(2, 0x04, 2);
    const InjectedAnswer unreadable = FailWith(3, 0x11, 5);
    const InjectedAnswer lost = FailWith(4, 0x44, 0);
    using Answers = std::vector<InjectedAnswer>;
    const struct {
        const char* name;
        uint8_t opcode;  // from the first one on the commands are answered so, one after another
        Answers answers; // the last one for ever, if so
        bool forEver;
    } cases[] = {
        {"reset by a time-out", mmc::kRead10, {timeOut, reset, spinsUp, spinsUp}, false},
        {"time-outs", mmc::kRead10, {timeOut, reset, timeOut, reset}, false},
        {"spinning up", mmc::kReadDiscInformation, {spinsUp, spinsUp}, false},
        {"spinning up at the read", mmc::kRead10, {spinsUp, spinsUp}, false},
        {"asleep", mmc::kTestUnitReady, {stopped, spinsUp}, false},
        {"unreadable", mmc::kRead10, {unreadable}, true},
        {"silent", mmc::kRead10, {timeOut}, true},
        {"broken", mmc::kRead10, {lost}, true},
    };
    const Bytes old = Payload(100'000, 1);
    const Bytes fresh = Payload(300'000, 2);
    for (const char* kind : {"dvd+rw", "bd-re", "dvd-ram", "dvd-rw-ow", "dvd+r", "bd-r"}) {
        JobBench bench(kind);
        bench.AddFile("old", old);
        ASSERT_NO_FATAL_FAILURE(bench.Burn({"old"}));
        const std::u16string path = bench.AddFile("new", fresh);
        for (const auto& test : cases) {
            SCOPED_TRACE(Format("%s, %s", kind, test.name));
            const Bytes before = bench.Track();
            bench.host.queue = {path};
            const size_t boxes = bench.ui.Boxes().size();
            size_t next = 0;
            bench.onCommand = [&](const PortRequest& request) -> std::optional<InjectedAnswer> {
                const bool isMeant = request.cdb[0] == test.opcode &&
                                     (request.cdb[0] != mmc::kRead10 || request.cdb[5] == 16);
                if (test.forEver) {
                    return isMeant ? std::optional(test.answers.front()) : std::nullopt;
                }
                return (next > 0 || isMeant) && next < test.answers.size()
                           ? std::optional(test.answers[next++])
                           : std::nullopt;
            };
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            bench.onCommand = nullptr;
            ASSERT_TRUE(bench.drive.Insert(bench.disc));
            if (test.forEver) {
                ASSERT_EQ(bench.ui.Boxes().size(), boxes + 1);
                EXPECT_TRUE(bench.ui.Texts().back().starts_with(
                    u"The drive cannot read what is on the disk."));
                EXPECT_FALSE(bench.host.queue.empty());
                EXPECT_TRUE(bench.Track() == before) << "untouched";
            } else {
                EXPECT_EQ(bench.ui.Boxes().size(), boxes);
                EXPECT_TRUE(Holds(bench.Track(), old));
            }
        }
    }
}

TEST(DiscCheck, SomethingElseOnADiscIsNotWrittenOverUnasked) {
    Bytes anchor(400 * 2048);
    anchor[256 * 2048] = 2; // the tag of an anchor, and its checksum
    anchor[256 * 2048 + 4] = 2;
    Bytes late(400 * 2048);
    late[31 * 2048 + 2047] = 1;
    const struct {
        const char* name;
        Bytes content;
        bool isSomething;
    } cases[] = {{"formatted", Bytes(400 * 2048), false},
                 {"a recorder's video", Payload(400 * 2048, 5), true},
                 {"an anchor alone", anchor, true},
                 {"one byte", late, true}};
    const Bytes fresh = Payload(100'000, 2);
    for (const char* kind : {"dvd+rw", "bd-re", "dvd-ram", "dvd-rw-ow", "dvd+r", "dvd-rw"}) {
        const bool isInPlace = kind != std::string("dvd+r") && kind != std::string("dvd-rw");
        for (const auto& test : cases) {
            for (const bool yes : {false, true}) {
                SCOPED_TRACE(Format("%s, %s, %d", kind, test.name, yes));
                JobBench bench(kind);
                bench.ui.onBox = [](const FakeUi::Box&) { return true; };
                ASSERT_EQ(bench.RunImage(bench.AddFile("image", test.content)), JobEnd::Exit);
                ASSERT_TRUE(bench.drive.Insert(bench.disc));
                bench.host.queue = {bench.AddFile("new", fresh)};
                const Bytes before = bench.Track();
                const size_t boxes = bench.ui.Boxes().size();
                bench.ui.onBox = [&](const FakeUi::Box&) { return yes && isInPlace; };
                EXPECT_EQ(bench.RunData(), JobEnd::Exit);
                if (isInPlace && !test.isSomething) {
                    EXPECT_EQ(bench.ui.Boxes().size(), boxes);
                    continue;
                }
                ASSERT_EQ(bench.ui.Boxes().size(), boxes + 1);
                if (kind == std::string("dvd+r")) {
                    EXPECT_TRUE(bench.ui.Texts().back().starts_with(
                        u"The disk holds something that files cannot be added to"));
                } else {
                    EXPECT_EQ(bench.ui.Texts().back(), kNotBlankText);
                }
                EXPECT_EQ(Holds(bench.Track(), fresh), yes && isInPlace);
                EXPECT_EQ(bench.Track() == before, !yes || !isInPlace);
            }
        }
    }
}

TEST(DiscCheck, ADiscThatSpinsUpIsWaitedForInEachJob) {
    for (const JobKind job : {JobKind::Data, JobKind::Audio, JobKind::Image, JobKind::Erase}) {
        for (const int seconds : {5, 3600}) {
            for (const bool cancels : {false, true}) {
                SCOPED_TRACE(Format("%d, %d, %d", static_cast<int>(job), seconds, cancels));
                JobBench bench("cd-rw");
                const std::u16string path = bench.AddWav("a.wav", Payload(320 * 2352, 1));
                const uint64_t ready = bench.clock.TickMs() + static_cast<uint64_t>(seconds) * 1000;
                bench.onCommand = [&](const PortRequest& request) -> std::optional<InjectedAnswer> {
                    const bool needsDisc = request.cdb[0] != mmc::kGetConfiguration;
                    return needsDisc && bench.clock.TickMs() < ready
                               ? std::optional(FailWith(2, 0x04, 1))
                               : std::nullopt;
                };
                bool isSaid = false;
                bench.ui.onStatus = [&](JobKind kind, const std::u16string& text) {
                    if (text.starts_with(u"Waiting for the drive")) {
                        isSaid = true;
                        if (cancels) {
                            bench.ui.Cancel(kind);
                        }
                    }
                };
                bench.RunOne(job, path);
                const bool hasWindow = job != JobKind::Erase;
                const bool isCancelled = cancels && hasWindow;
                EXPECT_EQ(isSaid, hasWindow);
                EXPECT_EQ(bench.WasEjected(), seconds == 5 && !isCancelled);
                // A minute, and what the other questions of the job wait.
                EXPECT_LE(bench.clock.TotalSleep(), isCancelled ? 3000 : 130'000);
                if (seconds == 5 || isCancelled) {
                    EXPECT_EQ(bench.ui.Texts(), Texts{});
                } else {
                    ASSERT_EQ(bench.ui.Texts().size(), 1U);
                    EXPECT_TRUE(bench.ui.Texts()[0].starts_with(
                        u"The drive has not got the disk ready for a minute."));
                }
            }
        }
    }
}

} // namespace
} // namespace larkspin
