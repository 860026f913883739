// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/paths.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

TEST(Paths, AreTakenApart) {
    const auto expect = [](const std::u16string& path, std::u16string_view leaf,
                           std::u16string_view parent, std::u16string_view trimmed,
                           bool isFolderByName) {
        SCOPED_TRACE(testing::PrintToString(path));
        EXPECT_EQ(LeafName(path), leaf);
        EXPECT_EQ(ParentPath(path), parent);
        EXPECT_EQ(TrimSeparator(path), trimmed);
        EXPECT_EQ(IsFolderByName(path), isFolderByName);
    };
    expect(u"/", u"", u"/", u"/", true);
    expect(u"/a", u"a", u"/", u"/a", false);
    expect(u"/a/", u"", u"/a", u"/a", false);
    expect(u"/a/b.c", u"b.c", u"/a", u"/a/b.c", false);
    expect(u"/a\\b", u"a\\b", u"/", u"/a\\b", false); // a name that holds the other separator
    expect(u"C:\\", u"", u"C:\\", u"C:\\", true);
    expect(u"C:\\a", u"a", u"C:\\", u"C:\\a", false);
    expect(u"C:\\a\\", u"", u"C:\\a", u"C:\\a", false);
    expect(u"C:\\a\\b c", u"b c", u"C:\\a", u"C:\\a\\b c", false);
    expect(u"C:\\a/b", u"a/b", u"C:\\", u"C:\\a/b", false);
    expect(u"\\\\x\\y", u"y", u"\\\\x", u"\\\\x\\y", false);
    expect(u"C:", u"C:", u"", u"C:", true);
    expect(u"abc", u"abc", u"", u"abc", true);
    expect(u"abcd", u"abcd", u"", u"abcd", false);
    expect(u"", u"", u"", u"", true);
}

TEST(Paths, AreJoinedWithOneSeparator) {
    EXPECT_EQ(JoinPath(u"/", u"a"), u"/a");
    EXPECT_EQ(JoinPath(u"/a", u"b\\c"), u"/a/b\\c");
    EXPECT_EQ(JoinPath(u"/a/", u"b"), u"/a/b");
    EXPECT_EQ(JoinPath(u"C:\\", u"a"), u"C:\\a");
    EXPECT_EQ(JoinPath(u"C:\\a/", u"b"), u"C:\\a/\\b");
}

} // namespace
} // namespace larkspin
