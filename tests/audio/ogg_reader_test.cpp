// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/ogg_reader.h"

#include "audio/codec_files.h"
#include "platform/byte_order.h"
#include "support/memory_files.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <ogg/ogg.h>

namespace larkspin {

namespace {

using namespace codecs;

Bytes MakeOgg(size_t frames, Sound form = {}, uint32_t serial = 1) {
    return Encoded(".ogg", MakeTones(frames, std::move(form), serial),
                   "--serial " + std::to_string(serial));
}

Bytes ReferenceDecode(const Bytes& file) {
    const TempFolder folder;
    WriteFileBytes(folder.Path() + "/a.ogg", file);
    return Capture("oggdec -Q -R -o - " + folder.Path() + "/a.ogg");
}

Bytes Decode(const Bytes& file) {
    MemoryFiles files(file);
    COggReader reader(u"/a.ogg", files);
    return Drain(reader);
}

TEST(OggReader, PlaysLinksOfTheSameFormAndRefusesOthers) {
    const Bytes first = MakeOgg(50000);
    const Bytes expected = ReferenceDecode(first);
    MemoryFiles files(first + MakeOgg(50000, {.channels = 1}, 2));
    EXPECT_EQ(FailureOf([&] { COggReader(u"/a.ogg", files); }),
              "its parts differ in rate or channels.");
    EXPECT_FALSE(ProbeHeader<COggReader>(u"/a.ogg", files));
    const Bytes second = MakeOgg(40000, {}, 4);
    EXPECT_TRUE(Decode(first + second) == expected + ReferenceDecode(second));
}

TEST(OggReader, PlaysOnAcrossAHole) {
    Bytes file = MakeOgg(400000);
    const Bytes whole = ReferenceDecode(file);
    file[file.size() / 2] ^= 1; // the page's check tells, and the page is dropped
    EXPECT_TRUE(LostItsMiddle(Decode(file), whole));
}

TEST(OggReader, ServesRequestsOfAnySizeInWholeFrames) {
    MemoryFiles files(MakeOgg(3000));
    COggReader reader(u"/a.ogg", files);
    EXPECT_TRUE(Drain(reader, SIZE_MAX, 1003) == ReferenceDecode(files.m_bytes));
}

// The queue's figure must not be 0 for a file that is only too long.
TEST(OggReader, TellsALengthThatFitsNoReader) {
    MemoryFiles files(MakeOgg(100000));
    constexpr uint32_t kLastSample = 0x30000000;
    // The last page's fields (RFC 3533, section 6).
    constexpr std::string_view kCapture = "OggS";
    const auto page =
        std::find_end(files.m_bytes.begin(), files.m_bytes.end(), kCapture.begin(), kCapture.end());
    StoreLe32(&page[6], kLastSample);
    const int headerBytes = 27 + page[26];
    ogg_page sealed = {&*page, headerBytes, &page[headerBytes],
                       files.m_bytes.end() - page - headerBytes};
    ogg_page_checksum_set(&sealed);
    EXPECT_NEAR(static_cast<double>(ProbeHeader<COggReader>(u"/a.ogg", files)->bytes),
                4.0 * kLastSample, 4);
    EXPECT_EQ(FailureOf([&] { COggReader(u"/a.ogg", files); }),
              "it is longer than 2 GiB of sound.");
}

} // namespace

} // namespace larkspin
