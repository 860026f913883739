// A fault at every command of the roads that lead to a CD.
#include "fault_road.h"

namespace larkspin {
namespace {

const FileBytes kNew = Payload(700'000, 2);

constexpr uint8_t kTestUnitReady = 0x00;
constexpr uint8_t kWrite = 0x2A;
constexpr uint8_t kCloseSession = 0x5B;
constexpr uint8_t kReadDiscInfo = 0x51;
constexpr uint8_t kSendCueSheet = 0x5D;

const std::vector<std::u16string> kDataCdTexts = {
    u"The disk is not suitable for writing.",
    u"Disk capacity is not enough",
    u"The disk in the drive is not blank and doesn't have enough space",
    u"The size of selected files exceeds disk capacity",
    u"Too much data for conventional CD-R/RW.",
    u"Stopped: ",
    u"Internal error #165.",
    u"Internal error #166.",
    u"Internal error #176.",
    u"Disk creation failed with following error:",
    u"The drive could not close the session.",
    u"Internal error",
};

TEST(Faults, DataOnABlankCd) {
    Road road;
    road.name = "data on a blank CD-R";
    road.prepare = [](JobBench& bench) { bench.host.queue = {bench.AddFile("new", kNew)}; };
    road.run = [](JobBench& bench) { return bench.RunData(); };
    road.isWhole = [](JobBench& bench) {
        return HoldsAtSector(bench.Track(), kNew) && bench.IsClosed();
    };
    road.texts = kDataCdTexts;
    const TextsByOpcode seen = WalkRoad(road);
    ASSERT_TRUE(seen.contains(kWrite));
    EXPECT_EQ(seen.at(kWrite), (std::set<std::string>{"Internal error #165."}));
    ASSERT_TRUE(seen.contains(kCloseSession));
    EXPECT_EQ(seen.at(kCloseSession), (std::set<std::string>{"The drive could not "}));
    ASSERT_TRUE(seen.contains(kReadDiscInfo));
    EXPECT_EQ(seen.at(kReadDiscInfo), (std::set<std::string>{"The disk is not suit"}));
}

TEST(Faults, DataAddedToACd) {
    Road road;
    road.name = "a second session on a CD-R";
    const FileBytes old = Payload(30'000, 1);
    road.prepare = [&](JobBench& bench) {
        bench.host.queue = {bench.AddFile("old", old)};
        ASSERT_EQ(bench.RunData(), JobEnd::Exit);
        ASSERT_TRUE(bench.drive.Insert(bench.disc));
        bench.host.queue = {bench.AddFile("new", kNew)};
    };
    road.run = [](JobBench& bench) { return bench.RunData(); };
    road.isWhole = [&](JobBench& bench) {
        return HoldsAtSector(bench.Track(1), old) && HoldsAtSector(bench.Track(2), kNew) &&
               bench.IsClosed();
    };
    road.texts = kDataCdTexts;
    road.texts.insert(road.texts.end(), kMergeTexts.begin(), kMergeTexts.end());
    const TextsByOpcode seen = WalkRoad(road);
    ASSERT_TRUE(seen.contains(kWrite));
    EXPECT_EQ(seen.at(kWrite), (std::set<std::string>{"Internal error #165."}));
}

TEST(Faults, DataThatNeedsPaddingOnACd) {
    Road road;
    road.name = "a short data track on a CD-R";
    const FileBytes little = Payload(1000, 3);
    road.prepare = [&](JobBench& bench) { bench.host.queue = {bench.AddFile("small", little)}; };
    road.run = [](JobBench& bench) { return bench.RunData(); };
    road.isWhole = [&](JobBench& bench) {
        return HoldsAtSector(bench.Track(), little) && bench.Track().size() == 300 * 2048 &&
               bench.IsClosed();
    };
    road.texts = kDataCdTexts;
    const TextsByOpcode seen = WalkRoad(road);
    ASSERT_TRUE(seen.contains(kWrite));
    EXPECT_EQ(seen.at(kWrite),
              (std::set<std::string>{"Internal error #165.", "Internal error #166."}));
}

const std::vector<std::u16string> kImageTexts = {
    u"The disk is not suitable for image burning.",
    u"The disk in the drive is not blank.",
    u"The disk type cannot be identified.",
    u"The image size exceeds disk capacity",
    u"Internal error #563.",
    u"Internal error #565.",
    u"The drive could not write the lead-out.",
};

TEST(Faults, ImageOnACd) {
    // The second one ends with a part of a sector, in a write of less than the most.
    for (const size_t bytes : {size_t{400 * 2048}, size_t{302 * 2048 - 1}}) {
        Road road;
        road.name = "an image on a CD-R";
        const FileBytes image = Payload(bytes, 4);
        const FileBytes whole(image.begin(),
                              image.begin() + static_cast<std::ptrdiff_t>(bytes / 2048 * 2048));
        road.prepare = [&](JobBench& bench) { bench.AddFile("image", image); };
        road.run = [](JobBench& bench) {
            return bench.RunImage(ToWide((bench.Source() / "image").string()));
        };
        road.isWhole = [&](JobBench& bench) { return bench.Track() == whole && bench.IsClosed(); };
        road.texts = kImageTexts;
        const TextsByOpcode seen = WalkRoad(road);
        ASSERT_TRUE(seen.contains(kSendCueSheet));
        EXPECT_EQ(seen.at(kSendCueSheet), (std::set<std::string>{"Internal error #563."}));
        ASSERT_TRUE(seen.contains(kWrite));
        EXPECT_EQ(seen.at(kWrite),
                  (std::set<std::string>{"Internal error #563.", "Internal error #565."}))
            << "the pre-gap is part of the start";
        ASSERT_TRUE(seen.contains(kTestUnitReady));
        EXPECT_EQ(seen.at(kTestUnitReady), (std::set<std::string>{"The drive could not "}));
    }
}

TEST(Faults, AudioOnACd) {
    Road road;
    road.name = "audio on a CD-R";
    const FileBytes first = Payload(400 * 2352, 5);
    const FileBytes second = Payload(300 * 2352, 6);
    road.prepare = [&](JobBench& bench) {
        bench.host.queue = {bench.AddWav("1.wav", first), bench.AddWav("2.wav", second)};
    };
    road.run = [](JobBench& bench) { return bench.RunAudio(); };
    road.isWhole = [&](JobBench& bench) {
        return bench.AudioTrack(1) == first && bench.AudioTrack(2) == second && bench.IsClosed();
    };
    road.texts = {u"The disk is not suitable for creating audio disk.",
                  u"The disk in the drive is not blank.",
                  u"Creating DVD-Audio disks is not yet supported.",
                  u"The duration of selected audio files exceeds disk capacity",
                  u"Internal error #663.",
                  u"Internal error #965.",
                  u"The drive could not write the lead-out."};
    const TextsByOpcode seen = WalkRoad(road);
    ASSERT_TRUE(seen.contains(kWrite));
    EXPECT_EQ(seen.at(kWrite),
              (std::set<std::string>{"Internal error #663.", "Internal error #965."}));
    ASSERT_TRUE(seen.contains(kTestUnitReady));
    EXPECT_EQ(seen.at(kTestUnitReady), (std::set<std::string>{"The drive could not "}));
}

TEST(Faults, EraseOfACdRw) {
    Road road;
    road.name = "erasing a CD-RW";
    road.kind = "cd-rw";
    road.prepare = [](JobBench& bench) {
        bench.Finalize();
        bench.drive.SetSpeed({.longOperationMs = 2000});
    };
    road.run = [](JobBench& bench) { return bench.RunErase(); };
    // A disc that refuses to be blanked shows as done: nothing tells the job.
    road.isWhole = [](JobBench&) { return true; };
    road.texts = {u"Cannot erase this disk in this drive."};
    road.mayStayIdle = true;
    WalkRoad(road);
}

} // namespace
} // namespace larkspin
