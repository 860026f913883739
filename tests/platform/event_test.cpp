// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <vector>

namespace larkspin {
namespace {

using std::chrono::milliseconds;

TEST(Event, ManualStaysSetAndAutoLetsOneThrough) {
    CEvent manual(CEvent::Reset::Manual);
    CEvent once(CEvent::Reset::Auto);
    EXPECT_FALSE(manual.Lock(milliseconds(0)));
    EXPECT_FALSE(once.Lock(milliseconds(1)));
    EXPECT_FALSE(manual.IsSet());
    manual.Set();
    once.Set();
    once.Set(); // a signal that nobody has taken yet does not count twice
    EXPECT_TRUE(once.IsSet());
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(manual.Lock(milliseconds(0)));
        EXPECT_EQ(once.Lock(milliseconds(0)), i == 0);
    }
    EXPECT_TRUE(manual.IsSet());
    EXPECT_FALSE(once.IsSet());
}

TEST(Event, ManualFreesAllWaitersAndAutoOneForEachSignal) {
    for (int round = 0; round < 50; ++round) {
        CEvent manual(CEvent::Reset::Manual);
        CEvent each(CEvent::Reset::Auto);
        CEvent arrived(CEvent::Reset::Auto);
        std::atomic<int> through = 0;
        std::vector<std::future<void>> waiters; // joined as they go
        for (int i = 0; i < 4; ++i) {
            waiters.push_back(std::async(std::launch::async, [&] {
                manual.Lock();
                each.Lock();
                ++through;
                arrived.Set();
            }));
        }
        manual.Set();
        for (int i = 1; i <= 4; ++i) {
            each.Set();
            arrived.Lock();
            EXPECT_EQ(through, i);
        }
    }
}

// Who waited may do away with the event at once, while the signaller is still on its way out.
TEST(Event, MayGoAsSoonAsItsWaiterIsThrough) {
    for (int round = 0; round < 200; ++round) {
        auto event = std::make_unique<CEvent>(CEvent::Reset::Manual);
        const auto signaller = std::async(std::launch::async, [&event = *event] { event.Set(); });
        event->Lock();
        event.reset();
    }
}

} // namespace
} // namespace larkspin
