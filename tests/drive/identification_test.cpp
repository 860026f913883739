// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What lies in the drive: the answers of disc, track and format commands and what is made of them.
#include "drive/dvd_bench.h"

namespace larkspin {
namespace {

constexpr uint8_t kErasable = 0x10;

// READ DISC INFORMATION's answer: disc status and state of the last session, then addresses whose
// low three bytes are minutes, seconds and frames.
Bytes DiscInfo(uint8_t discStatus, uint8_t lastSession = 0, uint8_t flags = 0, uint32_t leadIn = 0,
               uint32_t leadOut = 0xFFFFFF) {
    const auto state = static_cast<uint8_t>(discStatus | lastSession << 2 | flags);
    return Answer(34, {{1, 32}, {2, state}, {16, leadIn, 4}, {20, leadOut, 4}});
}

TEST(ProfileTest, OnlyOneSenseSaysThatTheDriveHasNoProfiles) {
    const std::tuple<Reply, bool, uint32_t> cases[] = {
        {ProfileAnswer(0x1B), true, 0x1B},
        {Sense(0x51400), false, 65535},
        {Sense(0x52000), true, 0},
        {Sense(0x51401), true, 0},
        {Sense(0x21400), true, 0},
        {NoReply(), true, 0},
        {Sense(0x52000, ProfileAnswer(9)), true, 0},
    };
    for (const auto& [reply, hasProfiles, profile] : cases) {
        ScriptedDrive bench;
        bench.port.Always(kGetConfiguration, reply);
        EXPECT_EQ(bench.drive.HasCurrentProfile(), hasProfiles);
        EXPECT_EQ(bench.drive.HasCurrentProfile(), hasProfiles);
        EXPECT_EQ(bench.Trace(), Lines{"46 01 00 00 00 00 00 00 08"}) << "the drive is asked once";
        EXPECT_EQ(bench.drive.GetCurrentProfile(), profile);
        bench.port.Always(kGetConfiguration, ProfileAnswer(9)); // another disc
        EXPECT_EQ(bench.drive.GetCurrentProfile(), hasProfiles ? 9u : 65535u);
    }
}

TEST(DiskInfoTest, StatesOfADisc) {
    constexpr uint32_t known = DISK_BLANK | DISK_APPENDABLE | DISK_ERASABLE | DISK_SESSION_OPEN;
    constexpr uint32_t blank = DISK_BLANK | DISK_APPENDABLE;
    struct {
        const char* name;
        Bytes info;
        uint32_t state;
        int32_t capacity = 0; // 0: not known
        int32_t next = 0;
    } const cases[] = {
        {"blank CD-R", DiscInfo(0, 0, 0, 0, 0x4F3B4A), blank, 359'849},
        {"blank CD-RW", DiscInfo(0, 0, kErasable), blank | DISK_ERASABLE},
        {"last session empty", DiscInfo(1, 0, 0, 0, 0x4F3B4A), DISK_APPENDABLE, 359'849, 20'150},
        {"last session incomplete", DiscInfo(1, 1), DISK_SESSION_OPEN},
        {"last session damaged", DiscInfo(1, 2), DISK_SESSION_OPEN},
        {"last session complete", DiscInfo(1, 3), 0},
        {"closed CD-RW", DiscInfo(2, 3, kErasable, 0, 0x3C0000), DISK_ERASABLE, 269'850},
        {"others", DiscInfo(3), 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.drive.Disk().m_nCapacity = bench.drive.Disk().m_nNextAddress =
            77; // left by another disc
        bench.drive.Disk().m_dwDiskState = bench.drive.Disk().m_dwDiskKnown = 0xFF;
        bench.port.Queue(kReadDiscInformation, Sense(0x62800), 3); // the change is told first
        bench.port.Queue(kReadDiscInformation, c.info);
        bench.port.Always(ModePage(5), ModeAnswer(Page(5, 50)));
        bench.port.Always(kReadTrackInformation, TrackAnswer(20'000, 0, 0x40));
        bench.drive.ReadDiskInfo();
        EXPECT_EQ(bench.drive.Disk().m_dwDiskState, c.state);
        EXPECT_EQ(bench.drive.Disk().m_dwDiskKnown,
                  known | (c.capacity > 0 ? uint32_t{DISK_CAPACITY_KNOWN} : 0));
        EXPECT_EQ(bench.drive.Disk().m_nCapacity, c.capacity);
        EXPECT_EQ(bench.drive.Disk().m_nNextAddress, c.next);
        EXPECT_EQ(bench.Trace().front(), "51 00 00 00 00 00 00 00 FF @240");
        EXPECT_EQ(bench.Trace().back(), "43 00 01 00 00 00 00 00 0C");
    }
    // The page can't be set for the question where the next session begins.
    ScriptedDrive bench;
    bench.port.Queue(kReadDiscInformation, DiscInfo(1, 0, 0, 0x0A0205));
    bench.port.Always(kModeSense10, Sense(0x52400));
    bench.drive.ReadDiskInfo();
    EXPECT_EQ(bench.drive.Disk().m_nNextAddress, ((10 + 1) * 60 + 2) * 75 + 5);
}

TEST(DiskInfoTest, FailureLeavesTheDiscUnknownButForTheToc) {
    struct {
        const char* name;
        Reply info, toc;
        uint32_t state, known;
        size_t asked = 1;
    } const cases[] = {
        {"no sessions", Sense(0x52000), Bytes{0, 10, 1, 0}, DISK_BLANK, DISK_BLANK},
        {"one session", Sense(0x52000), Bytes{0, 10, 1, 1}, 0, DISK_BLANK},
        {"nothing works", Sense(0x52000), Sense(0x23A00), 0, 0},
        {"time-outs are no blank discs", NoReply(), NoReply(), 0, 0},
        {"changes without an end", Sense(0x62800), Sense(0x62800), 0, 0, 101},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.port.Always(kReadDiscInformation, c.info);
        bench.port.Always(kReadToc, c.toc);
        bench.drive.ReadDiskInfo();
        EXPECT_EQ(bench.drive.Disk().m_dwDiskState, c.state);
        EXPECT_EQ(bench.drive.Disk().m_dwDiskKnown, c.known);
        EXPECT_EQ(bench.port.Sent(kReadDiscInformation).size(), c.asked);
    }
}

TEST(GlanceTest, TellsWhatTheDriveTells) {
    using enum DiscGlance::State;
    constexpr uint32_t kLeadOut = 0x4F3B4A; // 359,849
    const Reply track = TrackAnswer(20'000, 5000, 0x40);
    struct {
        const char* name;
        uint32_t profile;
        Reply info;
        Reply track;
        std::optional<DiscGlance> glance;
    } const cases[] = {
        {"blank CD-R", 9, DiscInfo(0, 0, 0, 0, kLeadOut), track,
         DiscGlance{9, Writable, false, 359'849, 359'849}},
        {"CD-RW with a session", 10, DiscInfo(1, 0, kErasable, 0, kLeadOut), track,
         DiscGlance{10, Writable, true, 359'849, 339'849}},
        {"next address not told", 9, DiscInfo(1, 0, 0, 0, kLeadOut), Sense(0x52400),
         DiscGlance{9, Writable, false, 359'849, {}}},
        {"no limit told", 9, DiscInfo(0), track, DiscGlance{9, Writable, false, 0, {}}},
        {"cut off", 9, DiscInfo(1, 1, 0, 0, kLeadOut), track, DiscGlance{9, Unclear}},
        {"closed CD-RW", 10, DiscInfo(2, 3, kErasable), track, DiscGlance{10, Closed, true}},
        {"DVD+R with a session", 0x1B, DiscInfo(1), track,
         DiscGlance{0x1B, Writable, false, 25'000, 5000}},
        {"DVD+R without an answer", 0x1B, DiscInfo(1), NoReply(), DiscGlance{0x1B, Writable}},
        {"DVD+RW", 0x1A, DiscInfo(2), track, DiscGlance{0x1A, InPlace, false, 1000}},
        {"BD-R for random writing", 0x42, DiscInfo(0), track, DiscGlance{0x42, Unclear}},
        {"nothing told of the disc", 9, Sense(0x52000), track, {}},
        {"nothing told of its kind", 0, DiscInfo(0), track, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.port.Always(kGetConfiguration, ProfileAnswer(c.profile));
        bench.port.Always(kReadDiscInformation, c.info);
        bench.port.Always(kReadTrackInformation, c.track);
        bench.port.Always(kReadFormatCapacities, FormatsAnswer({{1, 2}, {1000, 0x26}}));
        EXPECT_EQ(bench.drive.GlanceAtDisc(), c.glance);
        EXPECT_TRUE(bench.port.Sent(mmc::kModeSelect10).empty());
    }
}

TEST(NextWritableAddressTest, IsUsableOnABlankTrackOnly) {
    constexpr int32_t none = -7; // as it was: the command fails
    const std::tuple<const char*, Reply, int32_t> cases[] = {
        {"usable", TrackAnswer(12'345, 0, 0x44), 12'345},
        {"not blank", TrackAnswer(12'345, 0, 0x04), 0},
        {"not valid", TrackAnswer(12'345, 0, 0x44, 2), 0},
        {"reserved track", TrackAnswer(12'345, 0, 0xC4), 0},
        {"packets", TrackAnswer(12'345, 0, 0x64), 0},
        {"fixed packets", TrackAnswer(12'345, 0, 0x54), 0},
        {"refused", Sense(0x52400), none},
        {"no answer", NoReply(), none},
    };
    for (const auto& [name, reply, expected] : cases) {
        SCOPED_TRACE(name);
        ScriptedDrive bench;
        bench.port.Always(kReadTrackInformation, reply);
        int32_t address = none;
        EXPECT_EQ(bench.drive.ReadNextWritableAddress(&address), expected == none ? 1 : 0);
        EXPECT_EQ(address, expected);
        EXPECT_EQ(bench.drive.ReadNextWritableAddress(nullptr), expected == none ? 1 : 0);
        EXPECT_EQ(bench.Trace(), Lines(2, "52 01 00 00 00 FF 00 00 10 @240"));
    }
    // Of a session-at-once recording: that is selected first.
    ScriptedDrive bench;
    Bytes page = Page(0x85, 50);
    page[2] = 0xFF;
    bench.port.Always(ModePage(5), ModeAnswer(page));
    bench.port.Always(kReadTrackInformation, TrackAnswer(500, 0, 0x40));
    int32_t address = 0;
    EXPECT_EQ(bench.drive.ReadSaoNextAddress(&address), 0);
    EXPECT_EQ(address, 500);
    EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x5A, 0x55, 0x52}));
    page[0] = 0x05;
    page[2] = 0xE2;
    const Bytes& list = bench.port.Sent()[1].dataOut;
    EXPECT_EQ(Bytes(list.begin() + 8, list.end()), page);
    bench.port.Queue(kModeSelect10, Sense(0x52600));
    EXPECT_EQ(bench.drive.ReadSaoNextAddress(&address), 1);
}

TEST(MultiSessionStartTest, TakesTheAddressOfTheLastSession) {
    ScriptedDrive bench;
    const Bytes toc = {0, 10, 1, 3, 0, 0x14, 3, 0, 0, 1, 2, 3};
    int32_t address = 0;
    bench.port.Queue(kReadToc, toc, 4);
    EXPECT_EQ(bench.drive.ReadMultiSessionStart(&address), 0);
    EXPECT_EQ(address, 0x010203);
    EXPECT_EQ(bench.drive.ReadMultiSessionStart(nullptr), 0);
    EXPECT_EQ(bench.Trace()[0], "43 00 01 00 00 00 00 00 04");
    EXPECT_EQ(bench.Trace()[1], "43 00 01 00 00 00 00 00 0C");
    const std::vector<Reply> failures[] = {
        {Sense(0x23A00)}, {toc, NoReply()}, {Bytes{0, 2, 1, 3}}}; // no address in it
    for (const std::vector<Reply>& replies : failures) {
        for (const Reply& reply : replies) {
            bench.port.Queue(kReadToc, reply);
        }
        EXPECT_EQ(bench.drive.ReadMultiSessionStart(&address), -1);
        EXPECT_EQ(bench.port.QueuedLeft(), 0u);
    }
    EXPECT_EQ(address, 0x010203);
}

// Both families tell a capacity by the same rules, of a few more kinds in the second.
TEST(CapacityTest, ComesFromTheTrackOrTheFormats) {
    const Bytes track = TrackAnswer(1000, 500);
    const Bytes none = FormatsAnswer({{0, 1}});
    struct {
        const char* name;
        uint32_t profile;
        Bytes formats;
        Reply track;
        int32_t dvdBlocks, blocks = dvdBlocks;
    } const cases[] = {
        {"DVD-R", 0x11, none, track, 1500},
        {"DVD-RW", 0x14, none, track, 1500},
        {"DVD-R DL", 0x15, none, track, 1500, 0},
        {"DVD-R DL, layer jump", 0x16, none, track, 1500, 0},
        {"DVD+R, address not valid", 0x1B, none, TrackAnswer(1000, 500, 0, 0), 500},
        {"DVD+R, absurd", 0x1B, none, TrackAnswer(0xFFFFFFFF, 48), INT32_MAX},
        {"DVD+R DL, track refused", 0x2B, none, Sense(0x52400), 0},
        {"DVD-RAM", 0x12, FormatsAnswer({{3000, 2}}), track, 3000},
        {"DVD-RAM, long blocks", 0x12, FormatsAnswer({{3000, 2}}, 8192), track, 12'000},
        {"DVD-RAM, short blocks", 0x12, FormatsAnswer({{3000, 2}}, 512), track, 750},
        {"DVD-RAM, no block length", 0x12, FormatsAnswer({{3000, 2}}, 0), track, 3000},
        {"DVD-RAM, absurd", 0x12, FormatsAnswer({{1u << 31, 2}}), track, INT32_MAX},
        {"DVD-RW overwrite", 0x13, FormatsAnswer({{1, 2}, {77, 0}}), track, 77},
        {"DVD-RW without that format", 0x13, FormatsAnswer({{1, 2}, {77, 0x10}}), track, 0},
        {"DVD+RW", 0x1A, FormatsAnswer({{1, 2}, {5, 0}, {77, 0x26}}), track, 77},
        {"CD-R", 0x09, FormatsAnswer({{1, 2}}), track, 0},
        {"BD-R", 0x41, FormatsAnswer({{1, 2}}), track, 1500},
        {"BD-R in random mode", 0x42, FormatsAnswer({{1, 2}}), track, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        DvdBench bench(c.profile | MEDIA_BLANK);
        bench.port.Always(kReadFormatCapacities, c.formats);
        bench.port.Always(kReadTrackInformation, c.track);
        bench.port.Always(kReadDiscInformation, Answer(34, {{5, 2}, {10, 1}}));
        EXPECT_EQ(bench.drive.GetDvdCapacity(), c.blocks);
        EXPECT_EQ(bench.Trace()[0], "23 00 00 00 00 00 00 00 0C");
        EXPECT_EQ(bench.port.Sent()[1].cdb[8], c.formats.size());
        for (const SentCommand& sent : bench.port.Sent(kReadTrackInformation)) {
            EXPECT_EQ(Trace({sent}), Lines{"52 01 00 00 01 02 00 00 20"});
        }

        std::ranges::copy(c.formats, bench.dvd.m_abyFormats.begin());
        bench.dvd.m_nNextTrack = 3;
        bench.port.Clear();
        EXPECT_EQ(bench.drive.GetDvdBytes(), int64_t{c.dvdBlocks} * 2048);
        for (const std::string& sent : bench.Trace()) {
            EXPECT_EQ(sent, "52 01 00 00 00 03 00 00 20");
        }
    }
}

TEST(CapacityTest, ADriveMayLackTheListForDiscsThatAreNotFormatted) {
    const std::pair<uint32_t, bool> profiles[] = {{0x11, true},  {0x14, true},  {0x1B, true},
                                                  {0x2B, true},  {0x12, false}, {0x13, false},
                                                  {0x1A, false}, {0x09, false}};
    const std::pair<Reply, bool> replies[] = {
        {Sense(0x52000), true}, {Sense(0x52400), false}, {NoReply(), false}};
    for (const auto& [profile, isSequential] : profiles) {
        for (const auto& [reply, isUnknown] : replies) {
            DvdBench bench(profile);
            bench.SetTrack(1000, 50);
            bench.port.Always(kReadFormatCapacities, reply);
            EXPECT_EQ(bench.drive.GetDvdCapacity(), isSequential && isUnknown ? 1050 : -1);
        }
    }
}

TEST(CapacityTest, BadListsOfFormatsFail) {
    const Bytes formats = FormatsAnswer({{1, 2}, {5, 0}});
    const Bytes longer = FormatsAnswer({{1, 2}, {5, 0}, {6, 1}});
    Bytes odd = longer;
    odd[3] = 20;
    const std::pair<Reply, Reply> cases[] = {
        {Sense(0x23A00), {}}, {Sense(0x52400, formats), formats}, {NoReply(), {}},
        {odd, odd},           {formats, Sense(0x23A00)},          {formats, longer},
    };
    for (const auto& [first, then] : cases) {
        DvdBench bench(0x1A);
        for (int family = 0; family < 2; ++family) {
            bench.port.Queue(kReadFormatCapacities, first);
            bench.port.Always(kReadFormatCapacities, then);
            const std::string failure = FailureOf([&] {
                if (family == 0) {
                    EXPECT_EQ(bench.drive.GetDvdCapacity(), -1);
                } else {
                    bench.dvd.IdentifyMedia();
                }
            });
            EXPECT_EQ(failure, family == 0 ? "" : "cannot detect disk format");
            EXPECT_EQ(bench.port.QueuedLeft(), 0u);
        }
    }
}

TEST(IdentifyMediaTest, BlankMarkComesFromTheDiscOrItsFormat) {
    const std::tuple<const char*, uint8_t, uint8_t, uint8_t, uint32_t> cases[] = {
        {"CD-R has no mark", 0x09, 0, 0, 0x09},
        {"blank BD-R", 0x41, 0, 0, 0x10041},
        {"blank DVD-R", 0x11, 0, 2, 0x10011},
        {"written DVD-R", 0x11, 1, 1, 0x11},
        {"DVD+RW never formatted", 0x1A, 2, 1, 0x1001A},
        {"DVD+RW formatted", 0x1A, 2, 2, 0x1A},
        {"DVD+RW formatted and blank", 0x1A, 0, 2, 0x1001A},
        {"DVD-RAM without a format", 0x12, 2, 3, 0x10012},
        {"DVD-RW overwrite", 0x13, 2, 2, 0x13},
        {"DVD-RW sequential", 0x14, 1, 1, 0x14},
    };
    for (const auto& [name, profile, status, type, media] : cases) {
        DvdBench bench(profile);
        bench.SetDiscInfo(DiscInfo(status));
        bench.SetFormats({{5, type}, {9, 0x26}});
        EXPECT_EQ(bench.dvd.IdentifyMedia(), media) << name;
    }
}

TEST(IdentifyMediaTest, OpenTrayIsLoadedOnceAndTheWaitHasAnEnd) {
    ScriptedDrive bench;
    bench.port.Queue(Feature(0), ProfileAnswer(0));
    bench.port.Queue(Feature(0), ProfileAnswer(9));
    bench.port.Queue(kTestUnitReady, Sense(0x23A02));
    bench.port.Queue(kTestUnitReady, Sense(0x20401)); // becoming ready
    EXPECT_EQ(bench.dvd.IdentifyMedia(), 9u);
    EXPECT_EQ(bench.Trace(), (Lines{"46 00 00 00 00 00 00 00 08", "00", "1B 00 00 00 03", "00",
                                    "00", "46 00 00 00 00 00 00 00 08"}));
    const std::tuple<Reply, Reply, size_t, int64_t> cases[] = {
        {Sense(0x23A00), Sense(0x23A00), 1, 1000},    // still no disc: none it is
        {Sense(0x23A00), Sense(0x23002), 1, 120'000}, // one that can't be read
        {Sense(0x20401), Sense(0x20401), 0, 0},
        {NoReply(), Sense(0x23A00), 0, 0},
    };
    for (const auto& [empty, loaded, loads, sleep] : cases) {
        ScriptedDrive none;
        none.port.Always(Feature(0), ProfileAnswer(0));
        none.port.Queue(kTestUnitReady, empty);
        none.port.Always(kTestUnitReady, loaded);
        EXPECT_EQ(none.dvd.IdentifyMedia(), 0u);
        EXPECT_EQ(none.port.Sent(kStartStopUnit).size(), loads);
        EXPECT_EQ(none.clock.TotalSleep(), sleep);
    }
}

TEST(IdentifyMediaTest, EachFailureHasItsText) {
    const std::tuple<const char*, uint16_t, Reply> cases[] = {
        {"not a DVD drive", Feature(0), Sense(0x52000)},
        {"cannot close tray", kStartStopUnit, Sense(0x45300)},
        {"cannot read disk information", kReadDiscInformation, Sense(0x23A00)},
        {"cannot detect disk format", kReadFormatCapacities, FormatsAnswer({{1, 2}})}, // no format
    };
    for (const auto& [text, question, reply] : cases) {
        DvdBench bench(question == kStartStopUnit ? 0 : 0x1A);
        bench.port.Always(kTestUnitReady, Sense(0x23A00));
        bench.port.Always(question, reply);
        EXPECT_EQ(FailureOf([&] { bench.dvd.IdentifyMedia(); }), text);
    }
    DvdBench bench(0x1A);
    bench.transport.m_Devices[2].abyInquiry[0] = 4;
    EXPECT_EQ(FailureOf([&] { bench.dvd.IdentifyMedia(); }), "not a DVD drive");
    bench.transport.m_Devices[2].bPresent = false;
    EXPECT_EQ(FailureOf([&] { bench.dvd.IdentifyMedia(); }), "inquiry failed");
}

TEST(IsoVolumeTest, NeedsADiscAndAPrimaryDescriptor) {
    const Bytes volume = {1, 'C', 'D', '0', '0', '1', 1};
    const Bytes written = DiscInfo(1);
    const std::tuple<const char*, Reply, Reply, bool> cases[] = {
        {"volume", written, volume, true},
        {"blank", DiscInfo(0), volume, false},
        {"no disc", Sense(0x23A00, written), volume, false},
        {"supplementary descriptor", written, Bytes{2, 'C', 'D', '0', '0', '1'}, false},
        {"another volume", written, Bytes{1, 'B', 'E', 'A', '0', '1'}, false},
        {"unreadable", written, Sense(0x31105, volume), false},
        {"no answer", written, NoReply(), false},
    };
    for (const auto& [name, info, block, hasVolume] : cases) {
        SCOPED_TRACE(name);
        ScriptedDrive bench;
        bench.port.Always(kReadDiscInformation, info);
        bench.port.Always(kRead10, block);
        EXPECT_EQ(bench.drive.HasIsoVolume(), hasVolume);
        EXPECT_EQ(bench.Trace()[0], "51 00 00 00 00 00 00 08");
        for (const SentCommand& sent : bench.port.Sent(kRead10)) {
            EXPECT_EQ(Trace({sent}), Lines{"28 00 00 00 00 10 00 00 01"});
        }
    }
    for (const auto& [reply, erasable] : {std::pair<Reply, bool>{DiscInfo(0, 0, kErasable), true},
                                          {DiscInfo(3, 3, 0xE0), false},
                                          {Sense(0x52000, DiscInfo(0, 0, kErasable)), false}}) {
        ScriptedDrive bench;
        bench.port.Queue(kReadDiscInformation, reply);
        EXPECT_EQ(bench.drive.IsDiskErasable(), erasable);
    }
}

} // namespace
} // namespace larkspin
