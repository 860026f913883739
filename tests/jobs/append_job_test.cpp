// Data jobs that add to a disc: what an oracle and xorriso then find on it, session by session.
#include "job_bench.h"
#include "support/iso_reader.h"

#include <cstdlib>
#include <map>

namespace larkspin {
namespace {

namespace fs = std::filesystem;

using Tree = std::map<std::string, std::string>;

// Everything on the disc that can be read; what lies between sessions is zero.
FileBytes ReadDisc(JobBench& bench, int32_t blocks) {
    FileBytes image(static_cast<size_t>(blocks) * 2048);
    for (int32_t block = 0; block < blocks; ++block) {
        bench.Drive().ReadBlocks(&image[static_cast<size_t>(block) * 2048], 1,
                                 static_cast<uint32_t>(block));
    }
    return image;
}

Tree TreeOf(const IsoReader& reader) {
    Tree tree;
    for (const auto& [path, record] : reader.RockRidgeTree()) {
        const FileBytes bytes = record.IsDirectory() ? FileBytes() : reader.Contents(record);
        tree[path] = record.IsDirectory() ? "folder" : std::string(bytes.begin(), bytes.end());
    }
    return tree;
}

class AppendJob : public testing::TestWithParam<const char*> {
  protected:
    static bool IsInPlace(const std::string& kind) {
        return kind == "dvd+rw" || kind == "dvd-rw-ow";
    }

    // Burns what the source folder holds; the disc goes back into the drive.
    void Burn(JobBench& bench, const std::vector<std::string>& names) {
        bench.host.queue.clear();
        for (const std::string& name : names) {
            bench.host.queue.push_back(ToWide((bench.Source() / name).string()));
        }
        ASSERT_EQ(bench.RunData(), JobEnd::Exit);
        ASSERT_EQ(bench.ui.Texts(), std::vector<std::u16string>{});
        ASSERT_TRUE(bench.drive.Insert(bench.disc));
        bench.Drive().ReadDiskInfo(); // takes the news of another disc
        bench.Drive().ReadDiskInfo();
    }

    IsoReader LastSession(JobBench& bench) {
        int32_t start = 0;
        if (!IsInPlace(GetParam())) {
            EXPECT_EQ(bench.Drive().ReadMultiSessionStart(&start), 0);
        }
        return IsoReader(ReadDisc(bench, start + 6000), 0, static_cast<uint32_t>(start));
    }
};

TEST_P(AppendJob, ThreeSessionsShowEverything) {
    JobBench bench(GetParam());
    bench.AddFile("folder/kept", Payload(100'000, 1));
    bench.AddFile("folder/changed", Payload(3000, 2));
    bench.AddFile("folder/1/2/3/4/5/6/7/8/deep", Payload(4000, 3));
    ASSERT_NO_FATAL_FAILURE(Burn(bench, {"folder"}));
    const Tree first = TreeOf(LastSession(bench));

    bench.AddFile("folder/changed", Payload(3001, 4));
    bench.AddFile("folder/added", Payload(5000, 5));
    ASSERT_NO_FATAL_FAILURE(Burn(bench, {"folder"}));
    const Tree second = TreeOf(LastSession(bench));

    fs::remove_all(bench.Source() / "folder");
    bench.AddFile("folder/1/2/3/4/5/6/7/8/deeper", Payload(6000, 6));
    bench.AddFile("single", Payload(7000, 7));
    ASSERT_NO_FATAL_FAILURE(Burn(bench, {"folder", "single"}));
    const Tree third = TreeOf(LastSession(bench));

    const auto text = [](const FileBytes& bytes) {
        return std::string(bytes.begin(), bytes.end());
    };
    Tree expected = first;
    expected["/folder/changed"] = text(Payload(3001, 4));
    expected["/folder/added"] = text(Payload(5000, 5));
    EXPECT_TRUE(second == expected);
    expected["/folder/1/2/3/4/5/6/7/8/deeper"] = text(Payload(6000, 6));
    expected["/single"] = text(Payload(7000, 7));
    EXPECT_TRUE(third == expected);
    EXPECT_EQ(first.at("/folder/kept"), text(Payload(100'000, 1)));
    EXPECT_EQ(third.size(), 16U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, AppendJob,
                         testing::Values("cd-r", "cd-rw", "dvd-r", "dvd-rw", "dvd+r", "dvd+rw",
                                         "dvd-rw-ow"));

} // namespace
} // namespace larkspin
