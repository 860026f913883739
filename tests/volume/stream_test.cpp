// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume_kit.h"

#include <algorithm>

namespace larkspin {
namespace {

std::string Pattern(size_t bytes) {
    std::string text(bytes, '\0');
    for (size_t i = 0; i < bytes; ++i) {
        text[i] = static_cast<char>('!' + i % 89);
    }
    return text;
}

TEST(Stream, TheSizeOfTheScanRules) {
    const std::string text = Pattern(700'000);
    for (const size_t seen : {1u, 2047u, 2048u, 2049u, 300'000u, 524'288u}) {
        const size_t whole = (seen + 2047) / 2048 * 2048;
        // Shorter by any amount, unchanged, and grown past the sector; reads may be short.
        for (const size_t found : {size_t{0}, seen / 2, seen - 1, seen, text.size()}) {
            SCOPED_TRACE(Format("%zu became %zu", seen, found));
            SourceFiles files({{u"/f", text.substr(0, found)}});
            files.At(u"/f").status.size = seen;
            files.At(u"/f").m_nMost = found == seen ? 777 : SIZE_MAX;
            const VolumeResult result = MakeVolume(files, {u"/f"});
            EXPECT_EQ(result.error, u"");
            const IsoReader reader(result.image);
            IsoReader::Record record = reader.RockRidgeTree().at("/f");
            EXPECT_EQ(record.size, seen);
            record.size = static_cast<uint32_t>(whole);
            std::string expected = text.substr(0, std::min(found, whole));
            expected.resize(whole, '\0');
            EXPECT_TRUE(reader.Contents(record) == expected);
        }
    }
}

TEST(Stream, WhatIsNotAsItWasScannedIsTold) {
    const struct {
        std::function<void(SourceFiles& files)> change; // before the first sector goes out
        Queue notices;
    } cases[] = {
        {[](SourceFiles&) {}, {}},
        {[](SourceFiles& files) { ++files.At(u"/f").status.accessTime; }, {}},
        {[](SourceFiles& files) { files.At(u"/f").m_bytes.pop_back(); },
         {u"File /f became shorter during the writing. Zeros stand for what is missing."}},
        {[](SourceFiles& files) { ++files.At(u"/f").status.size; },
         {u"File /f became longer during the writing. What was added is not on the disc."}},
        {[](SourceFiles& files) { ++files.At(u"/f").status.modifyTime; },
         {u"File /f changed during the writing. Old and new parts may be mixed on the disc."}},
        {[](SourceFiles& files) {
             files.onStatus = [&files](const std::u16string& path) { files.nodes.erase(path); };
         },
         {u"File /f was removed during the writing. It may not be whole on the disc."}},
        {[](SourceFiles& files) { files.At(u"/f").status.type = FileStatus::Type::Other; },
         {u"/f is no longer a file. What is on the disc in its place is not what was there."}},
    };
    for (const auto& test : cases) {
        SourceFiles files({{u"/f", Pattern(5000)}});
        VolumeRequest request;
        request.onSizeReady = [&] { test.change(files); };
        const VolumeResult result = RunGenerator(files, {u"/f"}, request);
        EXPECT_EQ(result.error, u"");
        EXPECT_EQ(result.notices, test.notices);
    }
}

TEST(Stream, ASlowDiskIsAskedForTheNextFilesAtOnce) {
    for (const bool isCold : {false, true}) {
        SourceFiles files;
        for (int i = 0; i < 600; ++i) {
            files.AddFile(FormatWide("/f/%d/%d", i / 100, i), Pattern(1 + i)).m_bCold = isCold;
        }
        const VolumeResult result = MakeVolume(files, {u"/f"});
        EXPECT_EQ(RockRidgeContents(IsoReader(result.image)), files.Expected());
        EXPECT_EQ(result.notices, Queue());
        const auto asked = std::ranges::count_if(
            files.nodes, [](const auto& node) { return node.second.m_nAsked != 0; });
        EXPECT_EQ(asked, isCold ? 600 - 3 : 0) << "one in 257 is waited for";
    }
}

TEST(Stream, AFileThatFailsCutsTheStreamShort) {
    for (const bool opens : {false, true}) {
        SourceFiles files({{u"/bad", "text"}});
        files.At(u"/bad").opens = opens;
        files.At(u"/bad").m_nFailsAt = 0;
        const VolumeResult result = MakeVolume(files, {u"/bad"});
        EXPECT_EQ(result.error, opens ? u"Cannot read from \"/bad\"." : u"Cannot open \"/bad\".");
        ASSERT_TRUE(result.toldSectors.has_value());
        EXPECT_LT(result.image.size(), size_t{*result.toldSectors} * 2048);
    }
}

TEST(Stream, TheRunEndsWithItsReader) {
    const std::string text = Pattern(3'000'000);
    SourceFiles files({{u"/a", text}, {u"/b", text}, {u"/c", text}, {u"/d", text}});
    files.AddFile(u"/e", "x").opens = false; // would fail the run if it were reached
    for (const size_t taken : {size_t{0}, size_t{500'000}, size_t{5'000'000}}) {
        const VolumeResult result =
            RunGenerator(files, files.Items(), {.readerLeavesAfter = taken});
        EXPECT_EQ(result.error, u"");
        EXPECT_LE(result.writes, taken / 2048 + 1);
    }
}

TEST(Stream, ErrorTextsAreCutBetweenCharacters) {
    std::u16string path = u"/";
    while (path.size() < 200) {
        path += u"\xD83D\xDE00";
    }
    SourceFiles files({{path, "x"}});
    files.At(path).opens = false;
    const VolumeResult result = MakeVolume(files, {path});
    // Of 127 units the last would be half a character.
    EXPECT_EQ(result.error, (u"Cannot open \"" + path).substr(0, 126));
    const std::string narrow = CCDWriterISOGenException(result.error).what();
    EXPECT_TRUE(narrow.size() >= 124 && narrow.size() <= 127) << narrow;
    EXPECT_EQ(narrow.substr(narrow.size() - 4), "\xF0\x9F\x98\x80");
}

} // namespace
} // namespace larkspin
