// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Discs that are broken, or made to do harm, and drives that fail: a text, and nothing sent.
#include "merge_kit.h"

namespace larkspin {
namespace {

constexpr const char16_t* kCannotMerge = u"Cannot merge previous session.";

class BrokenDisc : public testing::Test {
  protected:
    BrokenDisc() {
        m_disc.Append({{u"/DIR/SUB/IN", "in"},
                       {u"/FILE.TXT", std::string(5000, 'f')},
                       {u'/' + std::u16string(200, u'l'), "long"}});
    }

    static void Put32(uint8_t* at, uint32_t value) {
        for (int i = 0; i < 4; ++i) {
            at[i] = static_cast<uint8_t>(value >> (8 * i));
        }
    }
    VolumeResult Merge() { return m_disc.Merge({{u"/DIR/NEW", "new"}}); }

    MemoryDisc m_disc;
};

TEST_F(BrokenDisc, EndsWithAText) {
    const uint32_t root = m_disc.Reader().Root().extent;
    const uint32_t sub = m_disc.Reader().RockRidgeTree().at("/DIR").extent;
    uint8_t* const descriptor = &m_disc.bytes[16 * 2048];
    uint8_t* const directory = m_disc.RootRecord("DIR");
    uint8_t* const inner = m_disc.Find("SUB", &m_disc.bytes[sub * 2048]) - 33;
    uint8_t* const file = m_disc.RootRecord("FILE.TXT");
    uint8_t* const nm = m_disc.Find("NM", file);
    uint8_t* const last = m_disc.RootRecord("LLLLLLLL");
    uint8_t* const ce = m_disc.Find("CE", last);
    const auto ceAt = static_cast<uint32_t>(ce - m_disc.bytes.data());
    // A file is left out, and told; all else stays.
    const char16_t* const noFile = u"FILE.TXT";
    const char16_t* const noLong = u"LLLLLLLL";
    const struct {
        const char* what;
        const char16_t* text;
        std::function<void()> damage;
    } cases[] = {
        {"no descriptor", u"Unable to find previous session.", [&] { descriptor[1] = 'X'; }},
        {"sectors of another size", u"Previous session has incompatible sector size 1024.",
         [&] { descriptor[129] = 4; }},
        {"one volume of two", u"Previous session has volume set size 2 (must be 1).",
         [&] { descriptor[120] = 2; }},
        {"a folder that holds its parent", kCannotMerge, [&] { Put32(inner + 2, sub); }},
        {"a folder that holds the root", kCannotMerge, [&] { Put32(inner + 2, root); }},
        {"a folder behind the disc", kCannotMerge, [&] { Put32(directory + 2, 0x7FFFFFFF); }},
        {"a folder without end", kCannotMerge, [&] { Put32(directory + 10, 0xFFFFFFFF); }},
        {"the root without end", kCannotMerge, [&] { Put32(descriptor + 166, 0xFFFFF800); }},
        {"a file that ends a sector behind the disc", noFile,
         [&] { Put32(file + 2, m_disc.Sectors() - 2); }}, // it has three
        {"a name of no length", kCannotMerge, [&] { file[32] = 0; }},
        {"a name longer than its record", kCannotMerge, [&] { file[32] = 250; }},
        {"a record that leaves its sector", kCannotMerge,
         [&] {
             for (uint8_t* next = last; next < &m_disc.bytes[root * 2048 + 2048]; next += 255) {
                 next[0] = 255;
             }
         }},
        {"dots among the names", kCannotMerge,
         [&] {
             file[32] = 1;
             file[33] = 0;
         }},
        {"a file that goes on nowhere", noFile, [&] { file[25] = 0x80; }},
        {"an entry of no length", noFile, [&] { nm[2] = 0; }},
        {"an entry longer than the record", noFile, [&] { nm[2] = 200; }},
        {"an entry of version 9", noFile, [&] { m_disc.Find("PX", file)[3] = 9; }},
        {"a separator in a name", noFile, [&] { nm[6] = '/'; }},
        {"a zero byte in a name", noFile, [&] { nm[6] = 0; }},
        {"an area in a circle", noLong,
         [&] {
             Put32(ce + 4, ceAt / 2048);
             Put32(ce + 12, ceAt % 2048);
             Put32(ce + 20, 28);
         }},
        {"an area that leaves its sector", noLong, [&] { Put32(ce + 12, 2040); }},
        {"an area behind the disc", noLong, [&] { Put32(ce + 4, 0xFFFFFFF0); }},
    };
    const std::vector<uint8_t> whole = m_disc.bytes;
    ASSERT_EQ(Merge().error, u"");
    for (const auto& c : cases) {
        std::copy(whole.begin(), whole.end(), m_disc.bytes.begin());
        c.damage();
        const VolumeResult result = Merge();
        const bool isFile = c.text == noFile || c.text == noLong;
        EXPECT_EQ(result.error, isFile ? u"" : c.text) << c.what;
        EXPECT_EQ(result.image.empty(), !isFile) << c.what;
        ASSERT_EQ(result.notices.size(), isFile ? 1U : 0U) << c.what;
        if (isFile) {
            EXPECT_TRUE(result.notices[0].starts_with(u"File ")) << c.what;
            MemoryDisc after = m_disc;
            after.Add(result);
            const auto tree = after.Reader().RockRidgeTree();
            EXPECT_EQ(tree.contains("/FILE.TXT"), c.text != noFile) << c.what;
            EXPECT_EQ(tree.contains('/' + std::string(200, 'l')), c.text != noLong) << c.what;
            EXPECT_TRUE(tree.contains("/DIR/SUB/IN") && tree.contains("/DIR/NEW")) << c.what;
        }
    }
}

TEST_F(BrokenDisc, ItsDescriptorIsLookedForInAHundredSectors) {
    for (const ptrdiff_t place : {99, 100}) {
        MemoryDisc disc;
        disc.Append({{u"/file", std::string(200 * 2048, 'f')}});
        const auto descriptor = disc.bytes.begin() + 16 * 2048;
        std::copy_n(descriptor, 2048, disc.bytes.begin() + place * 2048);
        descriptor[1] = 'X';
        EXPECT_EQ(disc.Merge({{u"/new", "new"}}).error,
                  place == 99 ? u"" : u"Unable to find previous session.");
    }
}

TEST_F(BrokenDisc, EveryReadThatFailsEndsTheMerge) {
    ASSERT_EQ(Merge().error, u"");
    const size_t reads = m_disc.reads;
    EXPECT_LE(reads, 24u); // 17 to find the descriptor, the root's dot, 3 folders, 1 area
    for (m_disc.failingRead = 1; m_disc.failingRead <= reads; ++m_disc.failingRead) {
        const VolumeResult result = Merge();
        EXPECT_EQ(result.error, u"Cannot read disk.") << m_disc.failingRead;
        EXPECT_TRUE(result.image.empty()) << m_disc.failingRead;
    }
}

// A disc of 4 GiB whose root says that it fills half of it.
TEST_F(BrokenDisc, NoFolderTakesAllMemory) {
    Put32(&m_disc.bytes[16 * 2048 + 166], 0x7FFFF800);
    SourceFiles files({{u"/new", "new"}});
    const VolumeResult result =
        RunGenerator(files, files.Items(), {.sessionBase = 0x200000, .drive = &m_disc});
    EXPECT_EQ(result.error, kCannotMerge); // and not for the read that this disc would refuse
}

// The links between a relocated folder and its place.
TEST(BrokenRelocation, LosesNothing) {
    const std::u16string deep = u"/d/d/d/d/d/d/d/d/d";
    const auto copy = [](uint8_t* to, std::string_view text) {
        std::copy(text.begin(), text.end(), to);
    };
    const struct {
        const char* what;
        const char16_t* text;
        std::function<void(uint8_t* cl, uint8_t* otherCl, uint8_t* re)> damage;
    } cases[] = {
        {"a link to nowhere", kCannotMerge, [](uint8_t* cl, uint8_t*, uint8_t*) { cl[4] ^= 1; }},
        {"two links to one folder", kCannotMerge,
         [](uint8_t* cl, uint8_t* otherCl, uint8_t*) { std::copy_n(cl, 12, otherCl); }},
        {"a link to an ordinary folder", kCannotMerge,
         [&](uint8_t*, uint8_t*, uint8_t* re) { copy(re, "AL"); }},
        {"no link", u"", [&](uint8_t* cl, uint8_t*, uint8_t*) { copy(cl, "AL"); }},
    };
    for (const auto& c : cases) {
        MemoryDisc disc;
        disc.Append({{deep + u"/in", "in"}, {u"/e" + deep.substr(2) + u"/in", "in"}});
        uint8_t* const cl = disc.Find("CL\x0C\1");
        c.damage(cl, disc.Find("CL\x0C\1", cl + 4), disc.Find("RE\4\1"));
        const VolumeResult result = disc.Merge({{u"/new", "new"}});
        EXPECT_EQ(result.error, c.text) << c.what;
        if (result.error.empty()) {
            disc.Add(result);
            // A folder without a link stays where readers of ISO 9660 see it.
            const IsoReader reader = disc.Reader();
            const Contents found = ContentsOf(reader, reader.IsoTree());
            EXPECT_EQ(std::ranges::count(found, "in", &Contents::value_type::second), 2);
        }
    }
}

// Directories, continuation areas and path tables of many sectors.
TEST(MergeSize, TenThousandNamesAreReadOnceInLargePieces) {
    SourceFiles files;
    for (int i = 0; i < 10'000; ++i) {
        // Of the long names, which are up to 251 bytes long, the areas end everywhere.
        const std::string tail(i % 4 == 0 ? i / 4 % 246 : 20, 'n');
        files.AddFile(FormatWide("/f/%05d%s", i, tail.c_str()), Format("%d", i));
    }
    for (int i = 0; i < 300; ++i) {
        files.AddFile(FormatWide("/f/folder %03d/x", i), "x");
    }
    MemoryDisc disc;
    disc.Append(files);
    const IsoReader first = disc.Reader();
    EXPECT_TRUE(RockRidgeContents(first) == files.Expected());
    EXPECT_EQ(first.JolietTree().size(), files.Expected().size());
    disc.Append({{u"/new", "new"}});
    EXPECT_EQ(disc.Reader().RockRidgeTree().size(), files.Expected().size() + 1);
    const uint32_t folder = first.Directory(first.Root()).at(2).size / 2048;
    const uint32_t areas = 10'000 / 4 * 120 / 2048; // about
    EXPECT_LT(disc.sectorsRead, folder + 2 * areas + 600);
    EXPECT_LT(disc.reads, folder / 16 + 10'000 / 256 * 3 + 340);
}

} // namespace
} // namespace larkspin
