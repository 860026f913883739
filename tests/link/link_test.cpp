// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "link/frame_socket.h"
#include "link/link.h"
#include "link/protocol.h"
#include "link/remote_models.h"
#include "link/remote_ui.h"
#include "link/ui_host.h"
#include "support/fake_main_view.h"
#include "support/fake_ui.h"
#include "support/memory_store.h"
#include "ui/fakes.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <future>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace larkspin {
namespace {

using namespace std::chrono_literals;

std::array<int, 2> SocketPair() {
    std::array<int, 2> ends = {-1, -1};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    return ends;
}

// Runs what is posted to it on a thread of its own.
class MainLoop {
  public:
    ~MainLoop() {
        Post({});
        m_thread.join();
    }
    void Post(std::function<void()> work) {
        const std::lock_guard lock(m_mutex);
        m_posted.push_back(std::move(work));
        m_came.notify_all();
    }
    Link::Post AsPost() {
        return [this](std::function<void()> work) { Post(std::move(work)); };
    }
    // Runs `work` on the loop, and waits for it.
    void Do(const std::function<void()>& work) {
        const auto done = std::make_shared<std::promise<void>>();
        Post([&work, done] {
            work();
            done->set_value();
        });
        done->get_future().wait();
    }

  private:
    void Run() {
        for (;;) {
            std::unique_lock lock(m_mutex);
            m_came.wait(lock, [this] { return !m_posted.empty(); });
            const std::function<void()> work = std::move(m_posted.front());
            m_posted.pop_front();
            lock.unlock();
            if (!work) {
                return;
            }
            work();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_came;
    std::deque<std::function<void()>> m_posted;
    std::thread m_thread{[this] { Run(); }};
};

template <typename Predicate>
void Await(Predicate predicate) {
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (!predicate()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "waited in vain";
        std::this_thread::sleep_for(1ms);
    }
}

TEST(LinkTest, WhatIsNoFrameOrNoValueClosesTheLink) {
    const std::string length(4, '\xFF');
    const auto frame = [](std::string body) {
        std::string bytes;
        Put(bytes, static_cast<uint32_t>(body.size()));
        return bytes + body;
    };
    const auto tell = [&](OpId op, const std::string& arguments) {
        std::string body;
        Put(body, uint8_t{0});
        Put(body, static_cast<uint16_t>(op));
        Put(body, uint64_t{0});
        return frame(body + arguments);
    };
    const std::string three("\3\0\0\0", 4);
    const struct {
        const char* name;
        std::string bytes;
        bool closes;
    } cases[] = {
        {"above the limit", length + "x", true},
        {"no head", frame(""), true},
        {"half a head", frame("\1\1\1"), true},
        {"no kind", frame(std::string("\x7F").append(10, '\0')), true},
        {"an unknown operation", tell(static_cast<OpId>(9999), "abc"), false},
        {"a text that is missing", tell(OpId::ShowErrorBox, ""), true},
        {"a text longer than the frame", tell(OpId::ShowErrorBox, three + "abcde"), true},
        {"too much", tell(OpId::HideQueueDialog, "x"), true},
        {"a truth value of 2", tell(OpId::SetNoProgressReport, "\2"), true},
        {"a sixth job", tell(OpId::StopProgress, std::string("\5\0\0\0", 4)), true},
        {"an answer that nobody waits for", frame(std::string("\2").append(10, '\1')), false},
        {"half a frame, then the end", length.substr(1), true},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const std::array<int, 2> ends = SocketPair();
        MainLoop main;
        Link link(ends[0], main.AsPost());
        const auto ignore = [](const auto&...) {};
        link.On(op::kShowErrorBox, Link::Where::Reader, ignore);
        link.On(op::kHideQueueDialog, Link::Where::Reader, ignore);
        link.On(op::kSetNoProgressReport, Link::Where::Reader, ignore);
        link.On(op::kStopProgress, Link::Where::Reader, ignore);
        link.On(op::kOpenDisplay, Link::Where::Reader, [] { return true; });
        link.Start([] {});
        ASSERT_EQ(::send(ends[1], test.bytes.data(), test.bytes.size(), 0),
                  static_cast<ssize_t>(test.bytes.size()));
        if (test.closes) {
            if (test.bytes.size() < 4) {
                ::shutdown(ends[1], SHUT_WR);
            }
            EXPECT_TRUE(link.WaitClosed(30s));
        } else { // what comes next is still understood
            FrameSocket other(::dup(ends[1]));
            std::string question("\1", 1);
            Put(question, static_cast<uint16_t>(OpId::OpenDisplay));
            Put(question, uint64_t{7});
            ASSERT_TRUE(other.Send(question));
            const std::optional<std::string> answer = other.Receive();
            ASSERT_TRUE(answer);
            EXPECT_EQ(answer->back(), '\1');
        }
        ::close(ends[1]);
    }
}

// On the thread that sends, on the one that does what was sent, and on the one that sees the end.
TEST(LinkTest, WhatCannotBeSaidForWantOfMemoryClosesTheLinkAndNothingElse) {
    for (const bool isSaid : {false, true}) {
        SCOPED_TRACE(isSaid);
        const std::array<int, 2> ends = SocketPair();
        MainLoop main;
        Link link(ends[0], main.AsPost());
        Link other(ends[1], main.AsPost());
        std::atomic<int> closings = 0;
        link.Start([&] {
            if (++closings == 1) {
                throw std::bad_alloc();
            }
        });
        other.On(op::kSetNoProgressReport, Link::Where::Worker,
                 [](bool) { throw std::bad_alloc(); });
        other.On(op::kOpenDisplay, Link::Where::Worker, [] { return true; });
        other.Start([] {});
        link.TellLater(op::kSetNoProgressReport,
                       [isSaid] { return isSaid ? std::tuple(true) : throw std::bad_alloc(); });
        EXPECT_EQ(link.Ask(op::kOpenDisplay).has_value(), isSaid);
        other.Close();
        Await([&] { return closings == 2; });
    }
}

// An engine and windows in one process.
struct Bench {
    Bench() {
        windows.On(op::kOpenWindows, Link::Where::Main,
                   [] { return std::optional<std::string>(); });
        host.emplace(windows, fakeUi, view);
        drives.drives = {{u"A drive", u"sr0", {1.0, 16.0}}};
        windows.On(op::kQuit, Link::Where::Reader, [] {});
        windows.Start([] {});
        engine.Start([this] { gone = true; });
        ui.emplace(engine, drives, queue, store,
                   RemoteUi::Loop{engineMain.AsPost(), [this] { ++quits; },
                                  [this](int code) { exitCode = code; }});
    }
    ~Bench() {
        windows.Close(); // as a display does that goes
        ui.reset();
        engine.Close();
        engineMain.Do([] {}); // what was posted is over before the links go
        windowsMain.Do([] {});
    }

    FakeUi fakeUi;
    FakeMainView view;
    FakeDrives drives;
    FakeQueue queue;
    MemoryStore store;
    std::atomic<bool> gone = false;
    std::atomic<int> quits = 0;
    std::atomic<int> exitCode = -1;
    MainLoop engineMain;
    MainLoop windowsMain;
    std::array<int, 2> ends = SocketPair();
    Link engine{ends[0], engineMain.AsPost()};
    Link windows{ends[1], windowsMain.AsPost()};
    RemoteCatalog catalog{windows};
    std::optional<UiHost> host;
    std::optional<RemoteUi> ui;
};

TEST(RemoteUiTest, WhatAJobAsksAndTellsArrivesOnTheOtherSide) {
    Bench bench;
    bench.fakeUi.data = {false, 3, 4.5, u"T\xDC80itle", true};
    bench.fakeUi.onBox = [](const FakeUi::Box& box) {
        return box.buttons == BoxButtons::YesNoGuarded;
    };
    const DataParametersResult data = bench.ui->ShowDataParameters(u"Header", true);
    EXPECT_EQ(data.bCancelled, false);
    EXPECT_EQ(data.nDriveIndex, 3U);
    EXPECT_EQ(data.dSpeed, 4.5);
    EXPECT_EQ(data.strTitle, u"T\xDC80itle");
    EXPECT_TRUE(data.bVerify);
    EXPECT_EQ(bench.fakeUi.VerifyOffered(), true);
    bench.fakeUi.erase = {EraseMode::Full, 2.0};
    EXPECT_EQ(bench.ui->ShowEraseType({1.0, 2.0}).mode, EraseMode::Full);
    EXPECT_EQ(bench.fakeUi.EraseSpeeds(), (std::vector<double>{1.0, 2.0}));
    bench.ui->StartDataProgress(0x0A);
    for (int i = 0; i <= 5000; ++i) {
        bench.ui->SetStatus(JobKind::Data,
                            std::u16string(u"File ").append(static_cast<size_t>(i), u'x'));
        bench.ui->SetProgress(JobKind::Data, i / 50);
    }
    EXPECT_EQ(bench.ui->Progress(JobKind::Data), 100);
    Await([&] { return bench.fakeUi.Progress(JobKind::Data) == 100; });
    Await([&] { return bench.fakeUi.Statuses(JobKind::Data).back().size() == 5005; });
    EXPECT_TRUE(bench.ui->AskUser(u"Sure?", u"Title", BoxButtons::YesNoGuarded, BoxIcon::Question));
    EXPECT_FALSE(bench.ui->AskUser(u"Sure?", u"Title", BoxButtons::OkCancel, BoxIcon::Stop));
    EXPECT_EQ(bench.fakeUi.Boxes().at(0).icon, BoxIcon::Question);
    EXPECT_EQ(bench.fakeUi.DiskTypes(), (std::vector<uint32_t>{0x0A}));
}

TEST(RemoteUiTest, ADriveIsAskedOnTheThreadOfTheJob) {
    Bench bench;
    std::vector<double> speeds;
    bench.fakeUi.onDialog = [&] {
        ASSERT_EQ(bench.catalog.Count(), 1U);
        EXPECT_EQ(bench.catalog.Label(0), u"sr0");
        speeds = bench.catalog.WriteSpeeds(0);
    };
    bench.ui->ShowAudioParameters(u"", true);
    EXPECT_EQ(bench.drives.askers, std::vector{std::this_thread::get_id()});
    EXPECT_EQ(speeds, (std::vector<double>{1.0, 16.0}));
    // Outside of a job's question there is nobody to ask it.
    EXPECT_TRUE(bench.catalog.WriteSpeeds(0).empty());
}

TEST(RemoteUiTest, ACancelIsForOneRunAndStaysWhenTheWindowsGo) {
    Bench bench;
    bench.ui->StartDataProgress(0x0A);
    UiHost::TellCancelled(bench.windows, JobKind::Data, 1);
    Await([&] { return bench.ui->IsDataCancelled(); });
    EXPECT_FALSE(bench.ui->IsAudioCancelled());
    bench.ui->StartDataProgress(0x0A);
    EXPECT_FALSE(bench.ui->IsDataCancelled());
    UiHost::TellCancelled(bench.windows, JobKind::Data, 1); // late
    UiHost::TellCancelled(bench.windows, JobKind::Erase, 0);
    Await([&] { return bench.ui->IsEraseCancelled(); });
    EXPECT_FALSE(bench.ui->IsDataCancelled());
    UiHost::TellCancelled(bench.windows, JobKind::Data, 2);
    bench.windows.Close(); // what was told before still arrives
    Await([&] { return bench.gone.load(); });
    EXPECT_TRUE(bench.ui->IsDataCancelled());
}

TEST(RemoteUiTest, WaitsEndWithTheCancelledAnswerWhenTheWindowsGo) {
    for (const bool released : {false, true}) {
        SCOPED_TRACE(released ? "released" : "windows gone");
        std::promise<void> answer; // the dialog's thread ends with the bench
        std::promise<void> asked;
        Bench bench;
        bench.fakeUi.onDialog = [&] {
            asked.set_value();
            answer.get_future().wait();
        };
        auto job = std::async(std::launch::async,
                              [&] { return bench.ui->ShowDataParameters(u"", true).bCancelled; });
        asked.get_future().wait();
        std::thread closing;
        if (released) {
            bench.ui->ReleaseWaits();
        } else { // joins the dialog's thread, so the job must not depend on it
            closing = std::thread([&] { bench.windows.Close(); });
        }
        EXPECT_TRUE(job.get());
        answer.set_value();
        if (closing.joinable()) {
            closing.join();
        }
        EXPECT_FALSE(bench.ui->AskUser(u"Sure?", u"", BoxButtons::YesNo, BoxIcon::None));
        EXPECT_TRUE(bench.fakeUi.Boxes().empty());
    }
}

TEST(RemoteUiTest, ClicksTimersAndMenusMakeTheRoundTrip) {
    Bench bench;
    std::atomic<int> ticks = 0;
    std::atomic<uint32_t> chosen = 0;
    bench.view.doubleClickMs = 321;
    bench.engineMain.Do([&] {
        bench.ui->SetIdleTrayCallbacks(
            [&] { bench.ui->StartClickTimer(bench.ui->DoubleClickTimeMs(), [&] { ++ticks; }); },
            [&] {
                bench.ui->TrackIdleMenu({.bQueueHasItems = true, .bAllAudio = false},
                                        [&](uint32_t command) { chosen = command; });
            });
    });
    bench.windowsMain.Do(bench.view.idleLeft);
    std::function<void()> stale;
    Await([&] {
        bench.windowsMain.Do([&] { stale = bench.view.clickTick; });
        return static_cast<bool>(stale);
    });
    EXPECT_EQ(bench.view.clickTimerMs, 321U);
    bench.windowsMain.Do(stale);
    Await([&] { return ticks == 1; });
    bench.engineMain.Do([&] { bench.ui->KillClickTimer(); });
    bench.windowsMain.Do(stale); // was on its way
    bench.windowsMain.Do(bench.view.idleRight);
    ASSERT_EQ(bench.view.menus.size(), 1U);
    EXPECT_TRUE(bench.view.menus[0].bQueueHasItems);
    bench.windowsMain.Do([&] { bench.view.menuCommand(CMD_EDIT_QUEUE); });
    Await([&] { return chosen == CMD_EDIT_QUEUE; });
    EXPECT_EQ(ticks, 1);
    // While a job runs the engine has no menu.
    bench.engineMain.Do([&] { bench.ui->SetIdleTrayCallbacks({}, {}); });
    bench.windowsMain.Do(bench.view.idleRight);
    EXPECT_EQ(bench.view.menus.size(), 1U);
}

TEST(RemoteUiTest, QueueAndSettingsAreTheEngines) {
    Bench bench;
    RemoteQueue queue(bench.windows);
    bench.queue.Set({u"/a", u"/b\xDCFF"});
    EXPECT_EQ(queue.Paths(), bench.queue.Paths());
    bench.queue.bAllAudio = true;
    EXPECT_EQ(queue.State(true).nVersion, bench.queue.State(true).nVersion);
    EXPECT_TRUE(queue.State(true).bAllAudio);
    EXPECT_EQ(queue.State(true).strTotal, u"total");
    EXPECT_EQ(queue.State(true).strDiscs, u"discs");
    queue.Move({u"/a"}, u"");
    EXPECT_EQ(queue.Paths().back(), u"/a");
    EXPECT_EQ(queue.HeaderText(JobKind::Data), std::nullopt);
    bench.queue.header = u"measured";
    EXPECT_EQ(queue.HeaderText(JobKind::Audio), u"measured");
    queue.Remove({u"/a"});
    EXPECT_EQ(queue.Paths(), (std::vector<std::u16string>{u"/b\xDCFF"}));
    RemoteStore store(bench.windows);
    EXPECT_FALSE(store.HasKey("k"));
    EXPECT_TRUE(store.CreateKey("k"));
    EXPECT_TRUE(store.WriteText("k", "text", u"\xDC80"));
    EXPECT_TRUE(store.WriteNumber("k", "number", 7));
    EXPECT_EQ(store.ReadText("k", "text"), u"\xDC80");
    EXPECT_EQ(store.ReadNumber("k", "number"), 7U);
    EXPECT_EQ(store.ReadNumber("k", "text"), std::nullopt);
    EXPECT_EQ(bench.store.ReadNumber("k", "number"), 7U);
}

} // namespace
} // namespace larkspin
