// What the parameter dialogs show, and what their answers turn into.
#include "platform/settings_keys.h"
#include "support/manual_clock.h"
#include "support/memory_store.h"
#include "ui/fakes.h"
#include "ui/parameter_dialogs.h"
#include "ui/speed_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace larkspin {
namespace {

using testing::ElementsAre;

TEST(Speeds, TextsAndChoices) {
    struct Case {
        std::vector<double> speeds;
        std::vector<std::u16string> texts;
        std::vector<double> choices; // by row, one more than there are rows
    };
    for (const Case& c :
         {Case{{}, {u"Max"}, {-1.0, -1.0}},
          Case{{1.0, 2.4, 4.0}, {u"Max", u"1x", u"2.4x", u"4x"}, {1.0, 1.0, 2.4, 4.0, -1.0}},
          Case{{52.0, 16.04}, {u"Max", u"52x", u"16x"}, {52.0, 52.0, 16.04, -1.0}}}) {
        EXPECT_EQ(SpeedTexts(c.speeds), c.texts);
        for (size_t row = 0; row < c.choices.size(); ++row) {
            EXPECT_EQ(ReadSpeedChoice(c.speeds, row), c.choices[row]) << row;
        }
    }
}

TEST(Copies, AreReadLikeANumberAtTheHeadOfTheText) {
    const std::vector<std::u16string> none = {u"0", u"abc", u"", u"-3", u"- 3", u"\uFF13"};
    for (const std::u16string& text : none) {
        EXPECT_EQ(ParseCopies(text), 0U) << testing::PrintToString(text);
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
    ParameterTest() {
        drives.drives = {{u"MAKER   DVD  RW", u"sr0", {8, 4, 2.4}},
                         {u"OLD BOX", u"sr1", {}},
                         {u"DEAD BOX", u"sr2", {4}, true}};
    }
    // Uses `titles` one after the other, each in a dialog of its own.
    void Use(const std::vector<std::u16string>& titles) {
        for (const std::u16string& title : titles) {
            CDataParameters dialog(drives, store, clock);
            dialog.Open(u"");
            dialog.Accept({.strTitle = title});
        }
    }
    std::vector<std::u16string> Offered() {
        return CDataParameters(drives, store, clock).Open(u"").completion;
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
    EXPECT_TRUE(store.HasKey(kTitlesKey)) << "a first look makes the key";

    const DataParametersResult result =
        dialog.Accept({.nDriveRow = 0, .nSpeedRow = 3, .strTitle = std::u16string(200, u't')});
    EXPECT_FALSE(result.bCancelled);
    EXPECT_EQ(result.dSpeed, 2.4);
    EXPECT_EQ(result.strTitle, std::u16string(127, u't'));
    EXPECT_THAT(Offered(), ElementsAre(result.strTitle));
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
    EXPECT_EQ(dialog.Accept({.bQuickErase = true}).mode, EraseMode::Quick);
    const EraseTypeResult full = dialog.Accept({.nSpeedRow = 2, .bQuickErase = false});
    EXPECT_EQ(full.mode, EraseMode::Full);
    EXPECT_EQ(full.dSpeed, 4.0);
}

TEST_F(ParameterTest, TitlesAreKeptOnceAndInTheirPlaceTheOldestGoingFirst) {
    Use({u"one", u"two", u"", u"one", u"One"});
    EXPECT_THAT(Offered(), ElementsAre(u"one", u"two", u"One"));
    EXPECT_EQ(store.ReadText(kTitlesKey, "2"), u"One");
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
}

TEST_F(ParameterTest, ABrokenStoreCostsTheHistoryOnly) {
    store.refusesKeys = true;
    Use({u"one"});
    EXPECT_TRUE(Offered().empty());
}

} // namespace
} // namespace larkspin
