// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The way between a job's thread and the main thread.
#include "ui/qt/main_thread.h"
#include "ui/qt/ui_bench.h"

#include <numeric>
#include <stdexcept>

namespace larkspin {
namespace {

TEST(MainThread, RunsWhatIsPostedInOrderOnItsOwnThread) {
    CMainThread main;
    std::vector<int> order; // main thread alone
    auto job = Job([&] {
        for (int i = 0; i < 1000; ++i) {
            main.Post([&order, &main, i] { order.push_back(main.IsCurrent() ? i : -1); });
        }
        return main.PostAndWait([](const std::shared_ptr<CWaitingCall>& call) { call->Finish(); });
    });
    EXPECT_TRUE(Finish(job));
    std::vector<int> expected(1000);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
}

TEST(MainThread, WaitingThreadDoesAllThatItIsAskedBeforeItGoesOn) {
    CMainThread main;
    std::vector<std::thread::id> ranOn; // the waiting thread alone, until it is joined
    auto job = Job([&] {
        main.PostAndWait([&](const std::shared_ptr<CWaitingCall>& call) {
            for (int i = 0; i < 100; ++i) {
                call->RunOnCaller([&] { ranOn.push_back(std::this_thread::get_id()); });
            }
            call->Finish();
        });
        return std::this_thread::get_id();
    });
    const std::thread::id waiting = Finish(job);
    EXPECT_EQ(ranOn, std::vector(100, waiting));
}

TEST(MainThread, AFailureOnTheWaitingThreadIsThatThreadsOwn) {
    CMainThread main;
    std::shared_ptr<CWaitingCall> kept;
    auto job = Job([&] {
        return main.PostAndWait([&kept](const std::shared_ptr<CWaitingCall>& call) {
            kept = call;
            call->RunOnCaller([] { throw std::runtime_error("drive"); });
        });
    });
    EXPECT_THROW(Finish(job), std::runtime_error);
    const auto work = std::make_shared<int>();
    kept->RunOnCaller([work] { ADD_FAILURE(); });
    EXPECT_EQ(work.use_count(), 1) << "too late, and dropped";
    main.ReleaseWaits(); // does not wait for a call that has left
}

TEST(MainThread, AFailureOnTheMainThreadHoldsUpNobody) {
    CMainThread main;
    auto job = Job([&] {
        main.Post([] { throw std::runtime_error("a failure that is meant to be told"); });
        const bool ended =
            main.PostAndWait([](const std::shared_ptr<CWaitingCall>&) { throw std::bad_alloc(); });
        return !ended &&
               main.PostAndWait([](const std::shared_ptr<CWaitingCall>& call) { call->Finish(); });
    });
    EXPECT_TRUE(Finish(job));
}

TEST(MainThread, ReleaseDropsWorkAndRefusesNewWaits) {
    CMainThread main;
    std::promise<void> waiting;
    bool ran = false;
    auto job = Job([&] {
        return main.PostAndWait(
            [&](const std::shared_ptr<CWaitingCall>& /*call*/) { waiting.set_value(); });
    });
    Finish(waiting.get_future());
    main.ReleaseWaits();
    EXPECT_FALSE(job.get());
    EXPECT_FALSE(main.PostAndWait([&](const std::shared_ptr<CWaitingCall>&) { ran = true; }));
    QApplication::processEvents();
    EXPECT_FALSE(ran);
}

} // namespace
} // namespace larkspin
