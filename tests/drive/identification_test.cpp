// What lies in the drive: the answers of disc, track and format commands and what is made of them.
#include "drive/mmc.h"
#include "support/scripted_port.h"

#include <gmock/gmock.h>

namespace larkspin {
namespace {

using testing::ElementsAre;

// Byte 2 of READ DISC INFORMATION.
constexpr uint8_t kErasable = 0x10;
constexpr uint8_t DiscByte(uint8_t discStatus, uint8_t lastSession) {
    return static_cast<uint8_t>(discStatus | lastSession << 2);
}

struct Msf {
    uint8_t m, s, f;
};

Bytes DiscInfo(uint8_t statusByte, Msf leadIn = {0, 0, 0}, Msf leadOut = {0xFF, 0xFF, 0xFF}) {
    Bytes info(34, 0);
    info[1] = 32;
    info[2] = statusByte;
    info[17] = leadIn.m;
    info[18] = leadIn.s;
    info[19] = leadIn.f;
    info[21] = leadOut.m;
    info[22] = leadOut.s;
    info[23] = leadOut.f;
    return info;
}

ScriptedAnswer Profile(uint8_t profile) {
    return GoodAnswer({0, 0, 0, 4, 0, 0, 0, profile});
}

// READ TRACK INFORMATION: track mode byte 6, validity byte 7, next writable address, free blocks.
Bytes Track(uint8_t byte6, uint8_t byte7, uint32_t next, uint32_t free = 0) {
    Bytes track(36, 0);
    track[6] = byte6;
    track[7] = byte7;
    for (size_t index = 0; index < 4; ++index) {
        track[12 + index] = static_cast<uint8_t>(next >> (24 - 8 * index));
        track[16 + index] = static_cast<uint8_t>(free >> (24 - 8 * index));
    }
    return track;
}

// A page 5 that ModeSense accepts: header, page code, length and zeros.
ScriptedAnswer WritePage() {
    Bytes answer(8 + 52, 0);
    answer[1] = static_cast<uint8_t>(answer.size() - 2);
    answer[8] = 0x85;
    answer[9] = 50;
    answer[10] = 0xFF;
    return GoodAnswer(answer);
}

TEST(ProfileTest, OnlyOneSenseSaysThatTheDriveHasNoProfiles) {
    struct Case {
        ScriptedAnswer answer;
        bool has;
    };
    for (const Case& c :
         {Case{Profile(9), true}, Case{SenseAnswer(5, 0x14, 0), false},
          Case{SenseAnswer(5, 0x20, 0), true}, Case{SenseAnswer(5, 0x14, 1), true},
          Case{SenseAnswer(2, 0x14, 0), true}, Case{FailedAnswer(PortError::TimedOut), true}}) {
        ScriptedDrive bench;
        bench.port.Always(mmc::kGetConfiguration, c.answer);
        EXPECT_EQ(bench.drive.HasCurrentProfile(), c.has);
        EXPECT_EQ(bench.drive.HasCurrentProfile(), c.has);
        ASSERT_EQ(bench.port.Sent().size(), 1u) << "the drive is asked once";
        EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0x46, 1, 0, 0, 0, 0, 0, 0, 8, 0));
    }
}

TEST(ProfileTest, CurrentProfileIsReadAnewEachTime) {
    ScriptedDrive bench;
    bench.port.Always(mmc::kGetConfiguration, Profile(0x1B));
    EXPECT_EQ(bench.drive.GetCurrentProfile(), 0x1Bu);
    bench.port.Always(mmc::kGetConfiguration, Profile(9));
    EXPECT_EQ(bench.drive.GetCurrentProfile(), 9u);
    for (const ScriptedAnswer& failure :
         {SenseAnswer(5, 0x20, 0, {0, 0, 0, 4, 0, 0, 0, 9}), FailedAnswer(PortError::TimedOut)}) {
        bench.port.Always(mmc::kGetConfiguration, failure);
        EXPECT_EQ(bench.drive.GetCurrentProfile(), 0u);
    }
    bench.drive.m_bHasConfig = false;
    EXPECT_EQ(bench.drive.GetCurrentProfile(), 65535u);
}

