#include "app/settings.h"
#include "platform/settings_keys.h"
#include "support/memory_store.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

TEST(Settings, AFirstStartMakesTheKeysAndTakesTheDefaults) {
    MemoryStore store;
    const Settings settings(store);
    EXPECT_EQ(store.created,
              (std::vector<std::string>{"Software\\Quernstone Development",
                                        "Software\\Quernstone Development\\Tunebarrow",
                                        "Software\\Quernstone Development\\cdwrite"}));
    EXPECT_EQ(settings.BufferUnderrunProtection, 1U);
    EXPECT_EQ(settings.WriteSpeedControl, 1U);
    EXPECT_EQ(settings.BeepWhenDone, 0U);
    EXPECT_EQ(settings.GaplessAudioWrite, 1U);
    EXPECT_EQ(settings.ShowFileIcons, 1U);
}

TEST(Settings, LoadReadsAnewAndTakesNumbersOnly) {
    MemoryStore store;
    store.WriteNumber(kSettingsKey, "BufferUnderrunProtection", 0);
    store.WriteNumber(kSettingsKey, "BeepWhenDone", 7);
    store.WriteText(kSettingsKey, "WriteSpeedControl", u"0");
    Settings settings(store);
    EXPECT_EQ(settings.BufferUnderrunProtection, 0U);
    EXPECT_EQ(settings.BeepWhenDone, 7U);
    EXPECT_EQ(settings.WriteSpeedControl, 1U) << "of another type: as if missing";
    EXPECT_TRUE(store.created.empty());

    store.WriteText(kSettingsKey, "BufferUnderrunProtection", u"0");
    store.WriteNumber(kSettingsKey, "ShowFileIcons", 0);
    settings.Load();
    EXPECT_EQ(settings.BufferUnderrunProtection, 1U) << "back to the default";
    EXPECT_EQ(settings.ShowFileIcons, 0U);
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
