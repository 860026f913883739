// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/files.h"
#include "platform/text.h"
#include "support/temp_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace larkspin {
namespace {

class PosixFilesTest : public testing::Test {
  protected:
    std::string Path(const std::string& name) const { return folder.Path() + "/" + name; }
    std::u16string WidePath(const std::string& name) const { return ToWide(Path(name)); }
    std::u16string Make(const std::string& name, const std::string& contents) const {
        std::ofstream(Path(name), std::ios::binary) << contents;
        return WidePath(name);
    }
    std::u16string MakeFifo() const {
        EXPECT_EQ(::mkfifo(Path("fifo").c_str(), 0600), 0);
        return WidePath("fifo");
    }

    const TempFolder folder;
    const std::u16string wideFolder = ToWide(folder.Path());
    IFileSystem& files = PosixFiles();
};

TEST_F(PosixFilesTest, StatusTellsWhatALinkLeadsTo) {
    const std::u16string file = Make("file", "12345");
    ASSERT_EQ(::chmod(Path("file").c_str(), 0640), 0);
    ASSERT_EQ(::link(Path("file").c_str(), Path("second").c_str()), 0);
    ASSERT_EQ(::symlink("file", Path("link").c_str()), 0);
    ASSERT_EQ(::symlink("gone", Path("dangling").c_str()), 0);
    const timespec times[] = {{.tv_sec = 1'000'000'000, .tv_nsec = 999'999'999},
                              {.tv_sec = -1, .tv_nsec = 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, Path("file").c_str(), times, 0), 0);

    FileStatus status;
    ASSERT_TRUE(files.Status(file, &status));
    EXPECT_EQ(status.mode, S_IFREG | 0640U);
    EXPECT_EQ(status.size, 5U);
    EXPECT_EQ(status.links, 2U);
    EXPECT_EQ(status.uid, ::getuid());
    EXPECT_EQ(status.accessTime, 1'000'000'000);
    EXPECT_EQ(status.modifyTime, -1) << "before 1970";

    FileStatus linked;
    ASSERT_TRUE(files.Status(WidePath("link"), &linked));
    EXPECT_EQ(linked.inode, status.inode);
    EXPECT_EQ(linked.device, status.device);

    for (const auto& [path, type] :
         {std::pair{WidePath("link"), FileStatus::Type::Regular},
          std::pair{wideFolder, FileStatus::Type::Folder},
          std::pair{MakeFifo(), FileStatus::Type::Other},
          std::pair{std::u16string(u"/dev/null"), FileStatus::Type::CharacterDevice}}) {
        EXPECT_TRUE(files.Status(path, &status));
        EXPECT_EQ(status.type, type) << ToNative(path);
    }
    ASSERT_EQ(::symlink("loop", Path("loop").c_str()), 0);
    for (const auto& [none, why] : {std::pair{WidePath("dangling"), Absence::LeadsNowhere},
                                    std::pair{WidePath("loop"), Absence::LeadsNowhere},
                                    std::pair{WidePath("file/below"), Absence::NotThere},
                                    std::pair{std::u16string(u"C:\\file"), Absence::NotThere},
                                    std::pair{std::u16string(), Absence::NotThere}}) {
        EXPECT_FALSE(files.Status(none, &status)) << ToNative(none);
        EXPECT_EQ(files.WhyAbsent(none), why) << ToNative(none);
    }
}

TEST_F(PosixFilesTest, EnumeratesNamesOfAnyBytes) {
    const std::string odd[] = {".hidden", "\xFF\xFE raw", "\xC3\x9C", "a\nb\\c"};
    std::vector<std::u16string> expected = {u"kept"};
    for (const std::string& name : odd) {
        Make(name, "");
        expected.push_back(ToWide(name));
    }
    std::vector<std::u16string> names = {u"kept"};
    ASSERT_TRUE(files.Enumerate(wideFolder, &names));
    EXPECT_THAT(names, testing::UnorderedElementsAreArray(expected));
    FileStatus status;
    for (size_t i = 1; i < names.size(); ++i) {
        EXPECT_TRUE(files.Status(wideFolder + u"/" + names[i], &status));
    }
    EXPECT_FALSE(files.Enumerate(WidePath(odd[0]), &names)) << "no folder";
    EXPECT_FALSE(files.Enumerate(WidePath("missing"), &names));
    EXPECT_EQ(names.size(), expected.size());
}

TEST_F(PosixFilesTest, ReadsInSequenceAndFromAnyPlace) {
    const std::unique_ptr<ISequentialFile> file = files.OpenSequential(Make("file", "0123456789"));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Size(), 10);
    std::string bytes(4, '\0');
    ASSERT_EQ(file->Read(bytes.data(), 4), 4);
    EXPECT_EQ(bytes, "0123");
    EXPECT_EQ(file->Tell(), 4);
    ASSERT_TRUE(file->Seek(8));
    EXPECT_EQ(file->Read(bytes.data(), 4), 2);
    EXPECT_EQ(bytes.substr(0, 2), "89");
    EXPECT_EQ(file->Read(bytes.data(), 4), 0);
    std::ofstream(Path("file"), std::ios::app) << "ab";
    EXPECT_EQ(file->Size(), 12) << "the size is that of now";
    EXPECT_EQ(file->Read(bytes.data(), 4), 2);
    EXPECT_FALSE(file->Seek(UINT64_MAX)) << "no offset of a file";

    // A file that has lost its name can be read, but has no status.
    FileStatus status;
    EXPECT_TRUE(file->Status(&status) && status.size == 12);
    std::filesystem::remove(Path("file"));
    EXPECT_FALSE(file->Status(&status));
}

TEST_F(PosixFilesTest, WhatIsNoFileNeitherHangsNorReads) {
    char byte = 0;
    EXPECT_EQ(files.OpenSequential(WidePath("missing")), nullptr);
    const std::unique_ptr<ISequentialFile> opened = files.OpenSequential(wideFolder);
    EXPECT_TRUE(opened == nullptr || opened->Read(&byte, 1) == -1) << "a folder has no bytes";
    // A FIFO that nobody writes to ends at once.
    const std::unique_ptr<ISequentialFile> fifo = files.OpenSequential(MakeFifo());
    ASSERT_NE(fifo, nullptr);
    EXPECT_LE(fifo->Read(&byte, 1), 0);
    EXPECT_FALSE(fifo->Seek(1));
    EXPECT_EQ(fifo->Tell(), -1);
}

TEST_F(PosixFilesTest, AFolderOpensItsFilesAndClosesThem) {
    const auto openDescriptors = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = openDescriptors();
    Make("file", "0123456789");
    std::unique_ptr<IFolder> opened = files.OpenFolder(wideFolder);
    std::vector<std::unique_ptr<ISequentialFile>> kept;
    for (int i = 0; i < 300; ++i) {
        auto file = opened->OpenSequential(u"file");
        char bytes[11] = {};
        ASSERT_NE(file, nullptr);
        file->Prefetch(10);
        EXPECT_EQ(file->Read(bytes, 10), 10);
        EXPECT_STREQ(bytes, "0123456789");
        if (i % 3 == 0) {
            kept.push_back(std::move(file));
        }
    }
    FileStatus status;
    EXPECT_TRUE(opened->Status(u"file", &status));
    EXPECT_EQ(status.size, 10U);
    EXPECT_TRUE(opened->IsReadable(u"file", status));
    EXPECT_FALSE(opened->Status(u"missing", &status));
    EXPECT_EQ(opened->OpenSequential(u"missing"), nullptr);
    opened.reset();
    char byte = 0;
    for (const auto& file : kept) {
        EXPECT_TRUE(file->Seek(3) && file->Read(&byte, 1) == 1 && byte == '3');
    }
    kept.clear();
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(files.OpenFolder(WidePath("missing"))->Status(u"file", &status));
}

// Root may read everything, so a child without its rights looks.
TEST_F(PosixFilesTest, WhatMayNotBeReadIsUnreadable) {
    const std::u16string file = Make("file", "x");
    ASSERT_EQ(::mkdir(Path("locked").c_str(), 0), 0);
    ASSERT_EQ(::chmod(folder.Path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(Path("file").c_str(), 0), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        constexpr uid_t kNobody = 65534;
        const bool isSomebody = ::geteuid() != 0 || ::setuid(kNobody) == 0;
        std::vector<std::u16string> names;
        FileStatus status;
        const auto opened = files.OpenFolder(wideFolder);
        const bool any = files.IsReadable(file) || !opened->Status(u"file", &status) ||
                         opened->IsReadable(u"file", status) ||
                         files.WhyAbsent(WidePath("locked/x")) != Absence::Forbidden ||
                         files.OpenSequential(file) != nullptr ||
                         files.Enumerate(WidePath("locked"), &names);
        ::_exit(isSomebody && !any ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    ASSERT_EQ(::chmod(Path("file").c_str(), 0400), 0);
    EXPECT_TRUE(files.IsReadable(file));
    EXPECT_FALSE(files.IsReadable(WidePath("missing")));
}

} // namespace
} // namespace larkspin
