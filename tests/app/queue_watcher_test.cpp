// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/queue_watcher.h"
#include "jobs/capacity_marks.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

constexpr const char16_t* k700 = u"You have added more than 700 Mb files to queue.\n"
                                 u"DVD±R/RW disk is required to write them.";
constexpr const char16_t* k47 = u"You have added more than 4.7 Gb files to queue.\n"
                                u"Double Layer DVD±R/RW disk is required to write them.";
constexpr const char16_t* k85 = u"You have added more than 8.5 Gb files to queue.\n"
                                u"These files won't fit any disk.";
constexpr const char16_t* k80 =
    u"You have added more than 80 minutes of audio files to queue.\n"
    u"This is too much for an Audio CD.\n\n"
    u"Notice that writing them as Data CD (like famous MP3-CDs) is still possible.";

struct Step {
    uint64_t bytes;
    bool allAudio;
    uint32_t audioBytes;
    const char16_t* text; // null: no notice
};

TEST(CapacityNotices, ComeOnceForEachMarkThatTheQueuePasses) {
    const struct {
        const char* name;
        std::vector<Step> steps;
    } cases[] = {
        {"the mark itself is not above it",
         {{737'280'000, false, 0, nullptr}, {737'280'001, false, 0, k700}}},
        {"each mark in turn",
         {{737'280'001, false, 0, k700},
          {800'000'000, false, 0, nullptr},
          {4'689'920'001, false, 0, k47},
          {8'519'680'000, false, 0, nullptr},
          {8'519'680'001, false, 0, k85},
          {9'000'000'000, false, 0, nullptr}}},
        {"two marks at once tell the higher", {{5'000'000'000, false, 0, k47}}},
        {"after a clear the same queue speaks again",
         {{800'000'000, false, 0, k700}, {0, true, 0, nullptr}, {800'000'000, false, 0, k700}}},
        {"falling below one mark only",
         {{5'000'000'000, false, 0, k47},
          {1'000'000'000, false, 0, nullptr},
          {5'000'000'000, false, 0, k47}}},
        {"audio at the mark and above",
         {{1000, true, 846'720'000, nullptr},
          {1001, true, 846'720'001, k80},
          {1002, true, 900'000'000, nullptr},
          {1001, true, 1000, nullptr},
          {1002, true, 900'000'000, k80}}},
        {"the size speaks first, the time at the next pass",
         {{800'000'000, true, 900'000'000, k700}, {800'000'001, true, 900'000'001, k80}}},
        {"no time for a queue that isn't all audio", {{1000, false, 0, nullptr}}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        CapacityNotices notices;
        for (const Step& step : test.steps) {
            const auto notice = notices.Pass({step.bytes, step.allAudio, step.audioBytes});
            ASSERT_EQ(notice.has_value(), step.text != nullptr) << step.bytes;
            if (notice) {
                EXPECT_EQ(notice->text, step.text);
                const bool error = notice->text == k85;
                EXPECT_EQ(notice->title, error ? u"Error" : u"Warning");
                EXPECT_EQ(notice->icon, error ? BalloonIcon::Error : BalloonIcon::Warning);
            }
        }
    }
}

TEST(QueueWatcher, StopsInTheMiddleOfSettlingAndOfMeasuring) {
    const auto unexpected = [](const QueueNotice&) { ADD_FAILURE() << "a notice after the stop"; };
    for (const int settleMs : {3'600'000, 0}) {
        CEvent measuring(CEvent::Reset::Auto);
        QueueWatcher watcher(
            [&](const std::stop_token& stop) {
                measuring.Set();
                CEvent stopped(CEvent::Reset::Manual);
                const std::stop_callback onStop(stop, [&] { stopped.Set(); });
                stopped.Lock();
                return QueueTotals{kDvdBytes + 1, false, 0}; // comes too late
            },
            std::chrono::milliseconds(settleMs));
        watcher.Start(unexpected);
        watcher.QueueChanged();
        const bool isSettling = settleMs > 0;
        EXPECT_NE(measuring.Lock(std::chrono::milliseconds(isSettling ? 50 : 60'000)), isSettling);
    }
}

TEST(QueueWatcher, OutlivesAMeasuringWithoutMemory) {
    int measured = 0; // the watcher alone, until it is joined
    CEvent told(CEvent::Reset::Auto);
    QueueWatcher watcher(
        [&](const std::stop_token&) {
            if (++measured == 1) {
                throw std::bad_alloc();
            }
            return QueueTotals{kDvdBytes + 1, false, 0};
        },
        std::chrono::milliseconds(0));
    watcher.Start([&](const QueueNotice&) { told.Set(); });
    watcher.QueueChanged();
    EXPECT_TRUE(told.Lock(std::chrono::seconds(60)));
}

} // namespace
} // namespace larkspin
