// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "engine_bench.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <fcntl.h>
#include <mutex>
#include <system_error>

namespace larkspin {
namespace {

using Paths = std::vector<std::u16string>;

constexpr const char* kBusy = "Cannot perform your request right now. Disk operation in progress.";

std::string ErrorOf(const std::function<void()>& start) {
    try {
        start();
        return "";
    } catch (const CCDWriterError& error) {
        return error.what();
    }
}

TEST(QueueTexts, SummaryAndHeadLines) {
    const struct {
        std::vector<std::pair<std::u16string, uint64_t>> queued;
        std::u16string summary;
        std::u16string head;
    } cases[] = {
        {{}, u"Queue is empty.", u"Queue contains approximately 0 bytes."},
        {{{u"/a.mp3", 1536}},
         u"Queue contains 1 files and 0 folders.\nTotal data to write is approximatelly 1.50 "
         u"kb.\n\nAll files in queue are audio files. Writing Audio CD is possible.\n"
         u"Total audio duration is 1:01 (min:sec).",
         u"Queue contains approximately 1.50 kb."},
        {{{u"/a.mp3", 1000}, {u"/folder/x", 1}, {u"/folder", 0}},
         u"Queue contains 2 files and 1 folders.\nTotal data to write is approximatelly 2.98 "
         u"kb.\n\nQueue contains non-audio files. Writing Audio CD is impossible",
         u"Queue contains approximately 2.98 kb."},
        {{{u"/x", 8'519'680'001}},
         u"Queue contains 1 files and 0 folders.\nTotal data to write is approximatelly 7.93 "
         u"Gb.\n\nQueue contains non-audio files. Writing Audio CD is impossible",
         u"Queue contains approximately 7.93 Gb. BluRay or HD DVD disc required."},
    };
    for (const auto& test : cases) {
        EngineBench bench;
        for (const auto& [path, size] : test.queued) {
            bench.files.AddFile(path, size);
        }
        for (const auto& [path, size] : test.queued) { // from now on the watcher looks at them
            bench.writer.AddPath(path);
        }
        EXPECT_EQ(bench.Summary(), test.summary);
        EXPECT_EQ(bench.writer.DataHeaderText(), test.head);
    }
    EngineBench bench;
    EXPECT_EQ(bench.writer.AudioHeaderText(846'720'000 + 176'400),
              u"Queue contains 80:01 (min:sec) of audio.");
}

TEST(QueueTexts, ASumThat32BitsCannotHoldStaysLong) {
    CCDWriter::Options options = EngineBench::QuickOptions();
    options.audioLength = [](const std::u16string&, IFileSystem&) { return 0xC0000000U; };
    EngineBench bench(std::move(options));
    bench.writer.AddPath(u"/a.mp3");
    bench.writer.AddPath(u"/b.mp3");
    bench.Summary();
    EXPECT_EQ(bench.writer.QueueAudioBytes(), 0xFFFFFFFFU);
}

// The disk answers when the test lets it; nobody else waits for it.
TEST(QueueTexts, ASlowDiskHoldsUpNothing) {
    std::mutex disk;
    EngineBench bench;
    bench.HoldJobsInDialog();
    bench.files.AddFile(u"/d/a", 4096);
    bench.files.onStatus = [&](const std::u16string&) { const std::lock_guard turn(disk); };
    {
        const std::lock_guard stuck(disk);
        bench.writer.AddPath(u"/d");
        EXPECT_EQ(bench.writer.QueueSummaryText(), std::nullopt);
        bench.writer.TakeOverQueue();
        bench.writer.AddPath(u"/d");
        bench.writer.StartDataWrite();
        ASSERT_TRUE(bench.inDialog.Lock());
        EXPECT_EQ(bench.ui.Headers().at(0), u"Calculating...");
        EXPECT_EQ(bench.writer.HeaderText(JobKind::Data), std::nullopt);
        EXPECT_FALSE(bench.writer.BeginQuit());
    }
    bench.Summary();
    EXPECT_EQ(bench.writer.HeaderText(JobKind::Data), u"Queue contains approximately 4.00 kb.");
    bench.release.Set();
}

TEST(Gate, OfTwoRequestsAtOnceOneGetsThrough) {
    for (int round = 0; round < 100; ++round) {
        EngineBench bench;
        bench.HoldJobsInDialog();
        std::barrier together(2);
        std::atomic<int> refused = 0;
        const auto request = [&] {
            together.arrive_and_wait();
            refused += ErrorOf([&] { bench.writer.StartDataWrite(); }) == kBusy ? 1 : 0;
        };
        std::thread first(request);
        std::thread second(request);
        first.join();
        second.join();
        EXPECT_EQ(refused, 1);
        bench.release.Set();
        bench.writer.Detach();
        EXPECT_EQ(bench.ui.Headers().size(), 1U);
    }
}

TEST(Gate, WithoutAThreadTheGateOpensAgain) {
    CCDWriter::Options options = EngineBench::QuickOptions();
    int threads = 0;
    options.startThread = [&threads](std::function<void()> body) {
        switch (++threads) {
        case 1:
            throw std::system_error(
                std::make_error_code(std::errc::resource_unavailable_try_again));
        case 2:
            throw std::bad_alloc();
        default:
            break;
        }
        return std::thread(std::move(body));
    };
    EngineBench bench(std::move(options));
    bench.ui.data.bCancelled = true;
    for (int without = 0; without < 2; ++without) {
        EXPECT_EQ(ErrorOf([&] { bench.writer.StartDataWrite(); }),
                  "Internal error #124. Disk operation cannot be started.");
        EXPECT_FALSE(bench.writer.IsBusy());
    }
    EXPECT_EQ(ErrorOf([&] { bench.writer.StartDataWrite(); }), "");
}

TEST(Gate, AJobThatEndsTheProgramIsTheLastOne) {
    CEvent asked(CEvent::Reset::Auto);
    EngineBench bench;
    bench.ui.onExit = [&] { asked.Set(); };
    bench.writer.StartImageBurn(u"/no such image");
    ASSERT_TRUE(asked.Lock());
    EXPECT_EQ(bench.ui.Texts(), Paths{u"Internal error #561. Unable to open image file."});
    EXPECT_FALSE(bench.writer.IsBusy());
    EXPECT_TRUE(bench.writer.IsLeaving());
    EXPECT_EQ(ErrorOf([&] { bench.writer.StartDataWrite(); }), kBusy);
}

// What was accepted while a job had the program's attention stays, and the program with it.
TEST(Queue, NothingThatAJobDidNotTakeIsLost) {
    const std::u16string told = u"These have not been written yet and are still in the queue:\n";
    enum Job { Data, FeedersData, DataTakenOver, Image }; // the dialogs of all are cancelled
    const struct {
        Job job;
        Paths before;
        Paths meanwhile;
        Paths after;
        std::optional<std::u16string> notice;
    } cases[] = {
        {Data, {u"/a"}, {u"/b"}, {u"/a", u"/b"}, {}},
        {FeedersData, {u"/a"}, {}, {}, {}},
        {FeedersData, {u"/a", u"/b"}, {u"/b", u"/c"}, {u"/c"}, told + u"\n/c"},
        {DataTakenOver, {u"/a"}, {u"/a"}, {u"/a"}, told + u"\n/a"},
        {Image, {}, {}, {}, {}},
        {Image, {u"/a"}, {}, {u"/a"}, told + u"\n/a"},
        {Image,
         {u"/1", u"/2", u"/3"},
         {u"/4", u"/5", u"/6", u"/7"},
         {u"/1", u"/2", u"/3", u"/4", u"/5", u"/6", u"/7"},
         told + u"\n/1\n/2\n/3\n/4\n/5\n...and 2 more."},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        EngineBench bench;
        bench.HoldJobsInDialog();
        bench.files.AddFile(u"/image", 2048);
        const auto add = [&](const std::u16string& path) { return bench.writer.AddPath(path); };
        if (test.job == FeedersData) {
            bench.writer.TakeOverQueue();
        }
        std::for_each(test.before.begin(), test.before.end(), add);
        test.job == Image ? bench.writer.StartImageBurn(u"/image") : bench.writer.StartDataWrite();
        ASSERT_TRUE(bench.inDialog.Lock());
        if (test.job == DataTakenOver) {
            bench.writer.TakeOverQueue();
        }
        EXPECT_TRUE(std::all_of(test.meanwhile.begin(), test.meanwhile.end(), add));
        bench.release.Set();
        bench.writer.Detach();
        EXPECT_EQ(bench.writer.Paths(), test.after);
        EXPECT_EQ(bench.ui.Exits(), test.after.empty() ? 1 : 0);
        EXPECT_EQ(add(u"/later"), !test.after.empty());
        const auto balloons = bench.view.Balloons();
        ASSERT_EQ(balloons.size(), test.notice ? 1U : 0U);
        EXPECT_TRUE(!test.notice || balloons[0].text == *test.notice);
    }
}

TEST(Queue, AJobTakesItsPathsOnce) {
    EngineBench bench;
    bench.writer.AddPath(u"/a");
    EXPECT_EQ(bench.writer.CopyQueue(), Paths{u"/a"});
    bench.writer.AddPath(u"/b");
    bench.writer.TakePaths();
    EXPECT_EQ(bench.writer.Paths(), Paths{u"/b"});
    bench.writer.AddPath(u"/a");
    bench.writer.TakePaths(); // before the next copy
    EXPECT_EQ(bench.writer.Paths(), (Paths{u"/b", u"/a"}));
}

// logind on its bus, which gives out so many locks and no more.
struct FakeLogind final : ISystemBus {
    BusReply Call(const BusCall& call) override {
        EXPECT_EQ(call.interface + '.' + call.method, "org.freedesktop.login1.Manager.Inhibit");
        EXPECT_LE(call.limit, std::chrono::seconds(5));
        EXPECT_EQ(std::get<std::string>(call.arguments.at(3)), "block");
        asked.push_back(std::get<std::string>(call.arguments.at(0)));
        BusReply reply;
        if (locks.size() == grants) {
            reply.error = "org.freedesktop.DBus.Error.AccessDenied";
        } else {
            locks.push_back(reply.descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC));
        }
        return reply;
    }
    auto CountHeld() const {
        return std::count_if(locks.begin(), locks.end(),
                             [](int lock) { return ::fcntl(lock, F_GETFD) >= 0; });
    }

    size_t grants = 0;
    std::vector<int> locks;
    std::vector<std::string> asked;
};

TEST(Frame, TheMachineStaysAwakeForAJob) {
    const std::vector<std::string> both = {"shutdown:sleep:idle", "handle-lid-switch"};
    for (const size_t grants : {0, 1, 2}) {
        FakeLogind logind;
        logind.grants = grants;
        CCDWriter::Options options = EngineBench::QuickOptions();
        options.systemBus = &logind;
        EngineBench bench(std::move(options));
        bench.HoldJobsInDialog();
        bench.writer.StartDataWrite();
        ASSERT_TRUE(bench.inDialog.Lock());
        EXPECT_EQ(logind.asked, grants > 0 ? both : std::vector{both[0]});
        EXPECT_EQ(logind.CountHeld(), static_cast<std::ptrdiff_t>(grants));
        bench.release.Set();
        bench.writer.Detach();
        EXPECT_EQ(logind.CountHeld(), 0);
    }
}

TEST(Frame, NothingThatFindsNoMemoryEndsTheProcessOrTheEnd) {
    for (const bool queued : {false, true}) {
        CEvent over(CEvent::Reset::Auto);
        EngineBench bench;
        int failures = 0; // the job's thread alone, until it is joined
        const auto failOnce = [&failures](int at) {
            if (failures == at) {
                ++failures;
                throw std::bad_alloc();
            }
        };
        bench.ui.onDialog = [&] { failOnce(0); };
        bench.ui.onBox = [&](const FakeUi::Box&) {
            failOnce(1);
            return true;
        };
        const auto end = [&] {
            failOnce(2);
            over.Set();
        };
        bench.ui.onExit = end;
        bench.view.onBalloon = [&](const FakeMainView::Balloon&) { end(); };
        if (queued) {
            bench.writer.AddPath(u"/a");
        }
        bench.writer.StartDataWrite();
        EXPECT_TRUE(over.Lock(std::chrono::seconds(60)));
        bench.writer.Detach();
        EXPECT_EQ(bench.ui.Texts(), (Paths{u"Out of memory", u"Out of memory"}));
        EXPECT_EQ(bench.ui.Exits(), queued ? 0 : 2);
        EXPECT_EQ(bench.writer.IsLeaving(), !queued);
        EXPECT_FALSE(bench.writer.IsBusy());
        EXPECT_EQ(failures, 3);
    }
}

TEST(Frame, SettingsAreReadAnewForEachJob) {
    EngineBench bench;
    bench.ui.data.bCancelled = true;
    EXPECT_TRUE(bench.writer.BufferUnderrunProtection());
    bench.store.WriteNumber("Software\\Quernstone Development\\cdwrite", "BufferUnderrunProtection",
                            0);
    bench.writer.StartDataWrite();
    bench.writer.Detach();
    EXPECT_FALSE(bench.writer.BufferUnderrunProtection());
    EXPECT_TRUE(bench.writer.WriteSpeedControl());
    EXPECT_TRUE(bench.ui.VerifyOffered());
}

TEST(Frame, AWishToVerifyIsForOneJob) {
    EngineBench bench;
    bench.ui.data.bCancelled = true;
    for (const VerifyWish wish : {VerifyWish::No, VerifyWish::AsSet, VerifyWish::Yes}) {
        bench.store.WriteNumber("Software\\Quernstone Development\\cdwrite", "VerifyAfterWriting",
                                wish == VerifyWish::Yes ? 0 : 1);
        bench.writer.StartDataWrite(wish);
        while (bench.writer.IsBusy()) {
            std::this_thread::yield();
        }
        EXPECT_EQ(bench.ui.VerifyOffered(), wish != VerifyWish::No);
    }
}

} // namespace
} // namespace larkspin
