// What the parameter dialogs show, and what their answers turn into.
#include "platform/settings_keys.h"
#include "support/manual_clock.h"
#include "ui/fakes.h"
#include "ui/parameter_dialogs.h"
#include "ui/speed_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace larkspin {
namespace {

using testing::ElementsAre;

TEST(Speeds, TextsAndChoices) {
    struct Case {
        std::vector<double> speeds;
        std::vector<std::u16string> texts;
        std::vector<double> choices; // by row, one more than there are rows
    };
    const std::vector<Case> cases = {
        {{}, {u"Max"}, {-1.0, -1.0}},
        {{1.0, 2.4, 4.0}, {u"Max", u"1x", u"2.4x", u"4x"}, {1.0, 1.0, 2.4, 4.0, -1.0}},
        {{52.0, 16.04}, {u"Max", u"52x", u"16x"}, {52.0, 52.0, 16.04, -1.0}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(SpeedTexts(c.speeds), c.texts);
        for (size_t row = 0; row < c.choices.size(); ++row) {
            EXPECT_EQ(ReadSpeedChoice(c.speeds, row), c.choices[row]) << row;
        }
    }
}

TEST(Copies, AreReadLikeANumberAtTheHeadOfTheText) {
    const std::vector<std::pair<std::u16string, uint32_t>> cases = {{u"1", 1},
                                                                    {u"0", 0},
                                                                    {u"33", 33},
                                                                    {u"abc", 0},
                                                                    {u"", 0},
                                                                    {u" \t7", 7},
                                                                    {u"+5", 5},
                                                                    {u"3x4", 3},
                                                                    {u"-3", 0},
                                                                    {u"- 3", 0},
                                                                    {u"2147483647", 2147483647},
                                                                    {u"2147483648", 2147483647},
                                                                    {u"99999999999999", 2147483647},
                                                                    {u"\uFF13", 0}};
    for (const auto& [text, copies] : cases) {
        EXPECT_EQ(ParseCopies(text), copies) << testing::PrintToString(text);
    }
}

struct ParameterTest : testing::Test {
    ParameterTest() {
        drives.drives = {{u"MAKER   DVD  RW", u"sr0", {8, 4, 2.4}},
                         {u"OLD BOX", u"sr1", {}},
                         {u"DEAD BOX", u"sr2", {4}, true}};
    }

    FakeDrives drives;
    MemoryStore store;
    ManualClock clock;
};

TEST_F(ParameterTest, DataDialogFoldsBlanksAndStartsWithTodaysDate) {
    CDataParameters dialog(drives, store, clock);
    const ParameterContent content = dialog.Open(u"head");
    EXPECT_THAT(content.drives,
                ElementsAre(u"MAKER DVD RW (sr0)", u"OLD BOX (sr1)", u"DEAD BOX (sr2)"));
    EXPECT_THAT(content.speeds, ElementsAre(u"Max", u"8x", u"4x", u"2.4x"));
    EXPECT_EQ(content.strTitle, FormatDayMonthYear(clock.Now()));
    EXPECT_EQ(content.strHeader, u"head");

    const DataParametersResult result =
        dialog.Accept({.nDriveRow = 0, .nSpeedRow = 3, .strTitle = std::u16string(200, u't')});
    EXPECT_FALSE(result.bCancelled);
    EXPECT_EQ(result.dSpeed, 2.4);
    EXPECT_EQ(result.strTitle, std::u16string(127, u't'));
    EXPECT_THAT(CDataParameters(drives, store, clock).Open(u"").completion,
                ElementsAre(result.strTitle));
}

TEST_F(ParameterTest, CopyDialogsKeepBlanksAndPassCopiesOn) {
    CAudioParameters dialog(drives);
    const ParameterContent content = dialog.Open(u"head");
    EXPECT_EQ(content.kind, JobKind::Audio);
    EXPECT_EQ(content.drives.front(), u"MAKER   DVD  RW (sr0)");
    EXPECT_EQ(CBurnImageParameters(drives).Open(u"").kind, JobKind::Image);

    EXPECT_EQ(dialog.Accept({.strCopies = u"33"}).nCopies, 33U);
    EXPECT_EQ(dialog.Accept({.strCopies = u"000000000000001234"}).nCopies, 1U)
        << "only 15 characters are read";
}

TEST_F(ParameterTest, SpeedsAreThoseOfTheDriveChosenLast) {
    CBurnImageParameters dialog(drives);
    dialog.Open(u"");
    EXPECT_EQ(dialog.Accept({}).dSpeed, 8.0);
    EXPECT_THAT(dialog.SelectDrive(1), ElementsAre(u"Max"));
    EXPECT_EQ(dialog.Accept({.nDriveRow = 1}).dSpeed, kNoSpeedWish);
    dialog.SelectDrive(0);
    EXPECT_THAT(dialog.SelectDrive(2), ElementsAre(u"Max")) << "a drive that fails is no error";
    const CopyParametersResult result = dialog.Accept({.nDriveRow = 2});
    EXPECT_EQ(result.dSpeed, kNoSpeedWish);
    EXPECT_EQ(result.nDriveIndex, 2U);
}

TEST_F(ParameterTest, EraseDialogTakesTheSpeedsItIsGiven) {
    const CEraseTypeDialog dialog({10.0, 4.0});
    EXPECT_THAT(dialog.Open().speeds, ElementsAre(u"Max", u"10x", u"4x"));
    EXPECT_EQ(dialog.Accept({.nSpeedRow = 2, .bQuickErase = true}).mode, EraseMode::Quick);
    const EraseTypeResult full = dialog.Accept({.nSpeedRow = 2, .bQuickErase = false});
    EXPECT_EQ(full.mode, EraseMode::Full);
    EXPECT_EQ(full.dSpeed, 4.0);
    EXPECT_TRUE(drives.Askers().empty());
}

struct TitleTest : testing::Test {
    // Uses `titles` one after the other, each in a dialog of its own.
    void Use(const std::vector<std::u16string>& titles) {
        for (const std::u16string& title : titles) {
            CAutoCompletionList list;
            list.Load(store);
            list.Add(title);
            list.Store(store);
        }
    }
    std::vector<std::u16string> Kept() {
        CAutoCompletionList list;
        list.Load(store);
        return {list.Titles().begin(), list.Titles().end()};
    }

    MemoryStore store;
};

TEST_F(TitleTest, KeepsEachTitleOnceInItsPlace) {
    EXPECT_TRUE(Kept().empty());
    EXPECT_TRUE(store.HasKey(kTitlesKey)) << "a first look makes the key";
    Use({u"one", u"two", u"", u"one", u"One"});
    EXPECT_THAT(Kept(), ElementsAre(u"one", u"two", u"One"));
    EXPECT_THAT(store.keys[kTitlesKey], ElementsAre(std::pair("0", u"one"), std::pair("1", u"two"),
                                                    std::pair("2", u"One")));
}

TEST_F(TitleTest, TheSeventeenthPushesOutTheOldest) {
    std::vector<std::u16string> titles;
    for (char16_t c = u'a'; c < u'a' + 17; ++c) {
        titles.emplace_back(1, c);
    }
    Use(titles);
    titles.erase(titles.begin());
    EXPECT_EQ(Kept(), titles);
    EXPECT_FALSE(store.keys[kTitlesKey].contains("16"));
}

TEST_F(TitleTest, ReadsUpToTheFirstGapAndAtMostSixteen) {
    for (int i = 0; i < 20; ++i) {
        store.WriteText(kTitlesKey, std::to_string(i), std::u16string(200, u'x'));
    }
    EXPECT_THAT(Kept(),
                testing::AllOf(testing::SizeIs(16), testing::Each(std::u16string(127, u'x'))));
    store.keys[kTitlesKey].erase("2");
    EXPECT_THAT(Kept(), testing::SizeIs(2));
}

TEST_F(TitleTest, ABrokenStoreCostsTheHistoryOnly) {
    store.bBroken = true;
    Use({u"one"});
    EXPECT_TRUE(Kept().empty());
    store.bBroken = false;
    EXPECT_TRUE(Kept().empty());
}

} // namespace
} // namespace larkspin
