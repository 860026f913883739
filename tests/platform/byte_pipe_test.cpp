// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The pipe between two threads. The readers and writers go at their own pace; what is fixed is
// the order of bytes and who is let go when an end closes.
#include "platform/byte_pipe.h"
#include "support/file_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>

namespace larkspin {
namespace {

// Reads with `full` by ReadFully, which gives less than a whole piece at the end alone.
Bytes ReadToEnd(BytePipe& pipe, size_t piece, bool full) {
    Bytes all;
    Bytes buffer(piece);
    for (bool ended = false; !ended;) {
        const auto got = full ? static_cast<std::ptrdiff_t>(pipe.ReadFully(buffer.data(), piece))
                              : pipe.Read(buffer.data(), piece);
        all.insert(all.end(), buffer.begin(), buffer.begin() + got);
        ended = full ? static_cast<size_t>(got) < piece : got == 0;
    }
    return all;
}

// Every mix of ring, write and read sizes, so that pieces end before, at and past the ring's edge.
TEST(BytePipe, CarriesEveryByteInOrder) {
    const Bytes sent = Payload(4099, 1);
    for (const size_t capacity : {1, 2, 7, 64, 4096, 5000}) {
        for (const size_t writePiece : {1, 3, 64, 65, 4099}) {
            for (const size_t readPiece : {1, 5, 64, 4099}) {
                for (const bool full : {false, true}) {
                    BytePipe pipe(capacity);
                    const auto writer = std::async(std::launch::async, [&] {
                        for (size_t at = 0; at < sent.size(); at += writePiece) {
                            const size_t count = std::min(writePiece, sent.size() - at);
                            EXPECT_TRUE(pipe.Write(&sent[at], count));
                        }
                        pipe.CloseWrite();
                    });
                    ASSERT_TRUE(ReadToEnd(pipe, readPiece, full) == sent)
                        << "ring " << capacity << ", writes of " << writePiece << ", reads of "
                        << readPiece << (full ? ", whole" : "");
                }
            }
        }
    }
}

TEST(BytePipe, WhatIsInTheRingOutlivesTheWriterButNotTheReader) {
    BytePipe pipe(16);
    const Bytes sent = Payload(16, 1);
    uint8_t byte = 0;
    EXPECT_TRUE(pipe.Write(nullptr, 0));
    EXPECT_EQ(pipe.Read(&byte, 0), 0) << "must not wait for a byte";
    ASSERT_TRUE(pipe.Write(sent.data(), sent.size()));
    pipe.CloseWrite();
    EXPECT_FALSE(pipe.Write(sent.data(), 0)) << "a closed end takes no more";
    EXPECT_EQ(ReadToEnd(pipe, 5, false), sent);

    BytePipe left(8);
    ASSERT_TRUE(left.Write(sent.data(), 4));
    left.CloseRead();
    EXPECT_FALSE(left.Write(sent.data(), 1));
    EXPECT_FALSE(left.Write(nullptr, 0));
    EXPECT_EQ(left.Read(&byte, 1), 0);
}

// A blocked end is let go by either end's closing. Whether the thread blocks before the pipe is
// closed or comes later, the answer has to be the same.
TEST(BytePipe, ClosingLetsBlockedEndsGo) {
    using Close = void (BytePipe::*)();
    for (const Close close : {&BytePipe::CloseRead, &BytePipe::CloseWrite}) {
        for (int round = 0; round < 200; ++round) {
            BytePipe full(3);
            auto write =
                std::async(std::launch::async, [&] { return full.Write("more than three", 15); });
            BytePipe empty(3);
            auto read = std::async(std::launch::async, [&] {
                uint8_t byte = 0;
                return empty.Read(&byte, 1);
            });
            (full.*close)();
            (empty.*close)();
            EXPECT_FALSE(write.get());
            EXPECT_EQ(read.get(), 0);
            (full.*close)(); // closing again does no harm
        }
    }
}

} // namespace
} // namespace larkspin
