// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/names.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

GenOptions DataDisc() {
    GenOptions options;
    options.no_name_version = true;
    options.keep_inner_dots = true;
    options.mangle_specials = false;
    return options;
}

TEST(IsoName, OfADataDisc) {
    const struct {
        const char* source;
        bool folder;
        const char* name;
    } cases[] = {
        {"Read me.txt", false, "READ_ME.TXT"},
        {"README", false, "README."},
        {"README", true, "README"},
        {"archive.tar.gz", false, "ARCHIVE..GZ"},
        {".rr_moved", true, ".RR_"},
        {".bashrc", false, ".BAS"},
        {"my.dir", true, "MY.DIR"},
        {"verylongname.extension", false, "VERYLONG.EXT"},
        {"a-b#c~d.t-x", false, "A-B#C~D.T-X"},
        {"semi;1.txt", false, "SEMI_1.TXT"},
        {"\xC3\x9Cnit.txt", false, "__NIT.TXT"},
        {"new\nline", false, "NEW_LINE."},
        {"back\\slash", true, "BACK_SLA"},
        {"letter.doc~", false, "LETTER.DOC"},
        {"name.", false, "NAME."},
        {"a.b.", false, "A.B."},
        {"a.b.~1~", false, "A.B.~1"},
        {"\x7F.x", false, "\x7F.X"},
        {"a........................................b", false,
         "A......."
         "."},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MakeIsoName(c.source, c.folder, DataDisc()), c.name) << c.source;
    }
    EXPECT_EQ(MakeIsoName(".", true, DataDisc()), std::string(1, '\0'));
    EXPECT_EQ(MakeIsoName("..", true, DataDisc()), std::string(1, '\1'));
}

TEST(IsoName, OptionsChangeIt) {
    GenOptions options; // the defaults of ResetOptions
    EXPECT_EQ(MakeIsoName("a-b.c~d.t#", false, options), "A_B_C_D.T_;1");
    options.keep_lowercase = true;
    options.no_trailing_dot = true;
    EXPECT_EQ(MakeIsoName("plain", false, options), "plain;1");
    options = DataDisc();
    options.iso_name_limit = 6;
    EXPECT_EQ(MakeIsoName("abcdefgh.txt", false, options), "ABCDE.");
}

TEST(IsoName, UniquePartDropsAValidVersionOnly) {
    EXPECT_EQ(UniquePart("A.TXT;1"), "A.TXT");
    EXPECT_EQ(UniquePart("A.TXT;32767"), "A.TXT");
    for (const char* name : {"A.TXT;32768", "A.TXT;0", "A.TXT;", "A.TXT;x", "A.TXT;000001"}) {
        EXPECT_EQ(UniquePart(name), name);
    }
}

TEST(IsoName, Order) {
    const std::string inOrder[] = {std::string(1, '\0'),
                                   std::string(1, '\1'),
                                   ".BAS",
                                   "AB",
                                   "AB.",
                                   "AB.TXT",
                                   "AB#.TXT",
                                   "AB0.TXT",
                                   "B"};
    for (size_t i = 0; i < std::size(inOrder); ++i) {
        for (size_t j = 0; j < std::size(inOrder); ++j) {
            EXPECT_EQ(IsoNameLess(inOrder[i], inOrder[j]), i < j) << i << " " << j;
        }
    }
    EXPECT_TRUE(IsoNameLess("AB;1", "AB.TXT;1"));
    EXPECT_FALSE(IsoNameLess("AB;1", "AB;2"));
}

TEST(IsoName, ClashDigits) {
    const struct {
        const char* name;
        bool folder;
        uint32_t number;
        const char* renamed;
    } cases[] = {{"ABCDEFGH.", false, 0, "ABCDE000."},   {"ABCDEFGH.", false, 35, "ABCDE00Z."},
                 {"ABCDEFGH.", false, 36, "ABCDE010."},  {"ABCDEFGH", true, 46655, "ABCDEZZZ"},
                 {"A_B.TXT", false, 0, "A_B000.TXT"},    {"ARCHIVE..GZ", false, 1, "ARCHI001..GZ"},
                 {".BAS", false, 0, "000.BAS"},          {".A.B", true, 0, ".A000.B"},
                 {"NAME.TXT;1", false, 2, "NAME002.TXT"}};
    for (const auto& c : cases) {
        EXPECT_EQ(ClashName(c.name, c.folder, DataDisc()).Candidate(c.number), c.renamed) << c.name;
    }
    GenOptions longNames;
    longNames.long_clash_names = true;
    longNames.iso_name_limit = 12;
    EXPECT_EQ(ClashName("ABCDEFGH.TXT", false, longNames).Candidate(0), "ABCDE000.TXT;1");
    EXPECT_EQ(ClashName("ABC.TXT", false, longNames).Candidate(0), "ABC000.TXT;1");
}

} // namespace
} // namespace larkspin
