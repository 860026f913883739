// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "engine_bench.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

TEST(JobMonitor, HowAJobEndsFollowsFromWhatItTells) {
    using Ui = CCDWriterUI;
    const auto fail = [](Ui& ui) { ui.ShowMessage(u"It failed."); };
    const struct {
        const char* name;
        std::function<void(Ui&)> first;
        bool success; // is told then
        std::function<void(Ui&)> last;
        JobResult result;
    } cases[] = {
        {"told nothing",
         [](Ui& ui) { ui.ShowDataParameters(u"", true); },
         false,
         {},
         JobResult::Cancelled},
        {"asked",
         [](Ui& ui) { ui.AskUser(u"?", u"", BoxButtons::YesNo, BoxIcon::None); },
         false,
         {},
         JobResult::Cancelled},
        {"failed", fail, false, {}, JobResult::Failed},
        {"a notice, and well", fail, true, {}, JobResult::Done},
        {"well, and spoilt", {}, true, fail, JobResult::Failed},
        {"another copy is cancelled",
         {},
         true,
         [](Ui& ui) { ui.StartImageProgress(0); },
         JobResult::Cancelled},
    };
    FakeUi fake;
    JobMonitor monitor;
    ObservedUi ui(fake, monitor);
    EXPECT_EQ(monitor.News().result, JobResult::None);
    for (const auto& test : cases) {
        monitor.Begin(JobKind::Image);
        for (const auto& part : {test.first, std::function<void(Ui&)>(), test.last}) {
            part ? part(ui) : test.success ? monitor.Succeed() : void();
        }
        EXPECT_TRUE(monitor.News().bRunning);
        monitor.End();
        EXPECT_EQ(monitor.News().result, test.result) << test.name;
    }
}

TEST(JobMonitor, NewsComeWithEachChangeAndAQuestionStandsOverTheStatus) {
    FakeUi fake;
    JobMonitor monitor;
    ObservedUi ui(fake, monitor);
    int changes = 0;
    monitor.OnChange([&] { ++changes; });
    monitor.Begin(JobKind::Erase);
    ui.StartEraseProgress();
    EXPECT_EQ(monitor.News().strStatus, u"Erasing disk...");
    ui.SetProgress(JobKind::Erase, 7);
    EXPECT_EQ(monitor.News().nPercent, 7);
    ui.SetNoProgressReport(true);
    EXPECT_EQ(monitor.News().nPercent, kNoPercentage);
    fake.onBox = [&](const FakeUi::Box&) {
        EXPECT_EQ(monitor.News().strStatus, u"Waiting for an answer");
        return true;
    };
    ui.AskUser(u"?", u"", BoxButtons::YesNo, BoxIcon::None);
    EXPECT_EQ(monitor.News().strStatus, u"Erasing disk...");
    EXPECT_EQ(changes, 6);
    monitor.OnChange([] { throw std::bad_alloc(); });
    EXPECT_NO_THROW(ui.SetStatus(JobKind::Erase, u"x")) << "a disc would be lost with it";
    EXPECT_THROW(monitor.End(), std::bad_alloc);
}

TEST(JobMonitor, ASuccessIsToldInABoxWhereTheDesktopHasNoNotifications) {
    for (const bool hasService : {true, false}) {
        CCDWriter::Options options = EngineBench::QuickOptions();
        bool beeped = false;
        options.notify = [&](const std::u16string& text, bool beep) {
            EXPECT_EQ(text, u"well");
            beeped = beep;
            return hasService;
        };
        EngineBench bench(std::move(options));
        bench.store.WriteNumber("Software\\Quernstone Development\\cdwrite", "BeepWhenDone", 1);
        bench.writer.LoadSettings();
        bench.writer.TellSuccess(u"well");
        EXPECT_TRUE(beeped);
        EXPECT_EQ(bench.ui.Texts().size(), hasService ? 0U : 1U);
        bench.writer.Monitor().End();
        EXPECT_EQ(bench.writer.Monitor().News().result, JobResult::Done);
    }
}

} // namespace
} // namespace larkspin
