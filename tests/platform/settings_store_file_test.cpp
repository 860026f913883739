// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/settings_store_file.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace larkspin {
namespace {

TEST(SettingsStoreFile, KeepsTypedValuesOverARestart) {
    const TempFolder folder;
    const std::string path = folder.Path() + "/new/deep/settings.info";
    const std::u16string oddText = u"\"x\" \\ ; #\n{ \u00DC \U0001F4BF \xDCFF";
    {
        FileSettingsStore store(path);
        EXPECT_FALSE(store.HasKey("Soft\\Maker"));
        EXPECT_TRUE(store.WriteNumber("Soft\\Maker\\prog", "a.b", 0xFFFFFFFF));
        EXPECT_TRUE(store.WriteText("Soft\\Maker\\prog\\titles", "0", oddText));
        EXPECT_TRUE(store.WriteText("Soft\\Maker\\prog\\titles", "1", u""));
        EXPECT_TRUE(store.CreateKey("Soft\\Other"));
    }
    FileSettingsStore store(path);
    EXPECT_EQ(store.ReadNumber("Soft\\Maker\\prog", "a.b"), 0xFFFFFFFF);
    EXPECT_EQ(store.ReadText("Soft\\Maker\\prog\\titles", "0"), oddText);
    EXPECT_EQ(store.ReadText("Soft\\Maker\\prog\\titles", "1"), u"");
    EXPECT_TRUE(store.HasKey("Soft\\Other"));
    EXPECT_TRUE(store.HasKey("Soft\\Maker")) << "a key above another one exists";
    EXPECT_FALSE(store.HasKey("Soft\\Mak"));
    // Another type, another name, another key: missing.
    EXPECT_EQ(store.ReadText("Soft\\Maker\\prog", "a.b"), std::nullopt);
    EXPECT_EQ(store.ReadNumber("Soft\\Maker\\prog\\titles", "0"), std::nullopt);
    EXPECT_EQ(store.ReadNumber("Soft\\Maker", "a.b"), std::nullopt);

    EXPECT_TRUE(store.WriteText("Soft\\Maker\\prog", "a.b", u"now a text"));
    EXPECT_EQ(store.ReadNumber("Soft\\Maker\\prog", "a.b"), std::nullopt);

    struct stat st = {};
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600U);
}

TEST(SettingsStoreFile, BrokenFileMeansDefaultsAndStaysAsItIs) {
    const TempFolder folder;
    const std::string other = folder.Path() + "/other.info";
    std::ofstream(other) << "k { v { number 1 } }\n";
    const std::string path = folder.Path() + "/broken.info";
    std::string deep;
    for (int i = 0; i < 200'000; ++i) {
        deep += "k\n{\n";
    }
    for (const std::string& broken :
         {std::string("k { v { number 1 }\n"), std::string("}"), std::string("\"unfinished"),
          "#include \"" + other + "\"\n", std::string(2U << 20, 'x'),
          deep + std::string(200'000, '}')}) {
        SCOPED_TRACE(broken.substr(0, 20));
        std::ofstream(path) << broken;
        FileSettingsStore store(path);
        EXPECT_FALSE(store.HasKey("k"));
        EXPECT_EQ(store.ReadNumber("k", "v"), std::nullopt);
        EXPECT_FALSE(store.CreateKey("k"));
        EXPECT_FALSE(store.WriteNumber("k", "v", 2));
        std::ostringstream kept;
        kept << std::ifstream(path).rdbuf();
        EXPECT_EQ(kept.str(), broken);
    }
    // One that is there but cannot be opened is not an empty one.
    const std::string loop = folder.Path() + "/loop";
    ASSERT_EQ(::symlink(loop.c_str(), loop.c_str()), 0);
    EXPECT_FALSE(FileSettingsStore(loop).WriteNumber("k", "v", 2));
}

TEST(SettingsStoreFile, NumberThatIsNoneIsMissing) {
    const TempFolder folder;
    const std::string path = folder.Path() + "/hand.info";
    std::ofstream(path) << "k { a { number 4294967296 } b { number -1 } c { number 7x }\n"
                           " d { number 7 } e \"\" f { number \"\" } }\n";
    FileSettingsStore store(path);
    for (const char* name : {"a", "b", "c", "e", "f"}) {
        EXPECT_EQ(store.ReadNumber("k", name), std::nullopt) << name;
    }
    EXPECT_EQ(store.ReadNumber("k", "d"), 7U);
}

TEST(SettingsStoreFile, PlaceThatCannotBeWrittenTakesNothing) {
    for (const char* path : {"", "/dev/null/settings.info"}) {
        FileSettingsStore store(path);
        EXPECT_FALSE(store.CreateKey("k"));
        EXPECT_FALSE(store.WriteNumber("k", "v", 1));
        EXPECT_FALSE(store.HasKey("k"));
    }
}

} // namespace
} // namespace larkspin
