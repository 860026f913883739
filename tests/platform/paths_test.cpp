#include "platform/paths.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

TEST(Paths, AreTakenApart) {
    const struct {
        std::u16string path, leaf, parent, trimmed;
        bool isFolderByName;
    } cases[] = {
        {u"/", u"", u"/", u"/", true},
        {u"/a", u"a", u"/", u"/a", false},
        {u"/a/", u"", u"/a", u"/a", false},
        {u"/a/b.c", u"b.c", u"/a", u"/a/b.c", false},
        {u"/a\\b", u"a\\b", u"/", u"/a\\b", false}, // a name that holds the other separator
        {u"C:\\", u"", u"C:\\", u"C:\\", true},
        {u"C:\\a", u"a", u"C:\\", u"C:\\a", false},
        {u"C:\\a\\", u"", u"C:\\a", u"C:\\a", false},
        {u"C:\\a\\b c", u"b c", u"C:\\a", u"C:\\a\\b c", false},
        {u"C:\\a/b", u"a/b", u"C:\\", u"C:\\a/b", false},
        {u"\\\\x\\y", u"y", u"\\\\x", u"\\\\x\\y", false},
        {u"C:", u"C:", u"", u"C:", true},
        {u"abc", u"abc", u"", u"abc", true},
        {u"abcd", u"abcd", u"", u"abcd", false},
        {u"", u"", u"", u"", true},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.path));
        EXPECT_EQ(LeafName(test.path), test.leaf);
        EXPECT_EQ(ParentPath(test.path), test.parent);
        EXPECT_EQ(TrimSeparator(test.path), test.trimmed);
        EXPECT_EQ(IsFolderByName(test.path), test.isFolderByName);
    }
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
