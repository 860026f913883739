// The way between a job's thread and the main thread.
#include "ui/qt/main_thread.h"
#include "ui/qt/ui_bench.h"

#include <numeric>
#include <stdexcept>

namespace larkspin {
namespace {

template <class Result>
Result PumpFor(std::future<Result>& job) {
    PumpUntilReady(job);
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
    std::vector<int> expected(1000);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
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
    const auto work = std::make_shared<int>();
    kept->RunOnCaller([work] { ADD_FAILURE(); });
    EXPECT_EQ(work.use_count(), 1) << "too late, and dropped";
    main.ReleaseWaits(); // does not wait for a call that has left
}

TEST(MainThread, ReleaseDropsWorkAndRefusesNewWaits) {
    CMainThread main;
    std::promise<void> waiting;
    bool ran = false;
    auto job = std::async(std::launch::async, [&] {
        return main.PostAndWait(
            [&](const std::shared_ptr<CWaitingCall>& /*call*/) { waiting.set_value(); });
    });
    PumpUntilReady(waiting.get_future());
    main.ReleaseWaits();
    EXPECT_FALSE(job.get());
    EXPECT_FALSE(main.PostAndWait([&](const std::shared_ptr<CWaitingCall>&) { ran = true; }));
    QApplication::processEvents();
    EXPECT_FALSE(ran);
}

} // namespace
} // namespace larkspin