TEST(DiskInfoTest, StatesOfADisc) {
    constexpr uint32_t known = DISK_BLANK | DISK_APPENDABLE | DISK_ERASABLE;
    struct Case {
        const char* name;
        Bytes info;
        uint32_t state;
        uint32_t dwKnown;
        int32_t capacity;
        int32_t next;
    };
    const Case cases[] = {
        {"blank CD-R", DiscInfo(DiscByte(0, 0), {0, 0, 0}, {79, 59, 74}),
         DISK_BLANK | DISK_APPENDABLE, known | DISK_CAPACITY_KNOWN, 359'849, 0},
        {"blank CD-RW", DiscInfo(kErasable), DISK_BLANK | DISK_APPENDABLE | DISK_ERASABLE, known, 0,
         0},
        {"open, last session empty", DiscInfo(DiscByte(1, 0), {}, {79, 59, 74}), DISK_APPENDABLE,
         known | DISK_CAPACITY_KNOWN, 359'849, 20'150},
        {"open, last session incomplete", DiscInfo(DiscByte(1, 1)), 0, known, 0, 0},
        {"open, last session complete", DiscInfo(DiscByte(1, 3)), 0, known, 0, 0},
        {"closed CD-RW", DiscInfo(kErasable | DiscByte(2, 3), {}, {60, 0, 0}), DISK_ERASABLE,
         known | DISK_CAPACITY_KNOWN, 269'850, 0},
        {"others", DiscInfo(DiscByte(3, 0)), 0, known, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.drive.m_nCapacity = bench.drive.m_nNextAddress = 77; // left by another disc
        bench.drive.m_dwDiskState = bench.drive.m_dwDiskKnown = 0xFF;
        bench.port.Queue(mmc::kReadDiscInformation, GoodAnswer(c.info));
        bench.port.Always(mmc::kModeSense10, WritePage());
        bench.port.Always(mmc::kReadTrackInformation, GoodAnswer(Track(0x40, 1, 20'000)));
        bench.drive.ReadDiskInfo();
        EXPECT_EQ(bench.drive.m_dwDiskState, c.state);
        EXPECT_EQ(bench.drive.m_dwDiskKnown, c.dwKnown);
        EXPECT_EQ(bench.drive.m_nCapacity, c.capacity);
        EXPECT_EQ(bench.drive.m_nNextAddress, c.next);
        EXPECT_THAT(bench.port.Sent().front().cdb, ElementsAre(0x51, 0, 0, 0, 0, 0, 0, 0, 255, 0));
        EXPECT_EQ(bench.port.Sent().front().timeoutSeconds, 240u);
        EXPECT_THAT(bench.port.Sent().back().cdb, ElementsAre(0x43, 0, 1, 0, 0, 0, 0, 0, 12, 0));
    }
}

TEST(DiskInfoTest, NextAddressComesFromTheLeadInWhenThePageCannotBeSet) {
    ScriptedDrive bench;
    bench.port.Queue(mmc::kReadDiscInformation, GoodAnswer(DiscInfo(DiscByte(1, 0), {10, 2, 5})));
    bench.port.Always(mmc::kModeSense10, SenseAnswer(5, 0x24, 0));
    bench.drive.ReadDiskInfo();
    EXPECT_EQ(bench.drive.m_nNextAddress, ((10 + 1) * 60 + 2) * 75 + 5);
}

TEST(DiskInfoTest, FailureLeavesTheDiscUnknownButForTheToc) {
    struct Case {
        const char* name;
        ScriptedAnswer info;
        ScriptedAnswer toc;
        uint32_t state;
        uint32_t known;
    };
    const ScriptedAnswer timeOut = FailedAnswer(PortError::TimedOut);
    const Case cases[] = {
        {"no sessions", SenseAnswer(5, 0x20, 0), GoodAnswer({0, 10, 1, 0}), DISK_BLANK, DISK_BLANK},
        {"one session", SenseAnswer(5, 0x20, 0), GoodAnswer({0, 10, 1, 1}), 0, DISK_BLANK},
        {"nothing works", SenseAnswer(5, 0x20, 0), SenseAnswer(2, 0x3A, 0), 0, 0},
        {"time-outs are no blank discs", timeOut, timeOut, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.port.Queue(mmc::kReadDiscInformation, c.info);
        bench.port.Queue(mmc::kReadToc, c.toc);
        bench.drive.ReadDiskInfo();
        EXPECT_EQ(bench.drive.m_dwDiskState, c.state);
        EXPECT_EQ(bench.drive.m_dwDiskKnown, c.known);
    }
}

TEST(DiskInfoTest, MediumChangeIsConsumedAndNotForEver) {
    ScriptedDrive bench;
    for (int event = 0; event < 3; ++event)
        bench.port.Queue(mmc::kReadDiscInformation, SenseAnswer(6, 0x28, 0));
    bench.port.Queue(mmc::kReadDiscInformation, GoodAnswer(DiscInfo(0)));
    bench.drive.ReadDiskInfo();
    EXPECT_EQ(bench.drive.m_dwDiskState, uint32_t{DISK_BLANK | DISK_APPENDABLE});
    EXPECT_EQ(bench.port.Sent(mmc::kReadDiscInformation).size(), 4u);

    bench.port.Clear();
    bench.port.Always(mmc::kReadDiscInformation, SenseAnswer(6, 0x28, 0));
    bench.port.Always(mmc::kReadToc, SenseAnswer(6, 0x28, 0));
    bench.drive.ReadDiskInfo();
    EXPECT_EQ(bench.drive.m_dwDiskKnown, 0u);
    EXPECT_EQ(bench.port.Sent(mmc::kReadDiscInformation).size(), 101u);
}

TEST(DiskInfoTest, ErasableNeedsAnAnswer) {
    ScriptedDrive bench;
    bench.port.Queue(mmc::kReadDiscInformation, GoodAnswer(DiscInfo(kErasable)));
    EXPECT_TRUE(bench.drive.IsDiskErasable());
    bench.port.Queue(mmc::kReadDiscInformation, GoodAnswer(DiscInfo(0xEF)));
    EXPECT_FALSE(bench.drive.IsDiskErasable());
    bench.port.Queue(mmc::kReadDiscInformation, SenseAnswer(5, 0x20, 0, DiscInfo(kErasable)));
    EXPECT_FALSE(bench.drive.IsDiskErasable());
}

TEST(NextWritableAddressTest, IsUsableOnABlankTrackOnly) {
    struct Case {
        const char* name;
        ScriptedAnswer answer;
        int result;
        int32_t address;
    };
    const Case cases[] = {
        {"usable", GoodAnswer(Track(0x44, 1, 12'345)), 0, 12'345},
        {"not blank", GoodAnswer(Track(0x04, 1, 12'345)), 0, 0},
        {"not valid", GoodAnswer(Track(0x44, 2, 12'345)), 0, 0},
        {"reserved track", GoodAnswer(Track(0xC4, 1, 12'345)), 0, 0},
        {"packets", GoodAnswer(Track(0x64, 1, 12'345)), 0, 0},
        {"fixed packets", GoodAnswer(Track(0x54, 1, 12'345)), 0, 0},
        {"refused", SenseAnswer(5, 0x24, 0), 1, -7},
        {"no answer", FailedAnswer(PortError::TimedOut), 1, -7},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.port.Always(mmc::kReadTrackInformation, c.answer);
        int32_t address = -7;
        EXPECT_EQ(bench.drive.ReadNextWritableAddress(&address), c.result);
        EXPECT_EQ(address, c.address);
        EXPECT_EQ(bench.drive.ReadNextWritableAddress(nullptr), c.result);
        EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0x52, 1, 0, 0, 0, 0xFF, 0, 0, 16, 0));
        EXPECT_EQ(bench.port.Sent()[0].timeoutSeconds, 240u);
    }
}

TEST(NextWritableAddressTest, SessionAtOnceIsSelectedFirst) {
    ScriptedDrive bench;
    bench.port.Always(mmc::kModeSense10, WritePage());
    bench.port.Always(mmc::kReadTrackInformation, GoodAnswer(Track(0x40, 1, 500)));
    int32_t address = 0;
    EXPECT_EQ(bench.drive.ReadSaoNextAddress(&address), 0);
    EXPECT_EQ(address, 500);
    EXPECT_THAT(bench.port.SentOpcodes(),
                ElementsAre(mmc::kModeSense10, mmc::kModeSelect10, mmc::kReadTrackInformation));
    const Bytes& list = bench.port.Sent()[1].dataOut;
    EXPECT_EQ(list.at(8), 0x05);
    EXPECT_EQ(list.at(10), 0xE2);

    bench.port.Queue(mmc::kModeSelect10, SenseAnswer(5, 0x26, 0));
    EXPECT_EQ(bench.drive.ReadSaoNextAddress(&address), 1);
}

TEST(MultiSessionStartTest, TakesTheAddressOfTheLastSession) {
    ScriptedDrive bench;
    bench.port.Always(mmc::kReadToc, GoodAnswer({0, 10, 1, 3, 0, 0x14, 3, 0, 0, 1, 2, 3}));
    int32_t address = 0;
    EXPECT_EQ(bench.drive.ReadMultiSessionStart(&address), 0);
    EXPECT_EQ(address, 0x010203);
    EXPECT_EQ(bench.drive.ReadMultiSessionStart(nullptr), 0);
    EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0x43, 0, 1, 0, 0, 0, 0, 0, 4, 0));
    EXPECT_THAT(bench.port.Sent()[1].cdb, ElementsAre(0x43, 0, 1, 0, 0, 0, 0, 0, 12, 0));

    address = -7;
    bench.port.Queue(mmc::kReadToc, SenseAnswer(2, 0x3A, 0));
    EXPECT_EQ(bench.drive.ReadMultiSessionStart(&address), -1);
    bench.port.Queue(mmc::kReadToc, GoodAnswer({0, 10, 1, 3}));
    bench.port.Queue(mmc::kReadToc, FailedAnswer(PortError::TimedOut));
    EXPECT_EQ(bench.drive.ReadMultiSessionStart(&address), -1);
    bench.port.Queue(mmc::kReadToc, GoodAnswer({0, 2, 1, 3})); // no address in it
    EXPECT_EQ(bench.drive.ReadMultiSessionStart(&address), -1);
    EXPECT_EQ(address, -7);
}

// A list of formats: current blocks, descriptor type, block length, then one more descriptor.
Bytes Formats(uint32_t current, uint8_t type, uint32_t length, uint8_t formatType = 0,
              uint32_t formatBlocks = 0) {
    Bytes list(20, 0);
    list[3] = 16;
    const auto store = [&list](size_t at, uint32_t value) {
        for (size_t index = 0; index < 4; ++index)
            list[at + index] = static_cast<uint8_t>(value >> (24 - 8 * index));
    };
    store(4, current);
    store(8, length);
    list[8] = type;
    store(12, formatBlocks);
    list[16] = static_cast<uint8_t>(formatType << 2 | 1);
    return list;
}

TEST(CapacityTest, ComesFromTheTrackOrTheFormats) {
    struct Case {
        const char* name;
        uint8_t profile;
        Bytes formats;
        ScriptedAnswer track;
        int32_t blocks;
    };
    const ScriptedAnswer track = GoodAnswer(Track(0, 1, 1000, 500));
    const Case cases[] = {
        {"DVD-R", 0x11, Formats(0, 1, 2048), track, 1500},
        {"DVD+R, address not valid", 0x1B, Formats(0, 1, 2048), GoodAnswer(Track(0, 0, 1000, 500)),
         500},
        {"DVD+R DL, track refused", 0x2B, Formats(0, 1, 2048), SenseAnswer(5, 0x24, 0), 0},
        {"DVD-RAM", 0x12, Formats(3000, 2, 2048), track, 3000},
        {"DVD-RAM, long blocks", 0x12, Formats(3000, 2, 8192), track, 12'000},
        {"DVD-RAM, short blocks", 0x12, Formats(3000, 2, 512), track, 750},
        {"DVD-RAM, no block length", 0x12, Formats(3000, 2, 0), track, 3000},
        {"DVD-RW overwrite", 0x13, Formats(1, 2, 2048, 0x00, 2'298'496), track, 2'298'496},
        {"DVD-RW without that format", 0x13, Formats(1, 2, 2048, 0x10, 2'298'496), track, 0},
        {"DVD+RW", 0x1A, Formats(1, 2, 2048, 0x26, 2'295'104), track, 2'295'104},
        {"CD-R", 0x09, Formats(1, 2, 2048), track, 0},
        {"BD-R", 0x41, Formats(1, 2, 2048), track, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.port.Always(mmc::kReadFormatCapacities, GoodAnswer(c.formats));
        bench.port.Always(mmc::kGetConfiguration, Profile(c.profile));
        bench.port.Always(mmc::kReadTrackInformation, c.track);
        Bytes info = DiscInfo(DiscByte(1, 0));
        info[5] = 2;
        info[10] = 1;
        bench.port.Always(mmc::kReadDiscInformation, GoodAnswer(info));
        EXPECT_EQ(bench.drive.GetDvdCapacity(), c.blocks);
        EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0x23, 0, 0, 0, 0, 0, 0, 0, 12, 0));
        EXPECT_THAT(bench.port.Sent()[1].cdb, ElementsAre(0x23, 0, 0, 0, 0, 0, 0, 0, 20, 0));
        for (const SentCommand& sent : bench.port.Sent(mmc::kReadTrackInformation))
            EXPECT_THAT(sent.cdb, ElementsAre(0x52, 1, 0, 0, 1, 2, 0, 0, 32, 0));
    }
}

TEST(CapacityTest, BadListsOfFormatsFail) {
    Bytes odd = Formats(1, 2, 2048);
    odd[3] = 12;
    Bytes longer = Formats(1, 2, 2048);
    longer[3] = 24;
    const std::vector<std::vector<ScriptedAnswer>> cases = {
        {SenseAnswer(2, 0x3A, 0)},
        {SenseAnswer(1, 0, 0, Formats(1, 2, 2048))},
        {FailedAnswer(PortError::TimedOut)},
        {GoodAnswer(odd)},
        {GoodAnswer(Formats(1, 2, 2048)), SenseAnswer(2, 0x3A, 0)},
        {GoodAnswer(Formats(1, 2, 2048)), GoodAnswer(longer)},
    };
    for (const auto& answers : cases) {
        ScriptedDrive bench;
        for (const ScriptedAnswer& answer : answers)
            bench.port.Queue(mmc::kReadFormatCapacities, answer);
        EXPECT_EQ(bench.drive.GetDvdCapacity(), -1);
        EXPECT_EQ(bench.port.QueuedLeft(), 0u);
    }
}

TEST(IdentifyMediaTest, BlankMarkComesFromTheDiscOrItsFormat) {
    struct Case {
        const char* name;
        uint8_t profile;
        uint8_t statusByte;
        uint8_t descriptorType;
        uint32_t media;
    };
    const Case cases[] = {
        {"CD-R has no mark", 0x09, 0, 0, 0x09},
        {"BD-R has no mark", 0x41, 0, 0, 0x41},
        {"blank DVD-R", 0x11, 0, 2, 0x10011},
        {"written DVD-R", 0x11, 1, 1, 0x11},
        {"DVD+RW never formatted", 0x1A, 2, 1, 0x1001A},
        {"DVD+RW formatted", 0x1A, 2, 2, 0x1A},
        {"DVD+RW formatted and blank", 0x1A, 0, 2, 0x1001A},
        {"DVD-RAM without a format", 0x12, 2, 3, 0x10012},
        {"DVD-RW overwrite", 0x13, 2, 2, 0x13},
        {"DVD-RW sequential", 0x14, 1, 1, 0x14},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.port.Always(mmc::kGetConfiguration, Profile(c.profile));
        bench.port.Always(mmc::kReadDiscInformation, GoodAnswer(DiscInfo(c.statusByte)));
        bench.port.Always(mmc::kReadFormatCapacities,
                          GoodAnswer(Formats(5, c.descriptorType, 2048, 0x26, 9)));
        EXPECT_EQ(bench.drive.IdentifyMedia(), c.media);
    }
}

TEST(IdentifyMediaTest, OpenTrayIsLoadedOnce) {
    ScriptedDrive bench;
    bench.port.Queue(mmc::kGetConfiguration, Profile(0));
    bench.port.Queue(mmc::kTestUnitReady, SenseAnswer(2, 0x3A, 2));
    bench.port.Queue(mmc::kTestUnitReady, SenseAnswer(2, 0x04, 1)); // becoming ready
    bench.port.Queue(mmc::kGetConfiguration, Profile(0x09));
    EXPECT_EQ(bench.drive.IdentifyMedia(), 0x09u);
    EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x46, 0, mmc::kStartStopUnit, 0, 0, 0x46}));
    EXPECT_EQ(bench.port.Sent(mmc::kStartStopUnit)[0].cdb[4], 3);

    // Still no disc after that: none it is.
    bench.port.Always(mmc::kGetConfiguration, Profile(0));
    bench.port.Always(mmc::kTestUnitReady, SenseAnswer(2, 0x3A, 0));
    EXPECT_EQ(bench.drive.IdentifyMedia(), 0u);
    EXPECT_EQ(bench.port.Sent(mmc::kStartStopUnit).size(), 2u);

    // Not ready for another reason: nothing is loaded.
    bench.port.Always(mmc::kTestUnitReady, SenseAnswer(2, 0x04, 1));
    EXPECT_EQ(bench.drive.IdentifyMedia(), 0u);
    EXPECT_EQ(bench.port.Sent(mmc::kStartStopUnit).size(), 2u);
}

TEST(IdentifyMediaTest, EachFailureHasItsText) {
    struct Case {
        const char* text;
        uint8_t opcode;
        std::vector<ScriptedAnswer> answers;
    };
    Bytes shortList = Formats(1, 2, 2048);
    shortList[3] = 8;
    const Case cases[] = {
        {"not a DVD drive", mmc::kGetConfiguration, {SenseAnswer(5, 0x20, 0)}},
        {"cannot close tray", mmc::kStartStopUnit, {SenseAnswer(4, 0x53, 0)}},
        {"cannot read disk information", mmc::kReadDiscInformation, {SenseAnswer(2, 0x3A, 0)}},
        {"cannot detect disk format", mmc::kReadFormatCapacities, {SenseAnswer(2, 0x3A, 0)}},
        {"cannot detect disk format", mmc::kReadFormatCapacities, {GoodAnswer(shortList)}},
        {"cannot detect disk format",
         mmc::kReadFormatCapacities,
         {GoodAnswer(Formats(1, 2, 2048)), FailedAnswer(PortError::TimedOut)}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        ScriptedDrive bench;
        for (const ScriptedAnswer& answer : c.answers)
            bench.port.Queue(c.opcode, answer);
        if (c.opcode == mmc::kStartStopUnit) {
            bench.port.Always(mmc::kTestUnitReady, SenseAnswer(2, 0x3A, 0));
            bench.port.Always(mmc::kGetConfiguration, Profile(0));
        }
        bench.port.Always(mmc::kGetConfiguration,
                          Profile(c.opcode == mmc::kStartStopUnit ? 0 : 0x1A));
        try {
            bench.drive.IdentifyMedia();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const CAspiCD::CgrowisofsException& failure) {
            EXPECT_STREQ(failure.what(), c.text);
        }
        EXPECT_EQ(bench.port.QueuedLeft(), 0u);
    }
}

TEST(IdentifyMediaTest, OtherDevicesAreNoDvdDrives) {
    ScriptedDrive bench;
    bench.transport.m_Devices[2].abyInquiry[0] = 4;
    EXPECT_THROW(bench.drive.IdentifyMedia(), CAspiCD::CgrowisofsException);
    bench.transport.m_Devices[2].bPresent = false;
    try {
        bench.drive.IdentifyMedia();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const CAspiCD::CgrowisofsException& failure) {
        EXPECT_STREQ(failure.what(), "inquiry failed");
    }
}

TEST(DvdBytesTest, CountsBlocksIn64Bits) {
    ScriptedDrive bench;
    bench.drive.m_nProfile = 0x1002B;
    bench.drive.m_nNextTrack = 3;
    bench.port.Queue(mmc::kReadTrackInformation, GoodAnswer(Track(0, 1, 48, 4'173'776)));
    EXPECT_EQ(bench.drive.GetDvdBytes(), int64_t{4'173'824} * 2048);
    EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0x52, 1, 0, 0, 0, 3, 0, 0, 32, 0));
    bench.port.Queue(mmc::kReadTrackInformation, SenseAnswer(5, 0x24, 0));
    EXPECT_EQ(bench.drive.GetDvdBytes(), 0);

    bench.drive.m_nProfile = 0x1A;
    const Bytes formats = Formats(1, 2, 2048, 0x26, 2'295'104);
    std::copy(formats.begin(), formats.end(), bench.drive.m_abyFormats.begin());
    EXPECT_EQ(bench.drive.GetDvdBytes(), int64_t{2'295'104} * 2048);
    bench.drive.m_nProfile = 0x41;
    EXPECT_EQ(bench.drive.GetDvdBytes(), 0);
}

TEST(IsoVolumeTest, NeedsADiscAndAPrimaryDescriptor) {
    const Bytes descriptor = {1, 'C', 'D', '0', '0', '1', 1};
    struct Case {
        const char* name;
        ScriptedAnswer info;
        ScriptedAnswer block;
        bool has;
    };
    const ScriptedAnswer written = GoodAnswer(DiscInfo(DiscByte(1, 0)));
    const Case cases[] = {
        {"volume", written, GoodAnswer(descriptor), true},
        {"blank", GoodAnswer(DiscInfo(0)), GoodAnswer(descriptor), false},
        {"no disc", SenseAnswer(2, 0x3A, 0), GoodAnswer(descriptor), false},
        {"supplementary descriptor", written, GoodAnswer({2, 'C', 'D', '0', '0', '1'}), false},
        {"another volume", written, GoodAnswer({1, 'B', 'E', 'A', '0', '1'}), false},
        {"unreadable", written, SenseAnswer(3, 0x11, 5, descriptor), false},
        {"no answer", written, FailedAnswer(PortError::TimedOut), false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.port.Always(mmc::kReadDiscInformation, c.info);
        bench.port.Always(mmc::kRead10, c.block);
        EXPECT_EQ(bench.drive.HasIsoVolume(), c.has);
        EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0x51, 0, 0, 0, 0, 0, 0, 8, 0, 0));
        for (const SentCommand& sent : bench.port.Sent(mmc::kRead10))
            EXPECT_THAT(sent.cdb, ElementsAre(0x28, 0, 0, 0, 0, 16, 0, 0, 1, 0));
    }
}

} // namespace
} // namespace larkspin
