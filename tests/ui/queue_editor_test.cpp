// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Rows, details, icons and layout of the queue editor.
#include "platform/settings_store.h"
#include "support/fake_files.h"
#include "support/manual_clock.h"
#include "support/memory_store.h"
#include "ui/edit_queue_dialog.h"
#include "ui/fakes.h"
#include "ui/queue_details.h"
#include "ui/queue_icons.h"
#include "ui/queue_layout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace larkspin {
namespace {

using testing::ElementsAre;

std::vector<std::u16string> PathsOf(const std::vector<QueueRow>& rows) {
    std::vector<std::u16string> paths;
    paths.reserve(rows.size());
    for (const QueueRow& row : rows) {
        paths.push_back(row.strPath);
    }
    return paths;
}

TEST(QueueRows, AreSortedByNameWithoutRegardToCase) {
    const std::vector<QueueRow> rows = MakeRows(
        {u"/b", u"/\u00DCber", u"/a", u"/B", u"/\u00FCa", u"/C", u"/ab"}, QueueOrder::ByName);
    EXPECT_THAT(PathsOf(rows),
                ElementsAre(u"/a", u"/ab", u"/B", u"/b", u"/C", u"/\u00FCa", u"/\u00DCber"));
    EXPECT_EQ(rows[0].nTrack, 3U);
}

TEST(EditQueue, RefreshesOnlyAfterAChange) {
    FakeQueue queue;
    queue.Set({u"/b", u"/a"});
    CEditQueueDialog dialog(queue);
    EXPECT_THAT(PathsOf(dialog.Refresh(true).value()), ElementsAre(u"/a", u"/b"));
    EXPECT_FALSE(dialog.Refresh(true));
    dialog.RemoveSelected({});
    EXPECT_FALSE(dialog.Refresh(true)) << "nothing selected, nothing done";

    dialog.RemoveSelected({u"/b", u"/not there"});
    EXPECT_THAT(PathsOf(dialog.Refresh(true).value()), ElementsAre(u"/a"));
}

TEST(QueueIcons, AskTheDesktopOncePerSuffix) {
    MemoryStore store;
    EXPECT_TRUE(CEditQueueDialog::ShowFileIcons(store));
    store.WriteNumber(kSettingsKey, kShowFileIconsValue, 0);
    EXPECT_FALSE(CEditQueueDialog::ShowFileIcons(store));

    std::vector<std::u16string> asked;
    const auto add = [&](std::u16string_view suffix) {
        asked.emplace_back(suffix);
        return 2 + static_cast<int>(asked.size());
    };
    const std::tuple<std::u16string, bool, int, int> cases[] = {
        {u"/a/x.txt", false, 3, 2},    {u"/b/y.txt", false, 3, 2}, {u"/a/x.TXT", false, 4, 2},
        {u"/a/x.tar.gz", false, 5, 2}, {u"/a.d/x", false, 2, 2},   {u"/a/x.txt", true, 0, 0},
        {u"/a/x.", false, 6, 2}};
    CQueueIcons icons(true, add);
    CQueueIcons plain(false, add); // each file has the general one
    for (const auto& [path, folder, icon, plainIcon] : cases) {
        EXPECT_EQ(icons.QueueItemIcon(path, folder), icon);
        EXPECT_EQ(plain.QueueItemIcon(path, folder), plainIcon);
    }
    EXPECT_THAT(asked, ElementsAre(u".txt", u".TXT", u".gz", u"."));
}

TEST(QueueDetails, OfFilesFoldersAndWhatHasVanished) {
    struct : FakeFiles {
        bool IsReadable(const std::u16string& path) override { return path != u"/closed"; }
    } files;
    files.AddFile(u"/file", 1536);
    files.AddFile(u"/closed", 1536);
    files.AddFolder(u"/folder");
    ManualClock clock;
    const auto expect = [&](const char16_t* path, bool folder, const char16_t* size, int64_t time) {
        const QueueItemDetails details = ReadQueueItemDetails(files, clock, path);
        EXPECT_EQ(details.bFolder, folder);
        EXPECT_EQ(details.strSize, size);
        EXPECT_EQ(details.strChanged, FormatShortDateTime(time));
    };
    expect(u"/file", false, u"1.50 kb", 0);
    expect(u"/closed", false, u"0 bytes", 0);
    expect(u"/folder", true, u"", 0);
    expect(u"/gone", true, u"", clock.Now());
}

TEST(QueueLayout, DefaultSizesStandWhereTheyBelong) {
    const int cx = 620;
    const int cy = 410;
    const QueueLayout layout = LayOutQueueEditor(cx, cy, {});
    EXPECT_EQ(layout.grip, (QueueRect{cx - 16, cy - 16, 16, 16}));
    EXPECT_EQ(layout.list, (QueueRect{11, 11, cx - 21, cy - 64}));
    EXPECT_EQ(layout.close, (QueueRect{cx - 86, cy - 44, 75, 23}));
    EXPECT_EQ(layout.deleteSelected, (QueueRect{cx - 206, cy - 44, 102, 23}));
    EXPECT_EQ(layout.check, (QueueRect{11, cy - 39, 155, 13}));
}

bool Overlap(const QueueRect& a, const QueueRect& b) {
    return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height &&
           b.y < a.y + a.height;
}

TEST(QueueLayout, NothingOverlapsDownToTheMinimum) {
    const QueueControlSizes big = {.nCloseWidth = 150,
                                   .nDeleteWidth = 260,
                                   .nButtonHeight = 50,
                                   .nCheckWidth = 430,
                                   .nCheckHeight = 40};
    const QueueControlSizes standIn = {.nHeadHeight = 60, .nHeadWidth = 340};
    for (const QueueControlSizes& sizes : {QueueControlSizes(), big, standIn}) {
        const QueueMinimum least = MinimumQueueEditor(sizes);
        EXPECT_GE(least.width, 300);
        EXPECT_GE(least.height, 200);
        for (int grow = 0; grow < 600; grow += 7) {
            const int cx = least.width + grow;
            const int cy = least.height + grow / 2;
            const QueueLayout layout = LayOutQueueEditor(cx, cy, sizes);
            const std::vector<QueueRect> controls = {
                layout.list, layout.close, layout.deleteSelected, layout.check, layout.grip};
            for (size_t i = 0; i < controls.size(); ++i) {
                EXPECT_GE(controls[i].x, 0);
                EXPECT_LE(controls[i].x + controls[i].width, cx);
                EXPECT_LE(controls[i].y + controls[i].height, cy);
                for (size_t k = i + 1; k < controls.size(); ++k) {
                    EXPECT_FALSE(Overlap(controls[i], controls[k])) << cx << ": " << i << " " << k;
                }
            }
            EXPECT_GE(layout.list.height, 48);
            EXPECT_GE(layout.list.y, sizes.nHeadHeight);
            EXPECT_GE(layout.head.width, sizes.nHeadWidth);
        }
    }
}

} // namespace
} // namespace larkspin
