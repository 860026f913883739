// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The disc in its folder: what a killed process leaves, and what is no disc.
#include "host.h"

#include <csignal>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace larkspin {

namespace {

constexpr int32_t kChunkBlocks = 16;
constexpr int kChunks = 40;
constexpr int32_t kWritten = 630; // neither whole chunks nor whole ECC blocks

Bytes Chunk(int32_t block) {
    return Blocks(kChunkBlocks, static_cast<uint32_t>(block) + 1);
}

// Writes block after block, and puts a byte into the pipe behind each command.
[[noreturn]] void Write(const std::string& disc, int progress, const std::string& kind) {
    VirtualDrive drive(SystemClock());
    Host host(drive);
    const bool isReady = drive.Insert(disc) && host.TestUnitReady() != kGood; // a new disc
    const bool isSet = kind == "bd-r" ||
                       (kind == "cd-r" ? host.SelectTrackAtOnce() : host.SelectDash({})) == kGood;
    if (!isReady || !isSet) {
        ::_exit(1);
    }
    for (int32_t block = 0; host.Write(block, Chunk(block)) == kGood; block += kChunkBlocks) {
        if (::write(progress, "+", 1) != 1) {
            break;
        }
    }
    ::_exit(2);
}

class DiscStoreTest : public DriveTest {
  protected:
    // Lets another process write to a new disc, and kills it in the middle of that.
    void WriteUntilKilled(const std::string& kind) {
        Load(kind);
        drive.Remove();
        int ends[2] = {};
        ASSERT_EQ(::pipe(ends), 0);
        const pid_t writer = ::fork();
        if (writer == 0) {
            Write(Disc(), ends[1], kind);
        }
        ::close(ends[1]);
        char byte = 0;
        for (int chunk = 0; chunk < kChunks; ++chunk) {
            ASSERT_EQ(::read(ends[0], &byte, 1), 1);
        }
        ::kill(writer, SIGKILL);
        int status = 0;
        ASSERT_EQ(::waitpid(writer, &status, 0), writer);
        ASSERT_TRUE(WIFSIGNALED(status));
        ::close(ends[0]);
        // It could have died a little earlier, about to replace the state, and in the middle of a
        // block.
        std::ofstream(File("disc.txt.new")) << "[di";
        ASSERT_GE(ReadFileBytes(File("track-01.iso")).size(),
                  size_t{kChunks} * kChunkBlocks * 2048);
        std::filesystem::resize_file(File("track-01.iso"), uint64_t{kWritten} * 2048 + 700);
        Reload();
        EXPECT_EQ(host.DiscStatus() & 0x0F, 1 | 1 << 2) << "the session is open";
    }
};

TEST_F(DiscStoreTest, AKilledWriterLeavesADamagedTrackOnACd) {
    WriteUntilKilled("cd-r");
    ASSERT_EQ(host.TrackInformation(1, 1), kGood);
    EXPECT_EQ(host.data[5] & 0x20, 0x20) << "damaged";
    EXPECT_EQ(host.data[7] & 1, 0) << "no next writable address";
    EXPECT_EQ(host.Data32(24), static_cast<uint32_t>(kWritten));
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    EXPECT_EQ(host.Write(kWritten, Bytes(2048)), kSequenceError);
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    EXPECT_EQ(host.TrackInformation(1, 2), kInvalidFieldInCdb) << "that closes nothing";
    ASSERT_EQ(host.Close(2), kGood);
    for (int32_t block = 0; block + kChunkBlocks <= kWritten; block += kChunkBlocks) {
        ExpectRead(block, Chunk(block));
    }
    EXPECT_EQ(host.NextWritable(), kWritten + 2 + 11'400) << "another session can follow";
}

TEST_F(DiscStoreTest, AKilledWriterOfADvdGoesOnAtTheNextEccBlock) {
    WriteUntilKilled("dvd-r");
    ASSERT_EQ(host.SelectDash({}), kGood);
    ASSERT_EQ(host.NextWritable(), 640);
    ExpectGood({host.Write(640, Chunk(640)), host.Close(2)});
    ExpectRead(608, Chunk(608));
    ExpectRead(kWritten, Bytes(10UL * 2048) + Chunk(640));
}

TEST_F(DiscStoreTest, AKilledWriterOfABdGoesOnAtTheNextCluster) {
    WriteUntilKilled("bd-r");
    ASSERT_EQ(host.NextWritable(), 640);
    ExpectGood({host.Write(640, Chunk(640)), host.Close(1, 1), host.Close(2)});
    ExpectRead(608, Chunk(608));
    ExpectRead(kWritten, Bytes(10UL * 2048) + Chunk(640));
}

TEST_F(DiscStoreTest, WhatIsNoDiscDoesNotGoIn) {
    Load("cd-r");
    EXPECT_FALSE(VirtualDrive::CreateDisc(Disc(), "cd-r")) << "the folder is not empty";
    EXPECT_FALSE(VirtualDrive::CreateDisc(folder.Path() + "/tape", "tape"));
    EXPECT_FALSE(drive.Insert(folder.Path() + "/nowhere"));
    const std::string disc = "[disc]\nkind=cd-r\ncapacity=9000\nfinalized=false\n";
    const std::string session = "[session-01]\nlead-out=302\n";
    const std::string track = "session=1\nstart=0\npregap=0\nblocks=300\nreserved=0\ncontrol=4\n"
                              "run-out=2\ncomplete=true\nin-one-go=false\ndamaged=false\n"
                              "file-start=0\n";
    const std::string named = track + "block-bytes=2048\nfile=track-01.iso\n";
    std::filesystem::create_directories(folder.Path() + "/other");
    const auto insert = [&](const std::string& text) {
        std::ofstream(folder.Path() + "/other/disc.txt") << text;
        return drive.Insert(folder.Path() + "/other");
    };
    for (const std::string& text :
         {std::string(), std::string("no state"), std::string("[disc]\nkind=cd-r\n"),
          std::string("[disc]\nkind=tape\ncapacity=1\nfinalized=false\n"),
          std::string("[disc]\nkind=cd-r\ncapacity=many\nfinalized=false\n"),
          std::string("[disc]\nkind=cd-r\ncapacity=0\nfinalized=false\n"),
          disc + "[track-001]\nstart=0\n", disc + session + "[track-002]\n" + named, disc + session,
          disc + "[session-02]\nlead-out=302\n[track-001]\n" + named,
          disc + session + "[track-001]\n" + track + "block-bytes=2048\nfile=../track-01.iso\n",
          disc + session + "[track-001]\n" + track + "block-bytes=0\nfile=track-01.iso\n"}) {
        EXPECT_FALSE(insert(text)) << text;
    }
    EXPECT_TRUE(drive.HasDisc()) << "the old disc stays";
    EXPECT_EQ(host.TestUnitReady(), kGood);
    EXPECT_TRUE(insert(disc + session + "[track-001]\n" + named));
}

TEST_F(DiscStoreTest, LeftoversOfAnEarlierDiscAreNoData) {
    Load("cd-rw");
    std::ofstream(File("track-01.iso")) << std::string(500UL * 2048, 'x');
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    EXPECT_EQ(host.NextWritable(), 0);
    ASSERT_EQ(host.Write(0, Blocks(1, 1)), kGood);
    EXPECT_EQ(host.NextWritable(), 1);
}

} // namespace

} // namespace larkspin
