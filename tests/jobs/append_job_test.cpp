// Data jobs that add to a disc: what an oracle then finds on it, session by session.
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

std::string TextOf(const FileBytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

Tree TreeOf(const IsoReader& reader) {
    Tree tree;
    for (const auto& [path, record] : reader.RockRidgeTree()) {
        tree[path] = record.IsDirectory() ? "folder" : TextOf(reader.Contents(record));
    }
    return tree;
}

IsoReader LastSession(JobBench& bench, const std::string& kind) {
    int32_t start = 0;
    if (kind != "dvd+rw" && kind != "dvd-rw-ow" && kind != "dvd-ram") {
        EXPECT_EQ(bench.Drive().ReadMultiSessionStart(&start), 0);
    }
    return IsoReader(ReadDisc(bench, start + 6000), 0, static_cast<uint32_t>(start));
}

class AppendJob : public testing::TestWithParam<const char*> {};

TEST_P(AppendJob, ThreeSessionsShowEverything) {
    JobBench bench(GetParam());
    bench.AddFile("folder/kept", Payload(100'000, 1));
    bench.AddFile("folder/changed", Payload(3000, 2));
    bench.AddFile("folder/1/2/3/4/5/6/7/8/deep", Payload(4000, 3));
    ASSERT_NO_FATAL_FAILURE(bench.Burn({"folder"}));
    const Tree first = TreeOf(LastSession(bench, GetParam()));

    bench.AddFile("folder/changed", Payload(3001, 4));
    bench.AddFile("folder/added", Payload(5000, 5));
    ASSERT_NO_FATAL_FAILURE(bench.Burn({"folder"}));
    const Tree second = TreeOf(LastSession(bench, GetParam()));

    fs::remove_all(bench.Source() / "folder");
    bench.AddFile("folder/1/2/3/4/5/6/7/8/deeper", Payload(6000, 6));
    bench.AddFile("single", Payload(7000, 7));
    ASSERT_NO_FATAL_FAILURE(bench.Burn({"folder", "single"}));
    const Tree third = TreeOf(LastSession(bench, GetParam()));

    Tree expected = first;
    expected["/folder/changed"] = TextOf(Payload(3001, 4));
    expected["/folder/added"] = TextOf(Payload(5000, 5));
    EXPECT_TRUE(second == expected);
    expected["/folder/1/2/3/4/5/6/7/8/deeper"] = TextOf(Payload(6000, 6));
    expected["/single"] = TextOf(Payload(7000, 7));
    EXPECT_TRUE(third == expected);
    EXPECT_EQ(first.at("/folder/kept"), TextOf(Payload(100'000, 1)));
    EXPECT_EQ(third.size(), 16U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, AppendJob,
                         testing::Values("cd-r", "cd-rw", "dvd-r", "dvd-rw", "dvd+r", "dvd+rw",
                                         "dvd-rw-ow", "dvd-ram"));

TEST(AppendJobInARow, TenSessionsShowTenFiles) {
    JobBench bench("cd-r");
    Tree expected;
    for (uint32_t session = 1; session <= 10; ++session) {
        SCOPED_TRACE(session);
        const std::string name = "file " + std::to_string(session);
        bench.AddFile(name, Payload(size_t{3000} * session, session));
        ASSERT_NO_FATAL_FAILURE(bench.Burn({name}));
        expected["/" + name] = TextOf(Payload(size_t{3000} * session, session));
    }
    EXPECT_TRUE(TreeOf(LastSession(bench, "cd-r")) == expected);
}

} // namespace
} // namespace larkspin
