// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/capacity_marks.h"
#include "jobs/job_frame.h"
#include "jobs/volume_title.h"
#include "platform/clock.h"
#include "support/fake_ui.h"

#include <gtest/gtest.h>

#include <limits>

namespace larkspin {
namespace {

constexpr int64_t kMoment = 1'215'259'200; // 2008-07-05 12:00 UTC

TEST(VolumeTitle, NarrowAndWide) {
    const std::u16string date = FormatDayMonthYear(kMoment);
    const struct {
        std::u16string title;
        std::string narrow;
        std::u16string wide;
    } cases[] = {
        {u"My disc 1", "MY_DISC_1", u"My disc 1"},
        {u"Ünit 1", "_NIT_1", u"Ünit 1"},
        {u"2008", "05_JUL_2008", u"2008"},
        {u"", "05_JUL_2008", u""},
        {date, "05_JUL_2008", date},
        {u"a 05 Jul", "A_05_JUL", u"a 05 Jul"}, // any other title is the user's own
        {std::u16string(200, u'x'), std::string(127, 'X'), std::u16string(127, u'x')},
    };
    for (const auto& test : cases) {
        const VolumeTitle names = MakeVolumeTitle(test.title, kMoment);
        EXPECT_EQ(names.narrow, test.narrow);
        EXPECT_EQ(names.wide, test.wide);
    }
}

TEST(JobFrame, NumbersFromTheDialogsAreHeld) {
    EXPECT_EQ(HeldCopies(0), 1U);
    EXPECT_EQ(HeldCopies(static_cast<uint32_t>(-3)), 1U);
    EXPECT_EQ(WholeSpeed(-1.0), 0U);
    EXPECT_EQ(WholeSpeed(2.4), 2U);
    EXPECT_EQ(HeldSectors(uint64_t{1} << 40), std::numeric_limits<int32_t>::max());
}

TEST(JobFrame, ClosingNoticesComeInOneBox) {
    FakeUi ui;
    ShowClosingNotices(ui, {});
    EXPECT_TRUE(ui.Boxes().empty());
    ShowClosingNotices(ui, {u"File /a is too large.", u"File /b is too large."});
    ASSERT_EQ(ui.Texts().size(), 1U);
    EXPECT_EQ(ui.Texts()[0], u"File /a is too large.\nFile /b is too large.");
    ShowClosingNotices(ui, std::vector<std::u16string>(12, u"x"));
    EXPECT_EQ(ui.Texts()[1], u"x\nx\nx\nx\nx\nx\nx\nx\nx\nx\n...and 2 more.");
}

} // namespace
} // namespace larkspin
