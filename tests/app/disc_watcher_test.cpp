// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/disc_watcher.h"
#include "drive/profiles.h"
#include "support/temp_folder.h"
#include "virtualdrive/virtual_drive.h"

#include <gtest/gtest.h>

#include <atomic>

namespace larkspin {
namespace {

TEST(DiscsText, TellsOnlyWhatIsKnown) {
    using enum DiscGlance::State;
    const QueueNeeds small = {1000, {}};
    const QueueNeeds songs = {800'000'000, 400'000 * 2352U};
    const struct {
        DiscGlance glance;
        QueueNeeds needs;
        std::u16string text;
    } cases[] = {
        {{0x09, Writable, false, 359'849, 359'849}, small, u"CD-R, 702.83 Mb free"},
        {{0x09, Writable, false, 359'849, 359'849},
         songs,
         u"CD-R, 702.83 Mb free (79:57 of audio)\nThe queue does not fit: 60.11 Mb too much\n"
         u"As an audio CD it is 8:55 too long"},
        {{0x0A, Writable, true, 359'849, 1000}, {800'000, 1}, u"CD-RW, 1.95 Mb free"},
        {{0x1B, Writable, false, 2'295'104, 1000}, {4'000'000'000, {}}, u"DVD+R, 1.95 Mb free"},
        {{0x1B, Writable, false, 2'295'104, 1000},
         {5'000'000'000, {}},
         u"DVD+R, 1.95 Mb free\nThe queue does not fit: 285.75 Mb too much"},
        {{0x1B, Writable, false, 0, {}}, {5'000'000'000, {}}, u"DVD+R"},
        {{0x1A, InPlace, true, 2'295'104, {}}, small, u"DVD+RW, 4.38 Gb"},
        {{0x1A, InPlace, true, 0, {}}, small, u"DVD+RW"},
        {{0x0A, Closed, true, 0, {}}, small, u"CD-RW, to be erased before it is written"},
        {{0x10, Closed, false, 0, {}}, small, u"DVD-ROM, cannot be written"},
        {{0x09, Unclear, false, 0, {}}, small, u"CD-R"},
        {{kUnknownProfile, Writable, false, 359'849, 1000}, small, u"1.95 Mb free"},
        {{kUnknownProfile, Unclear, false, 0, {}}, small, u""},
    };
    for (const auto& [glance, needs, text] : cases) {
        EXPECT_EQ(DiscsText({{u"sr0", glance}}, needs),
                  text.empty() ? text : u"Disc in sr0: " + text);
    }
    const DiscGlance closed = {0x08, Closed, false, 0, {}};
    EXPECT_EQ(DiscsText({{u"sr0", closed}, {u"sr1", closed}}, {}),
              u"Disc in sr0: CD-ROM, cannot be written\nDisc in sr1: CD-ROM, cannot be written");
}

class DiscWatcherTest : public testing::Test {
  protected:
    DiscWatcherTest() {
        drive.SetScript([this](const PortRequest& request, uint64_t) {
            constexpr uint8_t kTestUnitReady = 0x00;
            constexpr uint8_t kInquiry = 0x12; // at each opening of the device
            closeLooks += request.cdb[0] != kTestUnitReady && request.cdb[0] != kInquiry ? 1 : 0;
            return std::optional<InjectedAnswer>();
        });
        watcher.Start(&drive);
    }

    void Insert(const std::string& kind) {
        const std::string path = folder.Path() + "/" + kind;
        ASSERT_TRUE(VirtualDrive::CreateDisc(path, kind));
        ASSERT_TRUE(drive.Insert(path));
    }
    // Looks on until that is what is told.
    void ExpectTold(const std::u16string& text) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        std::u16string told;
        do {
            told = DiscsText(watcher.Discs(), {});
            std::this_thread::yield();
        } while (told != text && std::chrono::steady_clock::now() < end);
        EXPECT_EQ(told, text);
    }
    // Commands while that goes on for some looks' time.
    uint64_t CommandsDuring(const std::function<void()>& work) {
        const uint64_t before = drive.CommandCount();
        for (int times = 0; times < 20; ++times) {
            work();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return drive.CommandCount() - before;
    }

    TempFolder folder;
    std::atomic<bool> isFree = true;
    std::atomic<int> closeLooks = 0;
    VirtualDrive drive{SystemClock()};
    DiscWatcher watcher{SystemClock(), [this] { return isFree.load(); },
                        std::chrono::milliseconds(1)};
};

TEST_F(DiscWatcherTest, LooksCloselyAtEachDiscOnce) {
    Insert("cd-rw");
    ExpectTold(u"Disc in sr0: CD-RW, 702.83 Mb free");
    Insert("dvd+r");
    ExpectTold(u"Disc in sr0: DVD+R, 4.38 Gb free");
    const int looks = closeLooks;
    EXPECT_GT(CommandsDuring([this] { watcher.Discs(); }), 2U);
    EXPECT_EQ(closeLooks, looks);
    drive.Remove();
    ExpectTold(u"");
}

TEST_F(DiscWatcherTest, RestsWhenNobodyAsksAndWhileAJobRuns) {
    Insert("dvd+r");
    ExpectTold(u"Disc in sr0: DVD+R, 4.38 Gb free");
    CommandsDuring([] {}); // the look that was asked for last
    EXPECT_EQ(CommandsDuring([] {}), 0U);

    isFree = false;
    watcher.StandBack();
    const int looks = closeLooks;
    EXPECT_EQ(CommandsDuring([this] { EXPECT_TRUE(watcher.Discs().empty()); }), 0U);
    isFree = true;
    ExpectTold(u"Disc in sr0: DVD+R, 4.38 Gb free");
    EXPECT_GT(closeLooks, looks) << "the job may have changed it";
}

} // namespace
} // namespace larkspin
