#include "platform/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace larkspin {
namespace {

using std::chrono::milliseconds;

TEST(Event, ManualStaysSetAndAutoLetsOneThrough) {
    CEvent manual(CEvent::Reset::Manual);
    CEvent once(CEvent::Reset::Auto);
    EXPECT_FALSE(manual.IsSet());
    EXPECT_FALSE(manual.Lock(milliseconds(0)));
    EXPECT_FALSE(once.Lock(milliseconds(1)));
    manual.Set();
    once.Set();
    once.Set(); // a signal that nobody has taken yet does not count twice
    EXPECT_TRUE(manual.IsSet());
    EXPECT_TRUE(once.IsSet());
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(manual.Lock(milliseconds(0)));
        EXPECT_EQ(once.Lock(milliseconds(0)), i == 0);
    }
    EXPECT_TRUE(manual.IsSet());
    EXPECT_FALSE(once.IsSet());
}

TEST(Event, ManualFreesAllWaitersAndAutoOneForEachSignal) {
    constexpr int kWaiters = 4;
    CEvent manual(CEvent::Reset::Manual);
    CEvent each(CEvent::Reset::Auto);
    CEvent arrived(CEvent::Reset::Auto);
    std::atomic<int> through = 0;
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.emplace_back([&] {
            manual.Lock();
            each.Lock();
            ++through;
            arrived.Set();
        });
    }
    manual.Set();
    for (int i = 1; i <= kWaiters; ++i) {
        each.Set();
        arrived.Lock();
        EXPECT_EQ(through, i);
    }
    for (std::thread& waiter : waiters) {
        waiter.join();
    }
}

// Who waited may do away with the event at once, while the signaller is still on its way out.
TEST(Event, MayGoAsSoonAsItsWaiterIsThrough) {
    for (int round = 0; round < 200; ++round) {
        auto event = std::make_unique<CEvent>(CEvent::Reset::Manual);
        std::thread signaller([&event = *event] { event.Set(); });
        event->Lock();
        event.reset();
        signaller.join();
    }
}

} // namespace
} // namespace larkspin
