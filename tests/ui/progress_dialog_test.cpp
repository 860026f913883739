// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The progress dialogs' bar, clock, picture, flags and cancel question.
#include "ui/progress_dialog.h"
#include "ui/ui_exception.h"

#include <gtest/gtest.h>

#include <set>

namespace larkspin {
namespace {

TEST(Elapsed, MinutesRunOnPastTheHour) {
    EXPECT_EQ(ElapsedText(999), u"Elapsed time: 0:00");
    EXPECT_EQ(ElapsedText(59'999), u"Elapsed time: 0:59");
    EXPECT_EQ(ElapsedText(3'600'000), u"Elapsed time: 60:00");
    EXPECT_EQ(ElapsedText(3'665'000), u"Elapsed time: 61:05");
}

TEST(ProgressDialog, PictureAlternatesOnFromRunToRunAndTheClockStartsAnew) {
    CDataProgressDialog dialog;
    dialog.Start(0x0A, u"CD-RW", 5000);
    EXPECT_EQ(dialog.OnTimer(5000).nFrame, 0);
    EXPECT_EQ(dialog.OnTimer(5000).nFrame, 1);
    EXPECT_EQ(dialog.OnTimer(5000).nFrame, 0);
    dialog.Start(0x0A, u"CD-RW", 9000);
    const CProgressDialog::TimerStep step = dialog.OnTimer(9000 + 61'000);
    EXPECT_EQ(step.nFrame, 1);
    EXPECT_EQ(step.strElapsed, u"Elapsed time: 1:01");
}

TEST(ProgressEstimate, ToldOnceThePaceHasSettledAndTrueToIt) {
    CProgressEstimate estimate;
    constexpr uint64_t kBytes = 100ULL << 20;
    uint64_t now = 0;
    const auto text = [&] { return estimate.Text(kBytes, now); };
    const auto runTo = [&](int from, int to, uint64_t stepMs) {
        for (int percent = from; percent <= to; ++percent, now += stepMs) {
            estimate.Look(percent, now);
        }
        now -= stepMs;
    };
    runTo(0, 10, 10); // into a buffer
    EXPECT_EQ(text(), u"");
    runTo(10, 50, 1000);
    EXPECT_EQ(text(), u"Time left: 0:50, speed: 1.00 Mb/s");
    EXPECT_EQ(estimate.Text(0, now + 500), u"Time left: 0:50");
    now += 20'000;
    EXPECT_EQ(text(), u"Time left: 2:14, speed: 375.47 kb/s") << "it stands still";
    runTo(51, 75, 500);
    EXPECT_EQ(text(), u"Time left: 0:13, speed: 2.00 Mb/s");
    estimate.Look(0, now);
    EXPECT_EQ(text(), u"") << "it is read back now";
    runTo(1, 4, 900'000);
    EXPECT_EQ(text(), u"") << "nobody waits so long";
    runTo(90, 100, 1000);
    EXPECT_EQ(text(), u"") << "only the end is left";
}

TEST(ProgressDialog, StartSetsEverythingBackAndForgetsOldAnswers) {
    CAudioProgressDialog dialog;
    dialog.Start(0x0A, u"CD-RW", 0);
    const uint32_t first = dialog.Run();
    dialog.SetProgress(70);
    dialog.SetStatus(u"Track 3");
    dialog.Hide();
    dialog.AnswerCancel(first, false);
    EXPECT_FALSE(dialog.IsCancelled());
    dialog.AnswerCancel(first, true);
    dialog.AnswerCancel(first, false);
    EXPECT_TRUE(dialog.IsCancelled()) << "a job that has begun to stop is not called back";
    EXPECT_TRUE(dialog.IsHidden());

    dialog.Start(0x09, u"CD-R", 0);
    dialog.AnswerCancel(first, true); // a box of the last run, answered late
    EXPECT_FALSE(dialog.IsCancelled());
    EXPECT_FALSE(dialog.IsHidden());
    EXPECT_EQ(dialog.Progress(), 0);
    EXPECT_EQ(dialog.Status(), u"");
}

TEST(ProgressDialog, EraseHasItsOwnTextsAndABarThatGoesRound) {
    CEraseProgressDialog dialog;
    dialog.Start(0, u"", 0);
    dialog.SetStatus(u"something else");
    EXPECT_EQ(dialog.Status(), u"Erasing disk...");
    EXPECT_EQ(dialog.CancelQuestion(), u"Are you sure?");
    dialog.SetProgress(-5);
    EXPECT_EQ(dialog.Progress(), 0);
    dialog.SetProgress(99);
    dialog.StepProgress();
    EXPECT_EQ(dialog.Progress(), 100);
    dialog.StepProgress();
    EXPECT_EQ(dialog.Progress(), 0);
    dialog.SetProgress(250);
    EXPECT_EQ(dialog.Progress(), 100);

    const auto lastOf = [&](const auto& move) { // 20 seconds
        std::u16string left;
        for (uint64_t tick = 0; tick <= 20'000; tick += 1000) {
            move(static_cast<int>(tick / 1000));
            left = dialog.OnTimer(tick).strLeft;
        }
        return left;
    };
    EXPECT_EQ(lastOf([&](int /*second*/) { dialog.StepProgress(); }), u"") << "it tells nothing";
    EXPECT_EQ(lastOf([&](int second) { dialog.SetProgress(second); }), u"Time left: 1:20");
}

TEST(ProgressDialog, CancelQuestionDependsOnTheDisc) {
    const std::set<uint32_t> erasable = {10, 18, 19, 20, 26, 67};
    for (const uint32_t profile : {9U, 10U, 17U, 18U, 19U, 20U, 21U, 26U, 27U, 42U, 43U, 67U}) {
        CBurnProgressDialog dialog;
        dialog.Start(profile, u"disc X", 0);
        EXPECT_EQ(dialog.CancelQuestion(),
                  erasable.contains(profile)
                      ? u"You are writing disc X. If you cancel you might need to erase the disk "
                        u"to use it further.\n\nAre you sure?"
                      : u"You are writing disc X. This type of disk is not erasable so you have "
                        u"only one shot with it!\n\nIf you cancel writing this disk will be "
                        u"wasted.\n\nAre you sure?")
            << profile;
    }
}

TEST(ProgressDialog, BalloonsTellTheJobAndHowFarItIs) {
    const auto balloon = [](JobKind kind, bool noReport) {
        const ProgressBalloonText texts = ProgressBalloon(kind, 42, noReport);
        return texts.szTitle + (u" " + texts.strText);
    };
    EXPECT_EQ(balloon(JobKind::Data, true), u"Writing files... 42% complete");
    EXPECT_EQ(balloon(JobKind::Audio, false), u"Writing Audio CD... 42% complete");
    EXPECT_EQ(balloon(JobKind::Image, false), u"Writing image... 42% complete");
    EXPECT_EQ(balloon(JobKind::Erase, false), u"Erasing... 42% complete");
    EXPECT_EQ(balloon(JobKind::Erase, true), u"Erasing... Drive doesn't report operation progress");
}

TEST(UiException, HoldsAtMost127Bytes) {
    EXPECT_STREQ(CCDWriterUIException().what(), "Window creation failed.");
    EXPECT_EQ(std::string(CCDWriterUIException(std::string(500, 'x')).what()),
              std::string(127, 'x'));
}

} // namespace
} // namespace larkspin
