// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/measures.h"
#include "app/queue.h"
#include "audio/factory.h"
#include "jobs/file_list.h"
#include "platform/text.h"
#include "support/fake_files.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <sys/stat.h>
#include <thread>

namespace larkspin {
namespace {

using Paths = std::vector<std::u16string>;

TEST(WriteQueue, KeepsArrivalOrderAndNoPathTwice) {
    int changes = 0;
    WriteQueue queue([&] { ++changes; });
    EXPECT_TRUE(queue.Add(u"/b"));
    EXPECT_TRUE(queue.Add(u"/a"));
    EXPECT_TRUE(queue.Add(u"/A")) << "case counts";
    EXPECT_TRUE(queue.Add(u"")) << "an empty path is a path like any other";
    EXPECT_EQ(changes, 4);
    const uint64_t version = queue.Version();
    EXPECT_FALSE(queue.Add(u"/a"));
    EXPECT_EQ(changes, 4) << "a path that is there signals nothing";
    EXPECT_EQ(queue.Version(), version);
    EXPECT_EQ(queue.Paths(), (Paths{u"/b", u"/a", u"/A", u""}));

    queue.Remove({u"/a", u"/never queued"});
    EXPECT_EQ(queue.Paths(), (Paths{u"/b", u"/A", u""}));
    EXPECT_NE(queue.Version(), version);
    EXPECT_TRUE(queue.Add(u"/a")) << "a removed path may come back";
    EXPECT_EQ(queue.Paths().back(), u"/a");

    queue.Clear();
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_TRUE(queue.Add(u"/b"));
}

TEST(WriteQueue, MovesWhatIsThereInTheOrderThatItHas) {
    const struct {
        Paths moved;
        std::u16string before;
        Paths result;
    } cases[] = {
        {{u"/d", u"/b"}, u"/a", {u"/b", u"/d", u"/a", u"/c", u"/e"}},
        {{u"/a", u"/c"}, u"", {u"/b", u"/d", u"/e", u"/a", u"/c"}},
        {{u"/a", u"/e"}, u"/d", {u"/b", u"/c", u"/a", u"/e", u"/d"}},
        {{u"/b", u"/c"}, u"/b", {u"/a", u"/b", u"/c", u"/d", u"/e"}},
        {{u"/a", u"/gone"}, u"/gone too", {u"/b", u"/c", u"/d", u"/e", u"/a"}},
    };
    for (const auto& test : cases) {
        WriteQueue queue([] {});
        for (const char16_t* path : {u"/a", u"/b", u"/c", u"/d", u"/e"}) {
            queue.Add(path);
        }
        uint64_t last = 0;
        queue.Paths(&last);
        queue.Add(u"/late");
        queue.Move({u"/late"}, u"/a");
        queue.Move(test.moved, test.before);
        Paths result = test.result;
        result.insert(result.begin(), u"/late");
        EXPECT_EQ(queue.Paths(), result);
        queue.RemoveUpTo(last);
        EXPECT_EQ(queue.Paths(), Paths{u"/late"}) << "what a job has not seen";
    }
}

TEST(WriteQueue, KnowsWhetherAllIsAudio) {
    WriteQueue queue([] {});
    EXPECT_TRUE(queue.IsAllAudio()) << "an empty queue";
    queue.Add(u"/x.FLAC");
    EXPECT_TRUE(queue.IsAllAudio());
    queue.Add(u"/folder");
    queue.Add(u"/y.mp3");
    EXPECT_FALSE(queue.IsAllAudio());
    queue.Remove({u"/folder"});
    EXPECT_TRUE(queue.IsAllAudio());
    queue.Add(u"/readme.txt");
    queue.Clear();
    EXPECT_TRUE(queue.IsAllAudio());
}

Paths PathsOf(const FileList& list) {
    Paths paths;
    for (const FileList::Entry& file : list.files) {
        paths.push_back(file.path);
    }
    return paths;
}

TEST(FileList, FilesComeBeforeThoseOfSubFolders) {
    FakeFiles files;
    files.AddFile(u"/d/sub/deep/4", 1);
    files.AddFile(u"/d/a 10", 0);
    files.AddFile(u"/d/sub/3", 2049);
    files.AddFile(u"/d/A 009b", 0);
    files.AddFile(u"/d/a", 0);
    files.AddFile(u"/d/a 9", 2048);
    files.AddFile(u"/single", 1);
    const FileList list = ExpandPaths(files, {u"/d", u"/single", u"/gone", u"/d/a 9"});
    EXPECT_EQ(PathsOf(list), (Paths{u"/single", u"/d/a 9", u"/d/a", u"/d/a 9", u"/d/A 009b",
                                    u"/d/a 10", u"/d/sub/3", u"/d/sub/deep/4"}));
    EXPECT_EQ(ListOf(list.leftOut), u"Not found (1):\n/gone");
    EXPECT_EQ(SectorsOfFiles(list), 6U);
    EXPECT_TRUE(IsFolder(files, u"C:\\"));
    EXPECT_TRUE(IsFolder(files, u"ab"));
    EXPECT_TRUE(IsFolder(files, u"/d"));
    EXPECT_FALSE(IsFolder(files, u"/gone"));
}

// Real folders keep their contents, wherever links come first; a link brings in what is not there
// already, once.
TEST(FileList, EachFolderIsEnteredOnceWhateverLinksLeadToIt) {
    namespace fs = std::filesystem;
    const TempFolder folder;
    const fs::path outside = fs::path(folder.Path()) / "outside";
    const fs::path root = fs::path(folder.Path()) / "picked";
    fs::create_directories(outside / "deep");
    std::ofstream(outside / "deep/other") << "y";
    fs::create_directories(root / "a/b");
    std::ofstream(root / "a/b/file") << "x";
    fs::create_directory_symlink(root, root / "a/b/up");
    fs::create_directory_symlink(root / "a", root / "a/self");
    fs::create_directory_symlink(root / "a/b", root / "0 sideways");
    fs::create_directory_symlink("/", root / "0 out");
    fs::create_directory_symlink(folder.Path(), outside / "deep/back");
    fs::create_directory_symlink(outside, root / "in");
    ASSERT_EQ(::mkfifo((root / "pipe").c_str(), 0600), 0);
    const auto wide = [&](const char* name) { return ToWide((root / name).string()); };

    // The last item lies in the first: both were picked.
    const FileList list = ExpandPaths(PosixFiles(), {ToWide(root.string()), wide("a/b")});
    Paths found = PathsOf(list);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (Paths{wide("a/b/file"), wide("a/b/file"), wide("in/deep/other")}));
    std::map<std::u16string, NoticeReason> leftOut;
    for (const VolumeNotice& notice : list.leftOut) {
        leftOut.emplace(notice.path, notice.reason);
    }
    using Reason = NoticeReason;
    EXPECT_EQ(leftOut,
              (std::map<std::u16string, NoticeReason>{{wide("pipe"), Reason::Special},
                                                      {wide("0 out"), Reason::LeadsBack},
                                                      {wide("in/deep/back"), Reason::LeadsBack},
                                                      {wide("0 sideways"), Reason::FolderTaken},
                                                      {wide("a/self"), Reason::FolderTaken},
                                                      {wide("a/b/up"), Reason::FolderTaken}}));
}

TEST(ItemMeasures, MeasuresOnceAndKeepsIt) {
    FakeFiles files;
    files.AddFile(u"/d/1", 100);
    files.AddFile(u"/d/sub/2", 2049);
    int audioCalls = 0;
    ItemMeasures measures(files, [&](const std::u16string&, IFileSystem&) {
        ++audioCalls;
        return 7U;
    });
    EXPECT_EQ(measures.ItemBytes(u"/d/1"), 100U) << "a file counts exactly";
    EXPECT_EQ(measures.ItemBytes(u"/d"), 3 * 2048U) << "a folder counts sectors";
    EXPECT_EQ(measures.ItemBytes(u"/later"), 0U);
    files.AddFile(u"/later", 5);
    files.AddFile(u"/d/3", 5);
    EXPECT_EQ(measures.ItemBytes(u"/later"), 0U) << "what could not be read keeps its 0";
    EXPECT_EQ(measures.ItemBytes(u"/d"), 3 * 2048U);
    EXPECT_EQ(measures.ItemAudioBytes(u"/d/1"), 7U);
    EXPECT_EQ(measures.ItemAudioBytes(u"/d/1"), 7U);
    EXPECT_EQ(audioCalls, 1);
}

TEST(ItemMeasures, AMeasureThatWasStoppedIsNotKept) {
    FakeFiles files;
    files.AddFile(u"/d/1", 2048);
    files.AddFile(u"/d/2", 2048);
    std::stop_source stop;
    files.onStatus = [&](const std::u16string& path) {
        if (path == u"/d/1") {
            stop.request_stop();
        }
    };
    ItemMeasures measures(files, GetAudioFileLength);
    EXPECT_EQ(measures.ItemBytes(u"/d", stop.get_token()), std::nullopt);
    EXPECT_EQ(measures.ItemBytes(u"/d"), 4096U);

    // Zeros without an end, among which a decoder looks for a first frame.
    files.AddFile(u"/x.flac", uint64_t{1} << 40);
    std::stop_source hurry;
    const std::jthread later([&hurry] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        hurry.request_stop();
    });
    EXPECT_EQ(measures.ItemAudioBytes(u"/x.flac", hurry.get_token()), std::nullopt);
}

} // namespace
} // namespace larkspin
