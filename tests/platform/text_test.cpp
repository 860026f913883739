// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/text.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace larkspin {
namespace {

// Valid UTF-8 becomes the characters it stands for; every other byte a surrogate of its own.
TEST(Text, WidensWhatIsValidAndKeepsTheRest) {
    const auto expect = [](const char* what, const std::string& native,
                           const std::u16string& wide) {
        EXPECT_EQ(ToWide(native), wide) << what;
        EXPECT_EQ(ToNative(wide), native) << what;
    };
    expect("nothing", "", u"");
    expect("a zero byte", std::string("a\0b", 3), std::u16string(u"a\0b", 3));
    expect("the ends of each length", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF",
           u"\u007F\u0080\u07FF\u0800\uFFFF");
    expect("around the surrogates", "\xED\x9F\xBF\xEE\x80\x80", u"\uD7FF\uE000");
    expect("the supplementary planes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF");
    expect("a stray continuation", "a\x80", u"a\xDC80");
    expect("a byte that begins nothing", "\xFF\xC0\xF5", u"\xDCFF\xDCC0\xDCF5");
    expect("overlong, two bytes", "\xC1\xBF", u"\xDCC1\xDCBF");
    expect("overlong, three bytes", "\xE0\x9F\xBF", u"\xDCE0\xDC9F\xDCBF");
    expect("overlong, four bytes", "\xF0\x8F\xBF\xBF", u"\xDCF0\xDC8F\xDCBF\xDCBF");
    expect("past the last plane", "\xF4\x90\x80\x80", u"\xDCF4\xDC90\xDC80\xDC80");
    expect("a surrogate in UTF-8", "\xED\xA0\x80", u"\xDCED\xDCA0\xDC80");
    expect("a pair of them", "\xED\xA0\xBD\xED\xB2\xBF", u"\xDCED\xDCA0\xDCBD\xDCED\xDCB2\xDCBF");
    expect("a byte that is kept, in UTF-8", "\xED\xB2\x80", u"\xDCED\xDCB2\xDC80");
    expect("cut short at the end", "\xE2\x82", u"\xDCE2\xDC82");
    expect("cut short by a letter", "\xF0\x9F\x92z", u"\xDCF0\xDC9F\xDC92z");
    expect("cut short by a character", "\xC3\xC3\xBC", u"\xDCC3\u00FC");
    expect("a pair and then a stray byte", "\xF0\x9F\x92\xBF\xBF", u"\U0001F4BF\xDCBF");
}

// Names are bytes: each of them has to come back as it was, or its file can't be opened.
TEST(Text, EveryByteStringComesBack) {
    for (unsigned first = 0; first < 256; ++first) {
        for (unsigned second = 0; second < 256; ++second) {
            const std::string pair = {static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(ToNative(ToWide(pair)), pair) << first << " " << second;
        }
    }
    // Longer strings of the bytes at which the rules of UTF-8 turn.
    const std::string turning = "A\x7F\x80\x8F\x90\x9F\xA0\xBF\xC1\xC2\xE0\xED\xEF\xF0\xF4\xF5";
    std::string text(4, '\0');
    for (size_t number = 0; number < 65536; ++number) {
        for (size_t i = 0; i < 4; ++i) {
            text[i] = turning[number >> (4 * i) & 15];
        }
        ASSERT_EQ(ToNative(ToWide(text)), text) << number;
    }
}

TEST(Text, FormatsAtAnyLength) {
    const std::string longText(5000, 'x');
    EXPECT_EQ(Format("%s|%d", longText.c_str(), -7), longText + "|-7");
    EXPECT_EQ(Format("%s", ""), "");
    EXPECT_EQ(FormatWide("%s %u", "\xC3\x9C\xFF", 7U), u"\u00DC\xDCFF 7");
}

TEST(Text, EndsWithIgnoresTheCaseOfPlainLettersOnly) {
    EXPECT_TRUE(EndsWithNoCase(u"Song.FlAZ", u".flaz"));
    EXPECT_TRUE(EndsWithNoCase(u".MP3", u".mp3"));
    EXPECT_FALSE(EndsWithNoCase(u"mp3", u".mp3"));
    EXPECT_FALSE(EndsWithNoCase(u"song.mp3 ", u".mp3"));
    EXPECT_FALSE(EndsWithNoCase(u"\u00C4", u"\u00E4"));
    EXPECT_FALSE(EndsWithNoCase(u"[", u"{")) << "32 apart, and no letters";
    EXPECT_FALSE(EndsWithNoCase(u"@", u"`"));
}

TEST(Text, SizesChangeTheirUnitAtPowersOf1024) {
    EXPECT_EQ(FormatSize(1), u"1 bytes");
    EXPECT_EQ(FormatSize(1023), u"1023 bytes");
    EXPECT_EQ(FormatSize(1024), u"1.00 kb");
    EXPECT_EQ(FormatSize(737'280'000), u"703.12 Mb");
    EXPECT_EQ(FormatSize((1LL << 20) - 1), u"1024.00 kb");
    EXPECT_EQ(FormatSize(1LL << 20), u"1.00 Mb");
    EXPECT_EQ(FormatSize(1LL << 30), u"1.00 Gb");
    EXPECT_EQ(FormatSize(1LL << 40), u"1.00 Tb");
    EXPECT_EQ(FormatSize((1LL << 50) - 1), u"1024.00 Tb");
    EXPECT_EQ(FormatSize(1LL << 50), u"1.00 Pb");
    EXPECT_EQ(FormatSize(std::numeric_limits<long long>::max()), u"8192.00 Pb");
}

} // namespace
} // namespace larkspin
