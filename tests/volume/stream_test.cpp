#include "volume_kit.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

std::string Pattern(size_t bytes) {
    std::string text(bytes, '\0');
    for (size_t i = 0; i < bytes; ++i) {
        text[i] = static_cast<char>('!' + i % 89);
    }
    return text;
}

// Makes a volume of one file that the scan saw with `seen` bytes and reading finds as `found`;
// gives the whole sectors of its contents.
std::string SectorsOfChangedFile(const std::string& seen, const std::string& found) {
    MemoryFiles files;
    MemoryFiles::Node& node = files.AddFile(u"/f", seen);
    node.bytes.assign(found.begin(), found.end());
    const VolumeResult result = MakeVolume(files, {u"/f"});
    EXPECT_EQ(result.error, u"");
    EXPECT_EQ(result.image.size(), size_t{result.toldSectors.value_or(0)} * 2048);
    const IsoReader reader(result.image);
    IsoReader::Record record = reader.RockRidgeTree().at("/f");
    EXPECT_EQ(record.size, seen.size());
    record.size = static_cast<uint32_t>((seen.size() + 2047) / 2048 * 2048);
    return TextOf(reader.Contents(record));
}

std::string ZeroPadded(std::string text, size_t bytes) {
    text.resize(bytes, '\0');
    return text;
}

TEST(Stream, TheSizeOfTheScanRules) {
    const std::string text = Pattern(700'000);
    for (const size_t seen : {1u, 2047u, 2048u, 2049u, 300'000u, 524'288u}) {
        const size_t sectors = (seen + 2047) / 2048 * 2048;
        // Unchanged, shorter by any amount, and grown past the sector.
        EXPECT_EQ(SectorsOfChangedFile(text.substr(0, seen), text.substr(0, seen)),
                  ZeroPadded(text.substr(0, seen), sectors));
        for (const size_t found : {size_t{0}, seen / 2, seen - 1}) {
            EXPECT_EQ(SectorsOfChangedFile(text.substr(0, seen), text.substr(0, found)),
                      ZeroPadded(text.substr(0, found), sectors))
                << seen << " became " << found;
        }
        EXPECT_EQ(SectorsOfChangedFile(text.substr(0, seen), text), text.substr(0, sectors));
    }
}

TEST(Stream, ShortReadsAreNoEnd) {
    MemoryFiles files;
    const std::string text = Pattern(400'000);
    files.AddFile(u"/f", text).largestRead = 777;
    const IsoReader reader(MakeVolume(files, {u"/f"}).image);
    EXPECT_EQ(TextOf(reader.Contents(reader.RockRidgeTree().at("/f"))), text);
}

TEST(Stream, AFileThatFailsCutsTheStreamShort) {
    const struct {
        bool opens;
        const char16_t* error;
    } cases[] = {{false, u"Cannot open \"/bad\"."}, {true, u"Cannot read from \"/bad\"."}};
    for (const auto& c : cases) {
        MemoryFiles files;
        files.AddFile(u"/bad", "text").opens = c.opens;
        files.At(u"/bad").readFails = true;
        const VolumeResult result = MakeVolume(files, {u"/bad"});
        EXPECT_EQ(result.error, c.error);
        ASSERT_TRUE(result.toldSectors.has_value());
        EXPECT_LT(result.image.size(), size_t{*result.toldSectors} * 2048);
    }
}

TEST(Stream, TheRunEndsWithItsReader) {
    MemoryFiles files;
    std::vector<std::u16string> queue;
    for (const char16_t* path : {u"/a", u"/b", u"/c", u"/d"}) {
        files.AddFile(path, Pattern(3'000'000));
        queue.push_back(path);
    }
    // A file that would fail the run if it were reached.
    files.AddFile(u"/e", "x").opens = false;
    queue.push_back(u"/e");
    for (const size_t taken : {size_t{0}, size_t{500'000}, size_t{5'000'000}}) {
        FixedClock clock;
        MemorySink sink;
        sink.readerLeavesAfter = taken;
        CCDWriterISOGen generator(files, clock);
        generator.ResetOptions();
        EXPECT_NO_THROW(generator.MakeVolume(queue, sink, 0, 0, {}));
        EXPECT_LE(sink.bytes.size(), taken);
        EXPECT_LE(sink.writes, taken / 2048 + 1);
    }
}

TEST(Stream, ErrorTextsAreCutBetweenCharacters) {
    MemoryFiles files;
    std::u16string path = u"/";
    while (path.size() < 200) {
        path += u"\xD83D\xDE00";
    }
    files.AddFile(path, "x").opens = false;
    const VolumeResult result = MakeVolume(files, {path});
    const std::u16string whole = u"Cannot open \"" + path;
    EXPECT_GE(result.error.size(), 126u);
    EXPECT_LE(result.error.size(), 127u);
    EXPECT_EQ(result.error, whole.substr(0, result.error.size()));
    EXPECT_EQ(result.error.back() & 0xFC00, 0xDC00);
    const CCDWriterISOGenException failure(result.error);
    const std::string narrow = failure.what();
    EXPECT_GE(narrow.size(), 124u);
    EXPECT_LE(narrow.size(), 127u);
    EXPECT_EQ(narrow.substr(narrow.size() - 4), "\xF0\x9F\x98\x80");
}

} // namespace
} // namespace larkspin
