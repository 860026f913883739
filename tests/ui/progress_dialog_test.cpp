// The progress dialogs' bar, clock, picture, flags and cancel question.
#include "ui/progress_dialog.h"
#include "ui/ui_exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace larkspin {
namespace {

TEST(Elapsed, MinutesRunOnPastTheHour) {
    const std::vector<std::pair<uint64_t, std::u16string>> cases = {
        {0, u"Elapsed time: 0:00"},          {999, u"Elapsed time: 0:00"},
        {59'999, u"Elapsed time: 0:59"},     {3'600'000, u"Elapsed time: 60:00"},
        {3'665'000, u"Elapsed time: 61:05"},
    };
    for (const auto& [ms, text] : cases) {
        EXPECT_EQ(ElapsedText(ms), text) << ms;
    }
}

TEST(ProgressDialog, PictureAlternatesOnFromRunToRun) {
    CDataProgressDialog dialog;
    dialog.Start(0x0A, u"CD-RW", 5000);
    std::vector<int> frames;
    for (int i = 0; i < 3; ++i) {
        frames.push_back(dialog.OnTimer(5000).nFrame);
    }
    dialog.Start(0x0A, u"CD-RW", 9000);
    const CProgressDialog::TimerStep step = dialog.OnTimer(9000 + 61'000);
    frames.push_back(step.nFrame);
    EXPECT_THAT(frames, testing::ElementsAre(0, 1, 0, 1));
    EXPECT_EQ(step.strElapsed, u"Elapsed time: 1:01") << "the clock starts anew";
}

TEST(ProgressDialog, BarStaysInItsRange) {
    CEraseProgressDialog dialog;
    dialog.SetProgress(-5);
    EXPECT_EQ(dialog.Progress(), 0);
    dialog.SetProgress(99);
    dialog.StepProgress();
    EXPECT_EQ(dialog.Progress(), 100);
    dialog.StepProgress();
    EXPECT_EQ(dialog.Progress(), 0) << "steps without an end go round";
    dialog.SetProgress(250);
    EXPECT_EQ(dialog.Progress(), 100);
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

TEST(ProgressDialog, EraseHasItsOwnTexts) {
    CEraseProgressDialog dialog;
    dialog.Start(0, u"", 0);
    dialog.SetStatus(u"something else");
    EXPECT_EQ(dialog.Status(), u"Erasing disk...");
    EXPECT_EQ(dialog.CancelQuestion(), u"Are you sure?");
}

TEST(ProgressDialog, CancelQuestionDependsOnTheDisc) {
    struct Case {
        uint32_t profile;
        bool erasable;
    };
    for (const Case& c :
         {Case{9, false}, Case{10, true}, Case{17, false}, Case{18, true}, Case{19, true},
          Case{20, true}, Case{21, false}, Case{26, true}, Case{27, false}, Case{43, false},
          Case{65, false}, Case{67, true}, Case{42, false}, Case{65535, false}}) {
        CBurnProgressDialog dialog;
        dialog.Start(c.profile, u"disc X", 0);
        const std::u16string question = dialog.CancelQuestion();
        EXPECT_TRUE(question.starts_with(u"You are writing disc X. "));
        EXPECT_EQ(question.find(u"might need to erase") != std::u16string::npos, c.erasable)
            << c.profile;
        EXPECT_EQ(question.find(u"only one shot") == std::u16string::npos, c.erasable) << c.profile;
    }
    EXPECT_EQ(ConfirmCancelWriting(10, u""),
              u"You are writing . If you cancel you might need to erase the disk to use it "
              u"further.\n\nAre you sure?");
}

TEST(ProgressDialog, BalloonsByJob) {
    EXPECT_EQ(ProgressBalloon(JobKind::Data, 42, true).strText, u"42% complete")
        << "a missing report counts for the erase job alone";
    EXPECT_EQ(ProgressBalloon(JobKind::Erase, 7, false).strText, u"7% complete");
    const ProgressBalloonText erase = ProgressBalloon(JobKind::Erase, 7, true);
    EXPECT_EQ(std::u16string(erase.szTitle), u"Erasing...");
    EXPECT_EQ(erase.strText, u"Drive doesn't report operation progress");
}

TEST(ProgressDialog, JobAndMainThreadShareItSafely) {
    CDataProgressDialog dialog;
    std::thread job([&] {
        for (int run = 0; run < 50; ++run) {
            dialog.Start(10, u"CD-RW", 0);
            for (int i = 0; i <= 100; ++i) {
                dialog.SetProgress(i);
                dialog.SetStatus(u"A status that does not fit into a short text");
            }
        }
    });
    for (int i = 0; i < 2000; ++i) {
        dialog.AnswerCancel(dialog.Run(), true);
        dialog.OnTimer(0);
        EXPECT_LE(dialog.Progress(), 100);
        const std::u16string status = dialog.Status();
        EXPECT_TRUE(status.empty() || status.ends_with(u"text"));
    }
    job.join();
    EXPECT_EQ(dialog.Progress(), 100);
}

TEST(UiException, HoldsAtMost127Bytes) {
    EXPECT_STREQ(CCDWriterUIException().what(), "Window creation failed.");
    EXPECT_EQ(std::string(CCDWriterUIException(std::string(500, 'x')).what()),
              std::string(127, 'x'));
}

} // namespace
} // namespace larkspin
