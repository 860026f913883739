// The progress dialogs' bar, clock, picture, flags and cancel question.
#include "ui/progress_dialog.h"
#include "ui/ui_exception.h"

#include <gtest/gtest.h>

#include <set>
#include <tuple>

namespace larkspin {
namespace {

TEST(Elapsed, MinutesRunOnPastTheHour) {
    const std::vector<std::pair<uint64_t, std::u16string>> cases = {
        {999, u"Elapsed time: 0:00"},
        {59'999, u"Elapsed time: 0:59"},
        {3'600'000, u"Elapsed time: 60:00"},
        {3'665'000, u"Elapsed time: 61:05"},
    };
    for (const auto& [ms, text] : cases) {
        EXPECT_EQ(ElapsedText(ms), text) << ms;
    }
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
    const std::u16string complete = u"42% complete";
    const std::u16string silent = u"Drive doesn't report operation progress";
    const std::tuple<JobKind, bool, std::u16string, std::u16string> cases[] = {
        {JobKind::Data, true, u"Writing files...", complete},
        {JobKind::Audio, false, u"Writing Audio CD...", complete},
        {JobKind::Image, false, u"Writing image...", complete},
        {JobKind::Erase, false, u"Erasing...", complete},
        {JobKind::Erase, true, u"Erasing...", silent},
    };
    for (const auto& [kind, noReport, title, text] : cases) {
        const ProgressBalloonText balloon = ProgressBalloon(kind, 42, noReport);
        EXPECT_EQ(balloon.szTitle, title);
        EXPECT_EQ(balloon.strText, text);
    }
}

TEST(UiException, HoldsAtMost127Bytes) {
    EXPECT_STREQ(CCDWriterUIException().what(), "Window creation failed.");
    EXPECT_EQ(std::string(CCDWriterUIException(std::string(500, 'x')).what()),
              std::string(127, 'x'));
}

} // namespace
} // namespace larkspin
