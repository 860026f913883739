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
        MemoryFiles files;
        files.AddFolder(u"/DIR");
        files.AddFolder(u"/DIR/SUB");
        files.AddFile(u"/DIR/SUB/IN", "in");
        files.AddFile(u"/FILE.TXT", std::string(5000, 'f'));
        files.AddFile(m_longName, "long");
        m_disc.Append(files, {u"/DIR", u"/FILE.TXT", m_longName});
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
        MemoryFiles files;
        files.AddFolder(u"/DIR");
        files.AddFile(u"/DIR/NEW", "new");
        return m_disc.Merge(files, {u"/DIR"});
    }

    const std::u16string m_longName = u"/" + std::u16string(200, u'l');
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
    struct Case {
        const char* what;
        const char16_t* text;
        std::function<void()> damage;
    };
    const std::vector<Case> cases = {
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
    for (const Case& c : cases) {
        std::copy(whole.begin(), whole.end(), m_disc.bytes.begin());
        c.damage();
        const VolumeResult result = Merge();
        EXPECT_EQ(result.error, c.text) << c.what;
        EXPECT_TRUE(result.image.empty()) << c.what;
        EXPECT_FALSE(result.toldSectors) << c.what;
    }
}

TEST_F(BrokenDisc, EveryReadThatFailsEndsTheMerge) {
    ASSERT_EQ(Merge().error, u"");
    const size_t reads = m_disc.reads.size();
    EXPECT_LE(reads, 24u); // 17 to find the descriptor, the root's dot, 3 folders, 1 area
    for (size_t read = 1; read <= reads; ++read) {
        m_disc.failingRead = read;
        const VolumeResult result = Merge();
        EXPECT_EQ(result.error, u"Cannot read disk.") << read;
        EXPECT_TRUE(result.image.empty()) << read;
    }
}

TEST(MergeSize, FortyThousandNamesAreReadOnceInLargePieces) {
    MemoryFiles files;
    files.AddFolder(u"/f");
    for (int i = 0; i < 40'000; ++i) {
        files.AddFile(FormatWide("/f/%05d %s", i, std::string(i % 4 == 0 ? 150 : 20, 'n').c_str()),
                      "x");
    }
    MemoryDisc disc;
    disc.Append(files, {u"/f"});
    MemoryFiles second;
    second.AddFile(u"/new", "new");
    disc.Append(second, {u"/new"});
    EXPECT_EQ(disc.Reader().RockRidgeTree().size(), 40'002u);
    uint32_t sectors = 0;
    for (const MemoryDisc::Read& read : disc.reads) {
        sectors += read.count;
    }
    const IsoReader first(disc.bytes);
    const uint32_t folder = first.Directory(first.Root()).at(2).size / 2048;
    const uint32_t areas = 40'000 / 4 * 120 / 2048; // about
    EXPECT_LT(sectors, folder + 2 * areas + 300);
    EXPECT_LT(disc.reads.size(), folder / 16 + 40'000 / 256 * 3 + 40);
}

} // namespace
} // namespace larkspin
