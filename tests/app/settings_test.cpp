// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/settings.h"
#include "platform/settings_store.h"
#include "support/memory_store.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

TEST(Settings, LoadReadsAnewAndTakesNumbersOnly) {
    MemoryStore store;
    Settings settings(store);
    const auto values = [&settings] {
        return std::vector<uint32_t>{settings.BufferUnderrunProtection,
                                     settings.WriteSpeedControl,
                                     settings.BeepWhenDone,
                                     settings.GaplessAudioWrite,
                                     settings.ShowFileIcons,
                                     settings.VerifyAfterWriting};
    };
    EXPECT_EQ(values(), (std::vector<uint32_t>{1, 1, 0, 1, 1, 1}));
    EXPECT_EQ(store.created,
              (std::vector<std::string>{"Software\\Quernstone Development",
                                        "Software\\Quernstone Development\\Tunebarrow",
                                        "Software\\Quernstone Development\\cdwrite"}));
    store.WriteNumber(kSettingsKey, "BufferUnderrunProtection", 0);
    store.WriteNumber(kSettingsKey, "BeepWhenDone", 7);
    store.WriteText(kSettingsKey, "WriteSpeedControl", u"0"); // of another type: as if missing
    settings.Load();
    EXPECT_EQ(values(), (std::vector<uint32_t>{0, 1, 7, 1, 1, 1}));
    store.WriteText(kSettingsKey, "BufferUnderrunProtection", u"0"); // back to the default
    store.WriteNumber(kSettingsKey, "GaplessAudioWrite", 0);
    store.WriteNumber(kSettingsKey, "ShowFileIcons", 0);
    store.WriteNumber(kSettingsKey, "VerifyAfterWriting", 0);
    settings.Load();
    EXPECT_EQ(values(), (std::vector<uint32_t>{1, 1, 7, 0, 0, 0}));
    EXPECT_EQ(store.created.size(), 3U);
}

TEST(Settings, AStoreThatTakesNoKeyLeavesTheRecord) {
    MemoryStore store;
    store.refusesKeys = true;
    Settings settings(store);
    EXPECT_EQ(settings.BufferUnderrunProtection, 1U);
    settings.WriteSpeedControl = 5;
    settings.Load();
    EXPECT_EQ(settings.WriteSpeedControl, 5U);
}

} // namespace
} // namespace larkspin
