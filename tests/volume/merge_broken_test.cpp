// Discs that are broken, or made to do harm, and drives that fail: a text, and nothing sent.
#include "merge_kit.h"
#include "platform/text.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

constexpr const char16_t* kCannotMerge = u"Cannot merge previous session.";

class BrokenDisc : public testing::Test {
  protected:
    void SetUp() override {
        m_disc.Append({{u"/DIR/SUB/IN", "in"},
                       {u"/FILE.TXT", std::string(5000, 'f')},
                       {u'/' + std::u16string(200, u'l'), "long"}});
        m_root = m_disc.Reader().Root().extent;
    }

    // The record in a directory whose ISO name begins so; all its bytes are there to be changed.
    uint8_t* RecordOf(uint32_t directory, std::string_view name) {
        for (size_t at = size_t{directory} * 2048; m_disc.bytes[at] != 0; at += m_disc.bytes[at]) {
            uint8_t* const record = &m_disc.bytes[at];
            if (std::equal(name.begin(), name.end(), record + 33)) {
                return record;
            }
        }
        ADD_FAILURE() << "no record " << name;
        return m_disc.bytes.data();
    }
    // A System Use entry in a record.
    uint8_t* EntryOf(uint8_t* record, std::string_view signature) {
        return std::search(record, record + record[0], signature.begin(), signature.end());
    }
    static void Put32(uint8_t* at, uint32_t value) {
        for (int i = 0; i < 4; ++i) {
            at[i] = static_cast<uint8_t>(value >> (8 * i));
        }
    }
    VolumeResult Merge() {
        MemoryFiles files({{u"/DIR/NEW", "new"}});
        return m_disc.Merge(files, files.Items());
    }

    MemoryDisc m_disc;
    uint32_t m_root = 0;
};

TEST_F(BrokenDisc, EndsWithAText) {
    const uint32_t sub = m_disc.Reader().RockRidgeTree().at("/DIR").extent;
    uint8_t* const descriptor = &m_disc.bytes[16 * 2048];
    uint8_t* const directory = RecordOf(m_root, "DIR");
    uint8_t* const inner = RecordOf(sub, "SUB");
    uint8_t* const file = RecordOf(m_root, "FILE.TXT");
    uint8_t* const ce = EntryOf(RecordOf(m_root, "LLLLLLLL"), "CE");
    const auto ceAt = static_cast<uint32_t>(ce - m_disc.bytes.data());
    const char16_t* const noFile = u"Cannot parse Rock Ridge attributes for 'FILE.TXT'.";
    const char16_t* const noLong = u"Cannot parse Rock Ridge attributes for 'LLLLLLLL.'.";
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
        {"a folder that holds the root", kCannotMerge, [&] { Put32(inner + 2, m_root); }},
        {"a folder behind the disc", kCannotMerge, [&] { Put32(directory + 2, 0x7FFFFFFF); }},
        {"a folder without end", kCannotMerge, [&] { Put32(directory + 10, 0xFFFFFFFF); }},
        {"the root without end", kCannotMerge, [&] { Put32(descriptor + 166, 0xFFFFF800); }},
        {"a file that ends behind the disc", kCannotMerge, [&] { Put32(file + 10, 0x7FFFF000); }},
        {"a name of no length", kCannotMerge, [&] { file[32] = 0; }},
        {"a name longer than its record", kCannotMerge, [&] { file[32] = 250; }},
        {"a record that leaves its sector", kCannotMerge,
         [&] {
             uint8_t* last = RecordOf(m_root, "LLLLLLLL");
             last[0] = 255;
             for (uint8_t* next = last + 255; next < &m_disc.bytes[m_root * 2048 + 2048];
                  next += next[0]) {
                 next[0] = 255;
             }
         }},
        {"dots among the names", kCannotMerge,
         [&] {
             file[32] = 1;
             file[33] = 0;
         }},
        {"a file that goes on nowhere", kCannotMerge, [&] { file[25] = 0x80; }},
        {"an entry of no length", noFile, [&] { EntryOf(file, "NM")[2] = 0; }},
        {"an entry longer than the record", noFile, [&] { EntryOf(file, "NM")[2] = 200; }},
        {"an entry of version 9", noFile, [&] { EntryOf(file, "PX")[3] = 9; }},
        {"a separator in a name", noFile, [&] { EntryOf(file, "NM")[6] = '/'; }},
        {"a zero byte in a name", noFile, [&] { EntryOf(file, "NM")[6] = 0; }},
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
        EXPECT_EQ(result.error, c.text) << c.what;
        EXPECT_TRUE(result.image.empty() && !result.toldSectors) << c.what;
    }
}

