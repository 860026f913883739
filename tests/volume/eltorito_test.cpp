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

using Change = void (*)(BootEntry&);

BootEntry NoEmulation(std::u16string path, Change change = nullptr) {
    BootEntry entry{.path = std::move(path), .no_emulation = true};
    if (change != nullptr) {
        change(entry);
    }
    return entry;
}
constexpr Change kHardDisk = [](BootEntry& entry) { entry.hard_disk_emulation = true; };
constexpr Change kFloppy = [](BootEntry& entry) { entry.no_emulation = false; };
constexpr Change kPatch = [](BootEntry& entry) { entry.patch_boot_info = true; };

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
    const struct {
        BootEntry entry;
        const char* file;
        std::vector<uint64_t> expected; // bootable, media, segment, type, load
    } cases[] = {{NoEmulation(u"/boot/loader", [](BootEntry& e) { e.load_segment = 0x1234; }),
                  "loader",
                  {0x88, 0, 0x1234, 0, 12}},
                 {NoEmulation(u"boot\\loader", // the other kind of path
                              [](BootEntry& e) {
                                  e.load_size = 4;
                                  e.not_bootable = true;
                              }),
                  "loader",
                  {0, 0, 0, 0, 4}},
                 {NoEmulation(u"/boot/floppy12", kFloppy), "floppy12", {0x88, 1, 0, 0, 1}},
                 {NoEmulation(u"/boot/floppy144", kFloppy), "floppy144", {0x88, 2, 0, 0, 1}},
                 {NoEmulation(u"/boot/floppy288", kFloppy), "floppy288", {0x88, 3, 0, 0, 1}},
                 {NoEmulation(u"/boot/disk", kHardDisk), "disk", {0x88, 4, 0, 0x0C, 1}}};
    std::vector<BootEntry> entries;
    for (const auto& c : cases) {
        entries.push_back(c.entry);
    }
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
        EXPECT_EQ((std::vector{LittleAt(catalog, at, 1), LittleAt(catalog, at + 1, 1),
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
    const SetBoot boot = Boot({NoEmulation(u"/loader")});
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
    const BootEntry entry = NoEmulation(u"loader", kPatch);
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

TEST(ElTorito, TellsWhatIsWrongAndLeavesTheImagesAsTheyWere) {
    const BootEntry loader = NoEmulation(u"/loader", kPatch);
    const auto with = [&](const char16_t* path, Change change = nullptr,
                          const char16_t* catalog = u"boot.catalog") {
        return Boot({loader, NoEmulation(path, change)}, catalog);
    };
    const struct {
        const char* what;
        SetBoot set;
        const char16_t* message;
        std::function<void(SourceFiles&)> harm = {};
    } cases[] = {
        {"no image", Boot({}), u"No boot image specified."},
        {"63 images", Boot(std::vector<BootEntry>(63, loader)), u""},
        {"64 images", Boot(std::vector<BootEntry>(64, loader)), u"Too many boot entries."},
        {"not in the tree", with(u"/none"), u"Internal error #952."},
        {"below what is not in the tree", with(u"/none/x"), u"Internal error #952."},
        {"a folder", with(u"/folder"), u"Internal error #952."},
        {"an empty image", with(u"/empty"), u"Bad boot image."},
        {"a load size too large", with(u"/loader", [](BootEntry& e) { e.load_size = 65536; }),
         u"Bad boot image."},
        {"two partitions", with(u"/two", kHardDisk), u"Bad boot image."},
        {"no partition", with(u"/zeros", kHardDisk), u"Bad boot image."},
        {"less than a sector", with(u"/short", kHardDisk), u"Error reading boot image."},
        {"gone", with(u"/gone", kHardDisk), u"Error opening boot image.",
         [](SourceFiles& files) { files.At(u"/gone").opens = false; }},
        {"no size of a floppy", with(u"/zeros", kFloppy), u"Bad boot image."},
        {"no room for the table", with(u"/short", kPatch), u"Bad boot image."},
        {"grown since the scan", with(u"/zeros", kPatch), u"Bad boot image.",
         [](SourceFiles& files) { files.At(u"/zeros").m_bytes.push_back(1); }},
        {"unreadable", with(u"/zeros", kPatch), u"Error reading boot image.",
         [](SourceFiles& files) { files.At(u"/zeros").m_nFailsAt = 0; }},
        {"not to be written", with(u"/zeros", kPatch), u"Error opening boot image.",
         [](SourceFiles& files) { files.At(u"/zeros").patchFails = true; }},
        {"a file that vanishes later", with(u"/loader"), u"Cannot open \"/gone\".",
         [](SourceFiles& files) { files.At(u"/gone").opens = false; }},
        {"no folder for the catalog", with(u"/loader", nullptr, u"/none/boot.cat"),
         u"Internal error #954."},
        {"a file for the catalog's folder", with(u"/loader", nullptr, u"/empty/boot.cat"),
         u"Internal error #955."},
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
        const VolumeResult result = MakeVolume(files, files.Items(), 0, c.set);
        EXPECT_EQ(result.error, c.message) << c.what;
        if (!result.error.empty()) {
            EXPECT_EQ(TextOf(files.At(u"/loader").m_bytes), sector) << c.what;
            EXPECT_EQ(TextOf(files.At(u"/zeros").m_bytes).substr(0, 4096), zeros) << c.what;
        }
    }
}

TEST(ElTorito, ACancelledRunLeavesTheImageAsItWas) {
    const std::string loader = Image(2048);
    SourceFiles files({{u"/loader", loader}, {u"/large", std::string(4 << 20, 'x')}});
    RunGenerator(
        files, files.Items(),
        {.setOptions = Boot({NoEmulation(u"/loader", kPatch)}), .readerLeavesAfter = 1 << 20});
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

TEST(Machine, BootsTheVolume) {
    if (RunCommand("qemu-system-x86_64 --version 2>&1").status != 0 ||
        !fs::exists("/usr/lib/ISOLINUX/isolinux.bin")) {
        GTEST_SKIP() << "no machine to boot, or no boot loader";
    }
    const TempFolder folder;
    const std::string modules = "/usr/lib/syslinux/modules/bios/";
    const std::string source = folder.Path() + "/isolinux/";
    fs::create_directories(source);
    // A boot loader that others wrote: it checks its boot information table, and finds its files in
    // the ISO tree.
    for (const std::string& file :
         {std::string("/usr/lib/ISOLINUX/isolinux.bin"), modules + "ldlinux.c32",
          modules + "libcom32.c32", modules + "reboot.c32"}) {
        fs::copy(file, source);
    }
    WriteFile(source + "isolinux.cfg",
              "SERIAL 0\nDEFAULT restart\nLABEL restart\nCOM32 reboot.c32\n");
    const std::string image = folder.Path() + "/volume.iso";
    const CommandResult lab =
        RunCommand(std::string(LARKSPIN_LAB) + " volume --output '" + image +
                   "' --udf --boot isolinux/isolinux.bin --boot-load-size 4 --boot-info-table '" +
                   source + "' 2>&1");
    EXPECT_EQ(lab.status, 0) << lab.output;
    // The machine ends when the loader has found all that it needs to restart it.
    const CommandResult machine =
        RunCommand("timeout 50 qemu-system-x86_64 -machine pc,accel=tcg -m 32 -display none "
                   "-no-reboot -nic none -serial stdio -boot d -cdrom '" +
                   image + "' < /dev/null 2>&1");
    EXPECT_EQ(machine.status, 0) << machine.output;
    EXPECT_NE(machine.output.find("ISOLINUX"), std::string::npos) << machine.output;
}

} // namespace
} // namespace larkspin
