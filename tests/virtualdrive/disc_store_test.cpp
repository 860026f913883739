// The disc in its folder: what a killed process leaves, and what is no disc.
#include "host.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace larkspin {

namespace {

class DiscStoreTest : public DriveTest {};

constexpr uint32_t kChunkBlocks = 16;

Bytes Chunk(int32_t block) {
    return Pattern(size_t{kChunkBlocks} * 2048, static_cast<uint32_t>(block) + 1);
}

// Writes chunk after chunk, and a byte into the pipe behind each, until it is killed.
[[noreturn]] void WriteUntilKilled(const std::string& disc, int progress) {
    VirtualDrive drive(SystemClock());
    Host host(drive);
    if (!drive.Insert(disc) || host.TestUnitReady() == kGood || host.SelectTrackAtOnce() != kGood)
        ::_exit(1);
    for (int32_t block = 0; host.Write(block, Chunk(block)) == kGood; block += kChunkBlocks)
        if (::write(progress, "+", 1) != 1)
            break;
    ::_exit(2);
}

TEST_F(DiscStoreTest, KilledWriterLeavesADiscThatGoesOn) {
    Load("cd-r");
    drive.Remove();
    int ends[2] = {};
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t writer = ::fork();
    if (writer == 0)
        WriteUntilKilled(Disc(), ends[1]);
    ::close(ends[1]);
    char byte = 0;
    for (int chunk = 0; chunk < 40; ++chunk)
        ASSERT_EQ(::read(ends[0], &byte, 1), 1);
    ::kill(writer, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(writer, &status, 0), writer);
    ASSERT_TRUE(WIFSIGNALED(status));
    ::close(ends[0]);
    // The state may have been about to be replaced, and a block may be half there.
    std::ofstream(File("disc.txt.new")) << "[di";
    std::ofstream(File("track-01.iso"), std::ios::app) << "half a block";

    Reload();
    ASSERT_EQ(host.SelectTrackAtOnce(0), kGood);
    EXPECT_EQ(host.DiscStatus(), 1 | 1 << 2);
    const int32_t next = host.NextWritable();
    ASSERT_GE(next, 40 * static_cast<int32_t>(kChunkBlocks));
    ASSERT_EQ(host.Write(next, Chunk(next)), kGood);
    ASSERT_EQ(host.Close(2), kGood);
    for (int32_t block = 0; block + static_cast<int32_t>(kChunkBlocks) <= next;
         block += kChunkBlocks) {
        ASSERT_EQ(host.Read(block, kChunkBlocks), kGood);
        ASSERT_EQ(host.data, Chunk(block)) << block;
    }
    ASSERT_EQ(host.Read(next, kChunkBlocks), kGood);
    EXPECT_EQ(host.data, Chunk(next));
}

TEST_F(DiscStoreTest, WhatIsNoDiscDoesNotGoIn) {
    Load("cd-r");
    EXPECT_FALSE(VirtualDrive::CreateDisc(Disc(), "cd-r")) << "the folder is not empty";
    EXPECT_FALSE(VirtualDrive::CreateDisc(folder.Path() + "/tape", "tape"));
    EXPECT_FALSE(drive.Insert(folder.Path() + "/nowhere"));
    const std::string broken = folder.Path() + "/broken";
    for (const char* text :
         {"", "no state", "[disc]\nkind=cd-r\n", "[disc]\nkind=tape\ncapacity=1\nfinalized=false\n",
          "[disc]\nkind=cd-r\ncapacity=many\nfinalized=false\n",
          "[disc]\nkind=cd-r\ncapacity=9\nfinalized=false\n[track-001]\nstart=0\n"}) {
        std::filesystem::create_directories(broken);
        std::ofstream(broken + "/disc.txt") << text;
        EXPECT_FALSE(drive.Insert(broken)) << text;
    }
    EXPECT_TRUE(drive.HasDisc()) << "the old disc stays";
    EXPECT_EQ(host.TestUnitReady(), kGood);
}

TEST_F(DiscStoreTest, LeftoversOfAnEarlierDiscAreNoData) {
    Load("cd-rw");
    std::ofstream(File("track-01.iso")) << std::string(500UL * 2048, 'x');
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    EXPECT_EQ(host.NextWritable(), 0);
    ASSERT_EQ(host.Write(0, Pattern(2048, 1)), kGood);
    EXPECT_EQ(host.NextWritable(), 1);
}

} // namespace

} // namespace larkspin
