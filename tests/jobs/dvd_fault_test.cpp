// A fault at every command of the roads that lead to a DVD.
#include "fault_road.h"

namespace larkspin {
namespace {

const FileBytes kNew = Payload(150'000, 2);
const FileBytes kOld = Payload(70'000, 3);

constexpr uint8_t kWrite = 0x2A;

const std::vector<std::u16string> kDataDvdTexts = {
    u"The disk is not suitable for writing.",
    u"Disk capacity is not enough",
    u"The disk in the drive is not blank and doesn't have enough space",
    u"The size of selected files exceeds disk capacity",
    u"Too much data for conventional CD-R/RW.",
    u"Stopped: ",
    u"Internal error",
    u"Disk creation failed with following error:",
    u"The drive could not close the session.",
};

// A data job on a disc of a kind that is new, or holds a volume already.
Road DataRoad(const char* kind, bool appends) {
    Road road;
    road.name = kind;
    road.kind = kind;
    road.prepare = [appends](JobBench& bench) {
        if (appends) {
            bench.host.queue = {bench.AddFile("old", kOld)};
            ASSERT_EQ(bench.RunData(), JobEnd::Exit);
            ASSERT_TRUE(bench.drive.Insert(bench.disc));
        }
        bench.host.queue = {bench.AddFile("new", kNew)};
    };
    road.run = [](JobBench& bench) { return bench.RunData(); };
    // The new file is on the disc, whichever track it came to.
    road.isWhole = [](JobBench& bench) {
        return HoldsAtSector(bench.Track(1), kNew) || HoldsAtSector(bench.Track(2), kNew);
    };
    road.texts = kDataDvdTexts;
    if (appends) {
        road.texts.insert(road.texts.end(), kMergeTexts.begin(), kMergeTexts.end());
    }
    return road;
}

class DvdFaults : public ::testing::TestWithParam<const char*> {};

TEST_P(DvdFaults, DataOnANewDisc) {
    const TextsByOpcode seen = WalkRoad(DataRoad(GetParam(), false));
    ASSERT_TRUE(seen.contains(kWrite));
    EXPECT_EQ(seen.at(kWrite), (std::set<std::string>{"Stopped: write error"}));
}

TEST_P(DvdFaults, DataBehindAVolume) {
    WalkRoad(DataRoad(GetParam(), true));
}

INSTANTIATE_TEST_SUITE_P(Kinds, DvdFaults,
                         ::testing::Values("dvd-r", "dvd-rw", "dvd+r", "dvd+r-dl", "dvd+rw",
                                           "dvd-ram", "dvd-rw-ow"));

TEST(DvdFaultsOfOneKind, DataInOneGo) {
    Road road = DataRoad("dvd-rw", false);
    const auto prepare = road.prepare;
    road.prepare = [prepare](JobBench& bench) {
        ASSERT_EQ(bench.RunErase(), JobEnd::Exit);
        ASSERT_TRUE(bench.drive.Insert(bench.disc));
        prepare(bench);
    };
    WalkRoad(road);
}

TEST(DvdFaultsOfOneKind, ErasingADvdPlusRw) {
    Road road;
    road.name = "erasing a DVD+RW quickly";
    road.kind = "dvd+rw";
    road.prepare = [](JobBench& bench) {
        bench.host.queue = {bench.AddFile("old", kOld)};
        ASSERT_EQ(bench.RunData(), JobEnd::Exit);
        ASSERT_TRUE(bench.drive.Insert(bench.disc));
    };
    road.run = [](JobBench& bench) { return bench.RunErase(); };
    // A drive that doesn't tell its profile is told to blank the disc, and nobody learns that it
    // refused: nothing tells the job.
    road.isWhole = [](JobBench&) { return true; };
    road.texts = {u"Cannot erase this disk in this drive.", u"Stopped: "};
    road.mayStayIdle = true;
    const TextsByOpcode seen = WalkRoad(road);
    ASSERT_TRUE(seen.contains(kWrite));
    EXPECT_EQ(seen.at(kWrite), (std::set<std::string>{"Stopped: write error"}));
}

} // namespace
} // namespace larkspin
