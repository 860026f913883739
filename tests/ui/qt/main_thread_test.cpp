// The way between a job's thread and the main thread.
#include "ui/qt/main_thread.h"
#include "ui/qt/ui_bench.h"

#include <QApplication>
#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <vector>

namespace larkspin {
namespace {

template <class Result>
Result PumpFor(std::future<Result>& job) {
    QElapsedTimer patience;
    patience.start();
    while (job.wait_for(std::chrono::seconds(0)) != std::future_status::ready &&
           !patience.hasExpired(60'000)) {
        PumpOnce();
    }
    return job.get();
}

TEST(MainThread, RunsWhatIsPostedInOrderOnItsOwnThread) {
    CMainThread main;
    std::vector<int> order; // main thread alone
    auto job = std::async(std::launch::async, [&] {
        for (int i = 0; i < 1000; ++i) {
            main.Post([&order, &main, i] { order.push_back(main.IsCurrent() ? i : -1); });
        }
        return main.PostAndWait([](const std::shared_ptr<CWaitingCall>& call) { call->Finish(); });
    });
    EXPECT_TRUE(PumpFor(job));
    ASSERT_EQ(order.size(), 1000U);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(order[static_cast<size_t>(i)], i);
    }
}

TEST(MainThread, WaitingThreadDoesWhatItIsAskedBeforeItGoesOn) {
    CMainThread main;
    std::vector<std::thread::id> ranOn; // the waiting thread alone, until it is joined
    auto job = std::async(std::launch::async, [&] {
        const bool finished = main.PostAndWait([&ranOn](const std::shared_ptr<CWaitingCall>& call) {
            const auto note = [&ranOn] { ranOn.push_back(std::this_thread::get_id()); };
            call->RunOnCaller(note);
            call->RunOnCaller(note);
            call->Finish();
            call->RunOnCaller(note); // may or may not be in time
        });
        return finished && ranOn.size() >= 2 && ranOn[0] == std::this_thread::get_id() &&
               ranOn[1] == ranOn[0];
    });
    EXPECT_TRUE(PumpFor(job));
}

TEST(MainThread, AFailureOnTheWaitingThreadIsThatThreadsOwn) {
    CMainThread main;
    std::shared_ptr<CWaitingCall> kept;
    auto job = std::async(std::launch::async, [&] {
        return main.PostAndWait([&kept](const std::shared_ptr<CWaitingCall>& call) {
            kept = call;
            call->RunOnCaller([] { throw std::runtime_error("drive"); });
        });
    });
    EXPECT_THROW(PumpFor(job), std::runtime_error);
    bool ran = false;
    kept->RunOnCaller([&] { ran = true; }); // too late, and dropped
    main.ReleaseWaits();                    // does not wait for a call that has left
    EXPECT_FALSE(ran);
}

TEST(MainThread, ReleaseDropsWorkAndRefusesNewWaits) {
    CMainThread main;
    std::promise<void> waiting;
    bool ran = false;
    auto job = std::async(std::launch::async, [&] {
        return main.PostAndWait(
            [&](const std::shared_ptr<CWaitingCall>& /*call*/) { waiting.set_value(); });
    });
    auto shown = waiting.get_future();
    while (shown.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        PumpOnce();
    }
    main.ReleaseWaits();
    EXPECT_FALSE(job.get());
    EXPECT_FALSE(main.PostAndWait([&](const std::shared_ptr<CWaitingCall>&) { ran = true; }));
    QApplication::processEvents();
    EXPECT_FALSE(ran);
}

} // namespace
} // namespace larkspin
