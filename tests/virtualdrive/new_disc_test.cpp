// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a new disc of each kind tells of itself.
#include "host.h"

namespace larkspin {

namespace {

using NewDiscTest = DriveTest;

TEST_F(NewDiscTest, TellsWhatItIs) {
    const struct {
        const char* kind;
        uint16_t profile;
        std::set<uint16_t> features; // that are current and depend on the medium
        int status;
        int track;     // blank 40h, packets 20h, fixed ones 10h, data mode
        uint32_t free; // blocks for a first track
        std::string capacities;
    } cases[] = {
        {"cd-r", 0x09, {0x10, 0x1D, 0x1E, 0x2D, 0x2E}, 0, 0x4F, 359'849, "359849/1"},
        {"cd-rw", 0x0A, {0x10, 0x1D, 0x1E, 0x2D, 0x2E, 0x37}, 0x10, 0x4F, 359'849, "359849/1"},
        {"dvd-r", 0x11, {0x10, 0x1F, 0x21, 0x2F}, 0, 0x61, 2'298'496, "2298496/1"},
        {"dvd-rw",
         0x14,
         {0x10, 0x1F, 0x21, 0x23, 0x2F},
         0x10,
         0x61,
         2'298'496,
         "2298496/1 2298496/0 2298496/16 2298496/21"},
        {"dvd-r-dl", 0x15, {0x10, 0x1F, 0x21, 0x2F}, 0, 0x61, 4'171'712, "4171712/1"},
        {"dvd+r", 0x1B, {0x10, 0x1F, 0x2B}, 0, 0x41, 2'295'104, "2295104/1"},
        {"dvd+r-dl", 0x2B, {0x10, 0x1F, 0x3B}, 0, 0x41, 4'173'824, "4173824/1"},
        {"dvd+rw", 0x1A, {0x10, 0x1F, 0x23, 0x2A}, 0x10, 0x41, 2'295'104, "2295104/1 2295104/38"},
        {"dvd-ram", 0x12, {0x10, 0x1F, 0x20, 0x23, 0x24}, 0x10, 0x31, 0, "2236704/2 2236704/0"},
        {"dvd-rw-ow",
         0x13,
         {0x10, 0x1F, 0x23, 0x26, 0x2C},
         0x1E,
         0x31,
         0,
         "2298496/2 2298496/0 2298496/16 2298496/21 0/19 0/17"},
        {"bd-r",
         0x41,
         {0x10, 0x21, 0x23, 0x40, 0x41},
         0,
         0x41,
         12'219'392,
         "12219392/1 11826176/0 11826176/50 5796864/50 12088320/50 12219392/50"},
        {"bd-re",
         0x43,
         {0x10, 0x23, 0x40, 0x41},
         0x10,
         0x71,
         12'219'392,
         "12219392/1 11826176/0 11826176/48 11564032/48 12088320/48 12219392/49"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.kind);
        Load(test.kind);
        EXPECT_EQ(host.Profile(), test.profile);
        EXPECT_EQ(host.CurrentFeatures(), test.features);
        EXPECT_EQ(host.DiscStatus(), test.status);
        EXPECT_EQ(host.FormatCapacities(), test.capacities);
        ASSERT_EQ(host.TrackInformation(1, 1), kGood);
        EXPECT_EQ(host.data[6], test.track);
        EXPECT_EQ(host.Data32(16), test.free);
        EXPECT_EQ(host.TrackInformation(1, 2), kInvalidFieldInCdb) << "there is only one";
        if (test.free == 0) {
            continue;
        }
        EXPECT_EQ(host.Toc(0), kInvalidFieldInCdb);
        EXPECT_EQ(host.Read(0, 1), kOutOfRange);
        if (test.profile == 0x43) {
            continue;
        }
        EXPECT_EQ(host.Close(2), kGood) << "nothing to close";
        if (test.profile != 0x1A) {
            EXPECT_EQ(host.NextWritable(), 0);
            EXPECT_EQ(host.data[7], 1) << "nothing recorded";
        }
    }
}

TEST_F(NewDiscTest, ACdSaysWhereItsSessionsBeginAndEnd) {
    Load("cd-r");
    ASSERT_EQ(host.ReadDiscInformation(), kGood);
    EXPECT_EQ(host.data[8], 0xFF) << "no type of disc yet";
    // Lead-in of the only session, and 79:59:74 as the last start of the lead-out.
    EXPECT_EQ(host.DataAt(16, 8), (Bytes{0, 97, 0, 0, 0, 79, 59, 74}));
    // In one go a session begins with its pre-gap.
    EXPECT_EQ(host.SelectSessionAtOnce(), kGood);
    EXPECT_EQ(host.NextWritable(), -150);
}

} // namespace

} // namespace larkspin