TEST_F(BrokenDisc, EveryReadThatFailsEndsTheMerge) {
    ASSERT_EQ(Merge().error, u"");
    const size_t reads = m_disc.reads.size();
    EXPECT_LE(reads, 24u); // 17 to find the descriptor, the root's dot, 3 folders, 1 area
    for (m_disc.failingRead = 1; m_disc.failingRead <= reads; ++m_disc.failingRead) {
        const VolumeResult result = Merge();
        EXPECT_EQ(result.error, u"Cannot read disk.") << m_disc.failingRead;
        EXPECT_TRUE(result.image.empty()) << m_disc.failingRead;
    }
}

// A disc of 4 GiB whose root says that it fills half of it.
TEST_F(BrokenDisc, NoFolderTakesAllMemory) {
    class LargeDisc final : public IBlockReader {
      public:
        explicit LargeDisc(MemoryDisc& start) : m_start(start) {}
        bool ReadBlocks(void* buffer, uint32_t count, uint32_t lba) override {
            if (lba + count <= m_start.Sectors()) {
                return m_start.ReadBlocks(buffer, count, lba);
            }
            ++readsBehind;
            return true;
        }
        size_t readsBehind = 0;

      private:
        MemoryDisc& m_start;
    };
    Put32(&m_disc.bytes[16 * 2048 + 166], 0x7FFFF800);
    LargeDisc disc(m_disc);
    MemoryFiles files({{u"/new", "new"}});
    const VolumeResult result =
        RunGenerator(files, files.Items(), {.sessionBase = 0x200000, .drive = &disc});
    EXPECT_EQ(result.error, kCannotMerge);
    EXPECT_EQ(disc.readsBehind, 0u);
}

// The links between a relocated folder and its place.
TEST(BrokenRelocation, LosesNothing) {
    const std::u16string deep = u"/d/d/d/d/d/d/d/d/d";
    const auto copy = [](char* to, const char* from) { std::copy_n(from, 12, to); };
    const struct {
        const char* what;
        const char16_t* text;
        std::function<void(char* cl, char* otherCl, char* re)> damage;
    } cases[] = {
        {"as it was", u"", [](char*, char*, char*) {}},
        {"a link to nowhere", kCannotMerge, [](char* cl, char*, char*) { cl[4] ^= 1; }},
        {"two links to one folder", kCannotMerge,
         [&](char* cl, char* otherCl, char*) { copy(otherCl, cl); }},
        {"a link to an ordinary folder", kCannotMerge,
         [](char*, char*, char* re) { std::copy_n("AL", 2, re); }},
        {"no link", u"", [](char* cl, char*, char*) { *cl = 'A'; }},
    };
    for (const auto& c : cases) {
        MemoryDisc disc;
        disc.Append({{deep + u"/in", "in"}, {u"/e" + deep.substr(2) + u"/in", "in"}});
        char* const bytes = reinterpret_cast<char*>(disc.bytes.data());
        const auto find = [&](char* from, std::string_view text) {
            return std::search(from, bytes + disc.bytes.size(), text.begin(), text.end());
        };
        char* const cl = find(bytes, "CL\x0C\1");
        char* const re = find(bytes, "RE\4\1");
        c.damage(cl, find(cl + 4, "CL\x0C\1"), re);
        MemoryFiles files({{u"/new", "new"}});
        const VolumeResult result = disc.Merge(files, files.Items());
        EXPECT_EQ(result.error, c.text) << c.what;
        if (result.error.empty()) {
            disc.Append(files);
            size_t found = 0; // a folder without a link stays where readers of ISO 9660 see it
            for (const auto& [path, text] : ContentsOf(disc.Reader(), disc.Reader().IsoTree())) {
                found += text == "in" ? 1 : 0;
            }
            EXPECT_EQ(found, 2u) << c.what;
        }
    }
}

TEST(MergeSize, TenThousandNamesAreReadOnceInLargePieces) {
    MemoryFiles files;
    for (int i = 0; i < 10'000; ++i) {
        files.AddFile(FormatWide("/f/%05d %s", i, std::string(i % 4 == 0 ? 150 : 20, 'n').c_str()),
                      "x");
    }
    MemoryDisc disc;
    disc.Append(files);
    disc.Append({{u"/new", "new"}});
    EXPECT_EQ(disc.Reader().RockRidgeTree().size(), 10'002u);
    uint32_t sectors = 0;
    for (const MemoryDisc::Read& read : disc.reads) {
        sectors += read.count;
    }
    const IsoReader first(disc.bytes);
    const uint32_t folder = first.Directory(first.Root()).at(2).size / 2048;
    const uint32_t areas = 10'000 / 4 * 120 / 2048; // about
    EXPECT_LT(sectors, folder + 2 * areas + 300);
    EXPECT_LT(disc.reads.size(), folder / 16 + 10'000 / 256 * 3 + 40);
}

} // namespace
} // namespace larkspin
