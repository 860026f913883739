// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the parameter dialogs show, and what their answers turn into.
#include "platform/settings_store.h"
#include "support/manual_clock.h"
#include "support/memory_store.h"
#include "ui/fakes.h"
#include "ui/parameter_dialogs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace larkspin {
namespace {

using testing::ElementsAre;

TEST(Speeds, TextsAndChoices) {
    EXPECT_THAT(SpeedTexts({}), ElementsAre(u"Max"));
    EXPECT_EQ(ReadSpeedChoice({}, 0), kNoSpeedWish);
    EXPECT_EQ(ReadSpeedChoice({}, 1), kNoSpeedWish);
    const std::vector<double> speeds = {52.0, 16.04, 2.4, 1.0};
    EXPECT_THAT(SpeedTexts(speeds), ElementsAre(u"Max", u"52x", u"16x", u"2.4x", u"1x"));
    const std::vector<double> choices = {52.0, 52.0, 16.04, 2.4, 1.0, kNoSpeedWish}; // by row
    for (size_t row = 0; row < choices.size(); ++row) {
        EXPECT_EQ(ReadSpeedChoice(speeds, row), choices[row]) << row;
    }
}

TEST(Copies, AreReadLikeANumberAtTheHeadOfTheText) {
    for (const char16_t* none : {u"0", u"abc", u"", u"-3", u"- 3", u"\uFF13"}) {
        EXPECT_EQ(ParseCopies(none), 0U) << testing::PrintToString(none);
    }
    EXPECT_EQ(ParseCopies(u"33"), 33U);
    EXPECT_EQ(ParseCopies(u" \t7"), 7U);
    EXPECT_EQ(ParseCopies(u"+5"), 5U);
    EXPECT_EQ(ParseCopies(u"3x4"), 3U);
    EXPECT_EQ(ParseCopies(u"2147483646"), 2147483646U);
    EXPECT_EQ(ParseCopies(u"2147483648"), 2147483647U);
    EXPECT_EQ(ParseCopies(u"99999999999999"), 2147483647U);
}

struct ParameterTest : testing::Test {
    ParameterTest() { drives.drives = {{u"", u"", {8, 4}}, FakeDrive(), {u"", u"", {4}, true}}; }
    // Uses `titles` one after the other, each in a dialog of its own.
    void Use(const std::vector<std::u16string>& titles) {
        for (const std::u16string& title : titles) {
            CDataParameters dialog(drives, store, clock);
            dialog.Open(u"", false);
            dialog.Accept({.strTitle = title});
        }
    }
    std::vector<std::u16string> Offered() {
        return CDataParameters(drives, store, clock).Open(u"", false).completion;
    }

    FakeDrives drives;
    MemoryStore store;
    ManualClock clock;
};

TEST_F(ParameterTest, SpeedsAreThoseOfTheDriveChosenLast) {
    CBurnImageParameters dialog(drives);
    dialog.Open(u"", false);
    EXPECT_EQ(dialog.Accept({.strCopies = u"000000000000001234"}).nCopies, 1U) << "15 count";
    EXPECT_EQ(dialog.Accept({}).dSpeed, 8.0);
    EXPECT_THAT(dialog.SelectDrive(1), ElementsAre(u"Max"));
    EXPECT_EQ(dialog.Accept({.nDriveRow = 1}).dSpeed, kNoSpeedWish);
    dialog.SelectDrive(0);
    EXPECT_THAT(dialog.SelectDrive(2), ElementsAre(u"Max")) << "a drive that fails is no error";
    EXPECT_EQ(dialog.Accept({.nDriveRow = 2}).dSpeed, kNoSpeedWish);
}

TEST_F(ParameterTest, TitlesAreKeptOnceAndInTheirPlaceTheOldestGoingFirst) {
    EXPECT_TRUE(Offered().empty());
    EXPECT_TRUE(store.HasKey(kTitlesKey)) << "a first look makes the key";
    Use({u"one", u"two", u"", u"one", u"One"});
    EXPECT_THAT(Offered(), ElementsAre(u"one", u"two", u"One"));
    std::vector<std::u16string> more;
    for (char16_t c = u'a'; c < u'a' + 14; ++c) {
        more.emplace_back(1, c);
    }
    Use(more); // seventeen by now
    more.insert(more.begin(), {u"two", u"One"});
    EXPECT_EQ(Offered(), more);
    EXPECT_FALSE(store.ReadText(kTitlesKey, "16"));
}

TEST_F(ParameterTest, TitlesAreReadUpToTheFirstGapAndAtMostSixteen) {
    for (const int i : {0, 1, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}) {
        store.WriteText(kTitlesKey, std::to_string(i), std::u16string(200, u'x'));
    }
    EXPECT_THAT(Offered(), testing::SizeIs(2));
    store.WriteText(kTitlesKey, "2", u"");
    EXPECT_THAT(Offered(), testing::SizeIs(16));
    EXPECT_EQ(Offered().back(), std::u16string(127, u'x'));
    CDataParameters dialog(drives, store, clock);
    EXPECT_EQ(dialog.Accept({.strTitle = std::u16string(200, u't')}).strTitle.size(), 127U);
}

TEST_F(ParameterTest, ABrokenStoreCostsTheHistoryOnly) {
    store.refusesKeys = true;
    Use({u"one"});
    EXPECT_TRUE(Offered().empty());
}

} // namespace
} // namespace larkspin
