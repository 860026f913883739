// What a strict drive refuses, each refusal with its sense.
#include "host.h"

#include <functional>

namespace larkspin {

namespace {

class RefereeTest : public DriveTest {};

struct Refusal {
    const char* what;
    std::function<int(Host&)> send;
    int code;
};

void ExpectRefusals(Host& host, const std::vector<Refusal>& refusals) {
    for (const Refusal& refusal : refusals)
        EXPECT_EQ(refusal.send(host), refusal.code) << refusal.what;
}

TEST_F(RefereeTest, WithoutADisc) {
    ExpectRefusals(host, {
                             {"ready", [](Host& h) { return h.TestUnitReady(); }, 0x23A01},
                             {"start",
                              [](Host& h) {
                                  return h.None({0x1B, 0, 0, 0, 1, 0});
                              },
                              0x23A01},
                             {"load",
                              [](Host& h) {
                                  return h.None({0x1B, 0, 0, 0, 3, 0});
                              },
                              0x23A01},
                             {"write", [](Host& h) { return h.Write(0, Bytes(2048)); }, 0x23A01},
                             {"read", [](Host& h) { return h.Read(0, 1); }, 0x23A01},
                             {"disc",
                              [](Host& h) {
                                  return h.In({0x51, 0, 0, 0, 0, 0, 0, 0, 34, 0}, 34);
                              },
                              0x23A01},
                             {"open tray",
                              [](Host& h) {
                                  EXPECT_EQ(h.None({0x1B, 0, 0, 0, 2, 0}), kGood);
                                  return h.TestUnitReady();
                              },
                              0x23A02},
                         });
    // No profile is current, but the drive tells what it can do.
    ASSERT_EQ(host.In({0x46, 0, 0, 0, 0, 0, 0, 0, 8, 0}, 8), kGood);
    EXPECT_EQ(LoadBe16(&host.data[6]), 0);
    EXPECT_GT(LoadBe32(&host.data[0]), 100U);
}

TEST_F(RefereeTest, OfABlankDisc) {
    Load("cd-r");
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    ExpectRefusals(
        host,
        {
            {"unknown command",
             [](Host& h) {
                 return h.None({0xFE, 0, 0, 0, 0, 0});
             },
             0x52000},
            {"read buffer",
             [](Host& h) {
                 return h.In({0x3C, 0, 0, 0, 0, 0, 0, 0, 4, 0}, 4);
             },
             0x52000},
            {"nothing to read", [](Host& h) { return h.Read(0, 1); }, 0x52100},
            {"no table of contents",
             [](Host& h) {
                 return h.In({0x43, 0, 0, 0, 0, 0, 0, 0, 12, 0}, 12);
             },
             0x52400},
            {"track 2 of none", [](Host& h) { return h.TrackInformation(1, 2); }, 0x52400},
            {"not at the next address", [](Host& h) { return h.Write(1, Bytes(2048)); }, 0x52102},
            {"pre-gap at once", [](Host& h) { return h.Write(-150, Bytes(2048)); }, 0x52102},
            {"fewer bytes than told",
             [](Host& h) { return h.Out(Host::Address10(0x2A, 0, 2), Bytes(2048)); }, 0xB4B00},
            {"audio blocks in a data track",
             [](Host& h) {
                 EXPECT_EQ(h.SelectWriteType(1, 3, 4, 0), kGood);
                 return h.Write(0, Bytes(2352), 2352);
             },
             0x56400},
            {"session at once without a cue sheet",
             [](Host& h) {
                 EXPECT_EQ(h.SelectSessionAtOnce(), kGood);
                 return h.Write(-150, Bytes(2048));
             },
             0x52C00},
            {"cue sheet at track at once",
             [](Host& h) {
                 EXPECT_EQ(h.SelectTrackAtOnce(), kGood);
                 return h.SendCueSheet(Bytes(32));
             },
             0x52C00},
            {"blanking of a write-once disc",
             [](Host& h) {
                 return h.None({0xA1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
             },
             0x53005},
            {"close function of another medium", [](Host& h) { return h.Close(5); }, 0x52400},
            {"DVD structure",
             [](Host& h) {
                 return h.In({0xAD, 0, 0, 0, 0, 0, 0, 0, 0, 20, 0, 0}, 20);
             },
             0x53002},
            {"saved pages",
             [](Host& h) {
                 return h.In({0x5A, 8, 0xC5, 0, 0, 0, 0, 0, 60, 0}, 60);
             },
             0x53900},
            {"unknown page",
             [](Host& h) {
                 return h.In({0x5A, 8, 0x22, 0, 0, 0, 0, 0, 60, 0}, 60);
             },
             0x52400},
            {"asynchronous events",
             [](Host& h) {
                 return h.In({0x4A, 0, 0, 0, 0x10, 0, 0, 0, 8, 0}, 8);
             },
             0x52400},
        });
    EXPECT_EQ(host.DiscStatus(), 0) << "none of these touched the disc";
}

TEST_F(RefereeTest, OfModePages) {
    Load("cd-r");
    const Bytes page = host.WriteParametersPage();
    const auto with = [&page](size_t index, uint8_t value) {
        Bytes changed = page;
        changed[index] = value;
        return changed;
    };
    struct Case {
        const char* what;
        Bytes page;
        int code;
    };
    for (const Case& test : std::initializer_list<Case>{
             {"as it is", page, kGood},
             {"packet writing", with(2, 0x40), 0x52600},
             {"raw writing", with(2, 0x43), 0x52600},
             {"test writing", with(2, 0x51), 0x52600},
             {"reserved multi-session", with(3, 0x84), 0x52600},
             {"block type of packets", with(4, 0x0A), 0x52600},
             {"wrong length", with(1, 0x30), 0x52600},
             {"parameters saveable", with(0, 0x85), 0x52600},
             {"cut short", Bytes(page.begin(), page.begin() + 20), 0x51A00},
             {"read-only page", {0x2A, 2, 0, 0}, 0x52600},
         })
        EXPECT_EQ(host.SelectPage(test.page), test.code) << test.what;
    EXPECT_EQ(host.WriteParametersPage(), page) << "refused pages change nothing";
    // Without the page format bit, as some hosts set the block size.
    EXPECT_EQ(host.Out({0x55, 0, 0, 0, 0, 0, 0, 0, 12, 0}, {0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 8, 0}),
              0x52400);
}

TEST_F(RefereeTest, OfALockedDoor) {
    Load("cd-r");
    std::string ejected;
    drive.SetOnEject([&](const std::string& path) { ejected = path; });
    ASSERT_EQ(host.None({0x1E, 0, 0, 0, 1, 0}), kGood);
    EXPECT_TRUE(drive.IsDoorLocked());
    EXPECT_EQ(host.None({0x1B, 0, 0, 0, 2, 0}), 0x55302);
    EXPECT_TRUE(drive.HasDisc());
    ASSERT_EQ(host.None({0x1E, 0, 0, 0, 0, 0}), kGood);
    EXPECT_EQ(host.None({0x1B, 0, 0, 0, 2, 0}), kGood);
    EXPECT_FALSE(drive.HasDisc());
    EXPECT_EQ(ejected, Disc());
}

TEST_F(RefereeTest, NewMediumIsAnnouncedOnce) {
    Load("cd-rw");
    ASSERT_TRUE(drive.Insert(Disc()));
    // Neither inquiry nor configuration nor event polling reports the attention.
    EXPECT_EQ(host.In({0x12, 0, 0, 0, 36, 0}, 36), kGood);
    EXPECT_EQ(host.In({0x46, 1, 0, 0, 0, 0, 0, 0, 8, 0}, 8), kGood);
    EXPECT_EQ(LoadBe16(&host.data[6]), 0x0A);
    EXPECT_EQ(host.In({0x4A, 1, 0, 0, 0x10, 0, 0, 0, 8, 0}, 8), kGood);
    EXPECT_EQ(Bytes(host.data.begin() + 2, host.data.begin() + 6), (Bytes{4, 0x56, 2, 2}));
    EXPECT_EQ(host.In({0x4A, 1, 0, 0, 0x10, 0, 0, 0, 8, 0}, 8), kGood);
    EXPECT_EQ(host.data[4], 0) << "the event was handed over";
    EXPECT_EQ(host.Read(0, 1), 0x62800);
    EXPECT_EQ(host.TestUnitReady(), kGood);
    drive.Remove();
    EXPECT_EQ(host.TestUnitReady(), 0x23A01);
}

} // namespace

} // namespace larkspin
