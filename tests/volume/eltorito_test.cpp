// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Bootable volumes: the catalog byte for byte, broken images, the user's own files, and a machine
// that boots.
#include "merge_kit.h"
#include "readers_kit.h"

#include <array>

namespace larkspin {
namespace {

using SetBoot = std::function<void(GenOptions&)>;

std::string Image(size_t bytes) {
    std::string image(bytes, '\0');
    for (size_t i = 0; i < bytes; ++i) {
        image[i] = static_cast<char>(i % 251);
    }
    return image;
}

std::string HardDisk(std::initializer_list<int> types) {
    std::string disk(63 * 512, '\0');
    size_t at = 446 + 4;
    for (const int type : types) {
        disk[at] = static_cast<char>(type);
        at += 16;
    }
    return disk;
}

SetBoot Boot(std::vector<BootEntry> entries, const char16_t* catalog = u"boot.catalog") {
    return [entries = std::move(entries), catalog](GenOptions& options) {
        options.el_torito = true;
        options.boot_entries = entries;
        options.boot_catalog_path = catalog;
    };
}

TEST(ElTorito, WritesRecordAndCatalog) {
    SourceFiles files({{u"/boot/loader", Image(5000)},
                       {u"/boot/floppy12", std::string(1'228'800, 'f')},
                       {u"/boot/floppy144", std::string(1'474'560, 'f')},
                       {u"/boot/floppy288", std::string(2'949'120, 'f')},
                       {u"/boot/disk", HardDisk({0, 0x0C})}});
    const std::vector<BootEntry> entries = {
        {.path = u"/boot/loader", .no_emulation = true, .load_segment = 0x1234},
        // the other kind of path
        {.path = u"boot\\loader", .not_bootable = true, .no_emulation = true, .load_size = 4},
        {.path = u"/boot/floppy12"},
        {.path = u"/boot/floppy144"},
        {.path = u"/boot/floppy288"},
        {.path = u"/boot/disk", .hard_disk_emulation = true}};
    const struct {
        const char* file;
        std::array<uint64_t, 5> expected; // bootable, media, segment, type, load
    } cases[] = {{"loader", {0x88, 0, 0x1234, 0, 12}}, {"loader", {0, 0, 0, 0, 4}},
                 {"floppy12", {0x88, 1, 0, 0, 1}},     {"floppy144", {0x88, 2, 0, 0, 1}},
                 {"floppy288", {0x88, 3, 0, 0, 1}},    {"disk", {0x88, 4, 0, 0x0C, 1}}};
    const VolumeResult result = MakeVolume(files, {u"/boot"}, 700, [&](GenOptions& options) {
        Boot(entries, u"/boot/boot.cat")(options);
        options.publisher_id = "A publisher whose name is too long for it";
    });
    ASSERT_EQ(result.error, u"");
    const IsoReader reader(result.image, 700);
    const IsoReader::Tree tree = reader.RockRidgeTree();
    const auto record = reader.Sector(717);
    const std::string text(record.begin(), record.end());
    EXPECT_EQ(text.substr(0, 30), std::string("\0CD001\1EL TORITO SPECIFICATION", 30));
    EXPECT_EQ(LittleAt(text, 71, 4), tree.at("/boot/boot.cat").extent);
    EXPECT_EQ(tree.at("/boot/boot.cat").mode, 0100444u);
    const std::string catalog = reader.Contents(tree.at("/boot/boot.cat"));
    EXPECT_EQ(catalog.substr(0, 28), std::string("\1\0\0\0A publisher whose name \0", 28));
    EXPECT_EQ(catalog.substr(30, 2), "\x55\xAA");
    uint64_t sum = 0;
    for (size_t at = 0; at < 32; at += 2) {
        sum += LittleAt(catalog, at, 2);
    }
    EXPECT_EQ(sum & 0xFFFF, 0u);
    size_t at = 32;
    for (const auto& c : cases) {
        EXPECT_EQ((std::array{LittleAt(catalog, at, 1), LittleAt(catalog, at + 1, 1),
                              LittleAt(catalog, at + 2, 2), LittleAt(catalog, at + 4, 1),
                              LittleAt(catalog, at + 6, 2)}),
                  c.expected)
            << c.file;
        EXPECT_EQ(LittleAt(catalog, at + 8, 4), tree.at(std::string("/boot/") + c.file).extent);
        at += 32;
    }
    EXPECT_EQ(catalog.find_first_not_of('\0', at), std::string::npos);
    EXPECT_EQ(files.patches, 0u);
}

// The catalog of an earlier session lists the images of that one.
TEST(ElTorito, ACatalogIsNeverKeptFromAnEarlierSession) {
    SourceFiles files({{u"/loader", Image(2048)}});
    const SetBoot boot = Boot({{.path = u"/loader", .no_emulation = true}});
    MemoryDisc disc(MakeVolume(files, {u"/loader"}, 0, boot).image);
    files.AddFile(u"/loader", Image(4096));
    disc.Add(disc.Merge(files, boot));
    const IsoReader reader = disc.Reader();
    const IsoReader::Tree tree = reader.RockRidgeTree();
    const std::string catalog = reader.Contents(tree.at("/boot.catalog"));
    EXPECT_EQ(LittleAt(catalog, 40, 4), tree.at("/loader").extent);
}

TEST(ElTorito, PutsTheBootInformationTableIntoTheUsersFile) {
    const std::string loader = Image(5001);
    SourceFiles files({{u"/loader", loader}});
    const BootEntry entry = {.path = u"loader", .no_emulation = true, .patch_boot_info = true};
    const VolumeResult result = MakeVolume(files, {u"/loader"}, 90, Boot({entry, entry}));
    ASSERT_EQ(result.error, u"");
    const IsoReader reader(result.image, 90);
    const IsoReader::Record record = reader.RockRidgeTree().at("/loader");
    const std::string written = reader.Contents(record);
    EXPECT_EQ(written, TextOf(files.At(u"/loader").m_bytes));
    uint64_t checksum = 0;
    const std::string padded = loader + std::string(3, '\0');
    for (size_t at = 64; at < padded.size(); at += 4) {
        checksum += LittleAt(padded, at, 4);
    }
    EXPECT_EQ(LittleAt(written, 8, 4), 106u);
    EXPECT_EQ(LittleAt(written, 12, 4), record.extent);
    EXPECT_EQ(LittleAt(written, 16, 4), 5001u);
    EXPECT_EQ(LittleAt(written, 20, 4), checksum & 0xFFFFFFFF);
    EXPECT_EQ(written.substr(24, 40), std::string(40, '\0'));
    EXPECT_EQ(written.substr(0, 8) + written.substr(64), loader.substr(0, 8) + loader.substr(64));
}

TEST(ElTorito, ACatalogHasRoomFor63Images) {
    SourceFiles files({{u"/loader", Image(2048)}});
    const std::pair<size_t, const char16_t*> cases[] = {
        {0, u"No boot image specified."}, {63, u""}, {64, u"Too many boot entries."}};
    for (const auto& [images, message] : cases) {
        const std::vector<BootEntry> entries(images, {.path = u"/loader", .no_emulation = true});
        EXPECT_EQ(MakeVolume(files, {u"/loader"}, 0, Boot(entries)).error, message);
    }
}

TEST(ElTorito, TellsWhatIsWrongAndLeavesTheImagesAsTheyWere) {
    const auto hardDisk = [](const char16_t* path) {
        return BootEntry{.path = path, .hard_disk_emulation = true};
    };
    const auto patched = [](const char16_t* path) {
        return BootEntry{.path = path, .no_emulation = true, .patch_boot_info = true};
    };
    const BootEntry loader = patched(u"/loader"); // always there as the first image
    const struct {
        const char* what;
        BootEntry second;
        const char16_t* message;
        std::function<void(SourceFiles&)> harm = {};
        const char16_t* catalog = u"boot.catalog";
    } cases[] = {
        {"not in the tree", patched(u"/none"), u"Internal error #952."},
        {"below what is not in the tree", patched(u"/none/x"), u"Internal error #952."},
        {"a folder", patched(u"/folder"), u"Internal error #952."},
        {"an empty image", {.path = u"/empty", .no_emulation = true}, u"Bad boot image."},
        {"a load size too large",
         {.path = u"/loader", .no_emulation = true, .load_size = 65536},
         u"Bad boot image."},
        {"two partitions", hardDisk(u"/two"), u"Bad boot image."},
        {"no partition", hardDisk(u"/zeros"), u"Bad boot image."},
        {"less than a sector", hardDisk(u"/short"), u"Error reading boot image."},
        {"gone", hardDisk(u"/gone"), u"Error opening boot image.",
         [](SourceFiles& files) { files.At(u"/gone").opens = false; }},
        {"no size of a floppy", {.path = u"/zeros"}, u"Bad boot image."},
        {"no room for the table", patched(u"/short"), u"Bad boot image."},
        {"grown since the scan", patched(u"/zeros"), u"Bad boot image.",
         [](SourceFiles& files) { files.At(u"/zeros").m_bytes.push_back(1); }},
        {"unreadable", patched(u"/zeros"), u"Error reading boot image.",
         [](SourceFiles& files) { files.At(u"/zeros").m_nFailsAt = 0; }},
        {"not to be written", patched(u"/zeros"), u"Error opening boot image.",
         [](SourceFiles& files) { files.At(u"/zeros").patchFails = true; }},
        {"a file that vanishes later", loader, u"Cannot open \"/gone\".",
         [](SourceFiles& files) { files.At(u"/gone").opens = false; }},
        {"no folder for the catalog", loader, u"Internal error #954.", {}, u"/none/boot.cat"},
        {"a file for the catalog's folder", loader, u"Internal error #955.", {}, u"/empty/b.cat"},
    };
    for (const auto& c : cases) {
        const std::string sector = Image(2048);
        const std::string zeros(4096, '\0');
        SourceFiles files({{u"/loader", sector},
                           {u"/zeros", zeros},
                           {u"/two", HardDisk({6, 0, 0x0C})},
                           {u"/short", std::string(63, 's')},
                           {u"/empty", ""},
                           {u"/gone", HardDisk({6})}});
        files.AddFolder(u"/folder");
        if (c.harm) {
            c.harm(files);
        }
        const VolumeResult result =
            MakeVolume(files, files.Items(), 0, Boot({loader, c.second}, c.catalog));
        EXPECT_EQ(result.error, c.message) << c.what;
        EXPECT_EQ(TextOf(files.At(u"/loader").m_bytes), sector) << c.what;
        EXPECT_EQ(TextOf(files.At(u"/zeros").m_bytes).substr(0, 4096), zeros) << c.what;
    }
}

TEST(ElTorito, ACancelledRunLeavesTheImageAsItWas) {
    const std::string loader = Image(2048);
    SourceFiles files({{u"/loader", loader}, {u"/large", std::string(4 << 20, 'x')}});
    const BootEntry entry = {.path = u"/loader", .no_emulation = true, .patch_boot_info = true};
    RunGenerator(files, files.Items(), {.setOptions = Boot({entry}), .readerLeavesAfter = 1 << 20});
    EXPECT_EQ(files.patches, 2u);
    EXPECT_EQ(TextOf(files.At(u"/loader").m_bytes), loader);
}

TEST(ElTorito, TheRealFileSystemPatchesInPlace) {
    const TempFolder folder;
    const std::string path = folder.Path() + "/image";
    WriteFile(path, "0123456789");
    const std::array<uint8_t, 3> bytes = {'a', 'b', 'c'};
    EXPECT_TRUE(PosixFiles().PatchBytes(ToWide(path), 7, bytes));
    EXPECT_EQ(ReadFile(path), "0123456abc");
    EXPECT_FALSE(PosixFiles().PatchBytes(ToWide(path), 8, bytes));
    EXPECT_EQ(ReadFile(path), "0123456abc");
    EXPECT_FALSE(PosixFiles().PatchBytes(ToWide(path + "x"), 0, bytes));
    EXPECT_FALSE(fs::exists(path + "x"));
    EXPECT_FALSE(PosixFiles().PatchBytes(ToWide(folder.Path()), 0, bytes));
}

TEST(GenericBoot, FillsTheFirstSectors) {
    SourceFiles files({{u"/f", "text"}});
    const auto setBoot = [](GenOptions& options) {
        options.generic_boot = true;
        options.generic_boot_path = u"/boot";
    };
    EXPECT_EQ(MakeVolume(files, {u"/f"}, 0, setBoot).error, u"Cannot open boot image.");
    const std::string plain = TextOf(MakeVolume(files, {u"/f"}, 30).image);
    for (const size_t bytes : {0, 1000, 32768, 40000}) {
        files.AddFile(u"/boot", std::string(bytes, 'b'));
        const VolumeResult result = MakeVolume(files, {u"/f"}, 30, setBoot);
        std::string expected(std::min<size_t>(bytes, 32768), 'b');
        expected.resize(32768, '\0');
        EXPECT_TRUE(TextOf(result.image) == expected + plain.substr(32768)) << bytes;
    }
    files.At(u"/boot").m_nFailsAt = 0;
    EXPECT_EQ(MakeVolume(files, {u"/f"}, 0, setBoot).error, u"Read error on boot image.");
}

// A boot sector that says "Larkspin has booted" on the first serial line and ends the machine.
std::string BootSector() {
    constexpr std::array<uint8_t, 27> kCode = {
        0xE8, 0x00, 0x00, 0x5E, 0x83, 0xC6, 0x18, 0x0E, 0x1F,             // ds:si: the text
        0xAC, 0x84, 0xC0, 0x74, 0x06, 0xBA, 0xF8, 0x03, 0xEE, 0xEB, 0xF5, // each byte to the line
        0xBA, 0x01, 0x05, 0xEE, 0xF4, 0xEB, 0xFD};                        // the end of the machine
    std::string sector(kCode.begin(), kCode.end());
    sector += "Larkspin has booted\r\n";
    sector.resize(510);
    return sector + "\x55\xAA";
}

// The loader is one that others wrote: it checks its boot information table, and finds its files in
// the ISO tree.
TEST(Machine, BootsTheVolume) {
    const std::string isolinux = "/usr/lib/ISOLINUX/isolinux.bin";
    if (RunCommand("qemu-system-x86_64 --version 2>&1").status != 0 || !fs::exists(isolinux)) {
        GTEST_SKIP() << "no machine to boot, or no boot loader";
    }
    const TempFolder folder;
    const std::string source = folder.Path() + "/isolinux";
    fs::create_directories(source);
    fs::copy(isolinux, source);
    fs::copy("/usr/lib/syslinux/modules/bios/ldlinux.c32", source);
    WriteFile(source + "/isolinux.cfg", "DEFAULT m\nLABEL m\nKERNEL loader.bin\n");
    WriteFile(source + "/loader.bin", BootSector() + std::string(2048 - 512, '\0'));
    WriteFile(source + "/floppy", BootSector() + std::string(1'474'560 - 512, '\0'));
    for (const char* options :
         {"--udf --boot isolinux/isolinux.bin --boot-load-size 4 --boot-info-table",
          "--boot isolinux/floppy --boot-emulation floppy"}) {
        const std::string image = folder.Path() + "/volume.iso";
        const CommandResult lab = RunCommand(std::string(LARKSPIN_LAB) + " volume --output '" +
                                             image + "' " + options + " '" + source + "' 2>&1");
        EXPECT_EQ(lab.status, 0) << lab.output;
        // The machine ends by itself, or after 50 seconds.
        const std::string output =
            RunCommand("timeout 50 qemu-system-x86_64 -machine pc,accel=tcg -m 32 -display none "
                       "-no-reboot -nic none -device isa-debug-exit,iobase=0x501,iosize=1 "
                       "-serial stdio -boot d -cdrom '" +
                       image + "' < /dev/null 2>&1")
                .output;
        EXPECT_NE(output.find("Larkspin has booted"), std::string::npos) << options << output;
    }
}

} // namespace
} // namespace larkspin
