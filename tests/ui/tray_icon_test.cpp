// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The tray icon's clicks, animation and balloons, and the menus as data.
#include "ui/menus.h"
#include "ui/tray_icon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace larkspin {
namespace {

using testing::ElementsAre;

struct FakeTray final : ITrayView {
    void SetTrayIcon(int frame) override { frames.push_back(frame); }
    void StartAnimationTimer(uint32_t periodMs) override {
        ++timers;
        period = periodMs;
    }
    void KillAnimationTimer() override { --timers; }
    void ShowBalloon(const Balloon& balloon) override { shown = balloon; }

    std::vector<int> frames;
    int timers = 0;
    uint32_t period = 0;
    Balloon shown;
};

struct TrayIconTest : testing::Test {
    CCDWriterUITrayIcon::Callback Note(const std::string& what) {
        return CCDWriterUITrayIcon::Callback([this, what] { clicks.push_back(what); });
    }

    FakeTray view;
    CCDWriterUITrayIcon tray{view};
    std::vector<std::string> clicks;
};

TEST_F(TrayIconTest, ClicksReachTheNewestPairAndFallBackToTheIdleOne) {
    tray.OnLeftButtonUp(); // nobody there: nothing happens
    tray.PushCallbacks(Note("erase left"), Note("erase right"));
    tray.SetIdleCallbacks(Note("idle left"), Note("idle right")); // goes under what jobs pushed
    tray.OnRightButtonUp();
    tray.PushCallbacks(Note("data left"), Note("data right"));
    tray.OnLeftButtonUp();
    tray.PopCallbacks();
    tray.OnLeftButtonUp();
    tray.PopCallbacks();
    tray.PopCallbacks(); // one too many leaves the idle pair
    tray.OnLeftButtonUp();
    tray.OnLeftButtonUp(); // no double click here
    tray.OnRightButtonUp();
    EXPECT_THAT(clicks, ElementsAre("erase right", "data left", "erase left", "idle left",
                                    "idle left", "idle right"));
}

TEST_F(TrayIconTest, ACallbackMayTakeItselfAway) {
    const std::string longText = "a captured text that lives on the heap";
    tray.PushCallbacks(CCDWriterUITrayIcon::Callback([this, longText] {
                           tray.PopCallbacks();
                           clicks.push_back(longText);
                       }),
                       Note(""));
    tray.OnLeftButtonUp();
    tray.OnLeftButtonUp(); // the idle one, which does nothing
    EXPECT_THAT(clicks, ElementsAre(longText));
}

TEST_F(TrayIconTest, AnimationRunsOnOneTimerAndEndsOnFrameZero) {
    tray.OnAnimationTimer(); // a late tick of a stopped timer
    tray.StopTrayAnimation();
    EXPECT_TRUE(view.frames.empty());
    tray.StartTrayAnimation();
    tray.OnAnimationTimer();
    tray.StartTrayAnimation(); // changes nothing, also not the frame
    for (int i = 0; i < 3; ++i) {
        tray.OnAnimationTimer();
    }
    EXPECT_EQ(view.timers, 1);
    EXPECT_EQ(view.period, 333U);
    tray.StopTrayAnimation();
    tray.StopTrayAnimation();
    EXPECT_EQ(view.timers, 0);
    EXPECT_THAT(view.frames, ElementsAre(1, 2, 0, 1, 0));
}

TEST_F(TrayIconTest, BalloonsAreCutToTheirLimitsButNotInsideACharacter) {
    const std::u16string pair = u"\U0001F4BF"; // two units
    const auto expectCut = [&](const std::u16string& text, size_t kept) {
        tray.ShowBalloon(text, text, BalloonIcon::Warning, 30000);
        EXPECT_EQ(view.shown.strText, text.substr(0, kept));
        EXPECT_EQ(view.shown.strTitle, std::u16string(63, u'x'));
    };
    expectCut(std::u16string(255, u'x'), 255);
    expectCut(std::u16string(300, u'x'), 255);
    expectCut(std::u16string(254, u'x') + pair, 254);
    expectCut(std::u16string(253, u'x') + pair + u"y", 255);
    EXPECT_EQ(view.shown.icon, BalloonIcon::Warning);
    EXPECT_EQ(view.shown.nTimeoutMs, 30000U);
}

TEST(Menus, IdleMenuFollowsTheQueue) {
    const std::pair<IdleMenuState, std::set<uint32_t>> cases[] = {
        {{false, true}, {CMD_EXIT}}, // an empty queue is all audio
        {{true, false}, {CMD_WRITE_DATA, CMD_EDIT_QUEUE, CMD_CLEAR_QUEUE, CMD_EXIT}},
        {{true, true},
         {CMD_WRITE_DATA, CMD_WRITE_AUDIO, CMD_EDIT_QUEUE, CMD_CLEAR_QUEUE, CMD_EXIT}},
    };
    for (const auto& [state, enabled] : cases) {
        std::set<uint32_t> offered = {};
        for (const MenuItem& item : IdleMenuItems(state)) {
            EXPECT_EQ(item.bDefault, item.nCommand == CMD_WRITE_DATA);
            if (item.nCommand != 0 && item.bEnabled) {
                offered.insert(item.nCommand);
            }
        }
        EXPECT_EQ(offered, enabled);
    }
    const std::vector<MenuItem> items = IdleMenuItems({.drives = {u"sr0", u"sr12"}});
    EXPECT_EQ(items.back(), (MenuItem{CMD_ERASE_FIRST_DRIVE + 1, u"Erase disk in sr12..."}));
    EXPECT_EQ(items[items.size() - 3],
              (MenuItem{CMD_VERIFY_FIRST_DRIVE + 1, u"Verify disk in sr12..."}));
    EXPECT_EQ(items[items.size() - 5].nCommand, 0U) << "behind a separator of their own";
}

TEST(Menus, OpenInsideTheNearestMonitor) {
    EXPECT_EQ(MenuX(-50, {0, 1280}), 0);
    EXPECT_EQ(MenuX(640, {0, 1280}), 640);
    EXPECT_EQ(MenuX(5000, {1280, 2560}), 2559);
    EXPECT_EQ(MenuX(7, {100, 100}), 100);
}

} // namespace
} // namespace larkspin
