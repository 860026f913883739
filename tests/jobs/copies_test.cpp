// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Discs that are written more than once, as audio and as an image.
#include "job_bench.h"

namespace larkspin {
namespace {

constexpr JobKind kJobs[] = {JobKind::Audio, JobKind::Image};

// A source for both jobs: a WAV file is also an image.
class Copies : public testing::Test {
  protected:
    void Prepare(JobBench& bench, uint32_t copies) {
        path = bench.AddWav("a.wav", pcm);
        bench.ui.audio.nCopies = bench.ui.image.nCopies = copies;
    }

    const Bytes pcm = Payload(320 * 2352, 1);
    std::u16string path;
};

TEST_F(Copies, ComeOneAfterTheOther) {
    for (const JobKind job : kJobs) {
        SCOPED_TRACE(static_cast<int>(job));
        JobBench bench;
        Prepare(bench, 3);
        std::vector<std::string> discs{bench.disc};
        bench.ui.onBox = [&](const FakeUi::Box& box) {
            EXPECT_EQ(box.buttons, BoxButtons::OkCancel);
            const bool isNextCopy = box.text.starts_with(u"Written ");
            EXPECT_EQ(box.icon, isNextCopy ? BoxIcon::Question : BoxIcon::None);
            if (box.text == NextCopyText(1, 3)) {
                EXPECT_TRUE(bench.drive.Insert(discs[0])); // not another disc at all
            } else {
                bench.InsertNew("cd-r");
                discs.push_back(bench.disc);
            }
            return true;
        };
        EXPECT_EQ(bench.RunOne(job, path), JobEnd::Exit);
        const Texts texts = bench.ui.Texts();
        ASSERT_EQ(texts.size(), 3U);
        EXPECT_EQ(texts[0], NextCopyText(1, 3));
        EXPECT_EQ(texts[2], NextCopyText(2, 3));
        EXPECT_EQ(bench.ejects, 3);
        ASSERT_EQ(discs.size(), 3U);
        Bytes image = ReadFileBytes(ToNative(path));
        image.resize(image.size() / 2048 * 2048);
        for (const std::string& disc : discs) {
            EXPECT_TRUE(job == JobKind::Audio ? ReadFileBytes(disc + "/disc.bin") == pcm
                                              : ReadFileBytes(disc + "/track-01.iso") == image);
        }
    }
}

TEST_F(Copies, EndWithTheUserOrTheImage) {
    const Texts asked = {NextCopyText(1, 20)};
    enum Event { Nothing, Cancel, ImageGone, Leave };
    const struct {
        const char* name;
        JobKind job;
        bool again; // says the user after the first
        Event happens;
        Texts texts;
        int ejects;
    } cases[] = {
        {"the prompt is cancelled", JobKind::Audio, false, Nothing, asked, 1},
        {"the prompt is cancelled", JobKind::Image, false, Nothing, asked, 1},
        {"the second copy is cancelled", JobKind::Audio, true, Cancel, asked, 2},
        {"the second copy is cancelled", JobKind::Image, true, Cancel, asked, 2},
        {"the image is gone", JobKind::Image, true, ImageGone, {asked[0], kImageGoneText}, 1},
        {"the program is to end", JobKind::Audio, true, Leave, asked, 1},
        {"the program is to end", JobKind::Image, true, Leave, asked, 1},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(Format("%s, %d", test.name, static_cast<int>(test.job)));
        JobBench bench;
        Prepare(bench, 33); // held at 20
        bench.ui.onBox = [&](const FakeUi::Box& box) {
            if (box.text == NextCopyText(1, 20)) {
                bench.InsertNew("cd-r");
                if (test.happens == ImageGone) {
                    fs::remove(bench.Source() / "a.wav");
                }
            }
            return test.again;
        };
        bench.ui.onProgress = [&](JobKind kind, int percent) {
            bench.host.leaving = test.happens == Leave && percent >= 50;
            if (test.happens == Cancel && bench.ejects == 1 && percent >= 50) {
                bench.ui.Cancel(kind);
            }
        };
        EXPECT_EQ(bench.RunOne(test.job, path), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), test.texts);
        EXPECT_EQ(bench.ejects, test.ejects);
    }
}

TEST_F(Copies, EndWithAWriteFaultOnACd) {
    for (const JobKind job : {JobKind::Audio, JobKind::Image, JobKind::Data}) {
        SCOPED_TRACE(static_cast<int>(job));
        JobBench bench;
        Prepare(bench, 2);
        bench.FailCommand(mmc::kWrite10, 20, FailWith(3, 0x0C, 0)); // behind the pre-gap
        EXPECT_EQ(bench.RunOne(job, path), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts().size(), 1U) << "nobody is asked for another disc";
        EXPECT_EQ(bench.commands[mmc::kWrite10], 20) << "nothing goes to a disc after that";
        EXPECT_EQ(bench.commands[mmc::kSynchronizeCache], 1);
        EXPECT_FALSE(bench.WasEjected());
    }
}

TEST_F(Copies, GoOnAfterAWriteFaultOnADvd) {
    JobBench bench("dvd+rw");
    Prepare(bench, 2);
    bench.FailCommand(mmc::kWrite10, 5, FailWith(3, 0x0C, 0));
    EXPECT_EQ(bench.RunOne(JobKind::Image, path), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(),
              (Texts{u"Stopped: write error",
                     u"The drive cannot write to the disk without errors. Please clean it, or use "
                     u"another disk.",
                     NextCopyText(1, 2)}));
    EXPECT_TRUE(bench.WasEjected());
}

} // namespace
} // namespace larkspin
