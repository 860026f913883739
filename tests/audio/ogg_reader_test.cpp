// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/ogg_reader.h"

#include "audio/codec_files.h"
#include "platform/byte_order.h"
#include "support/memory_files.h"

#include <algorithm>
#include <gtest/gtest.h>

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
    for (const Sound& form : {Sound{.channels = 1}, Sound{.rate = 48000}}) {
        MemoryFiles files(first + MakeOgg(50000, form, 2));
        EXPECT_EQ(FailureOf([&] { COggReader(u"/a.ogg", files); }),
                  "its parts differ in rate or channels.");
        EXPECT_FALSE(ProbeHeader<COggReader>(u"/a.ogg", files));
    }
    const Bytes second = MakeOgg(40000, {}, 4);
    EXPECT_TRUE(Decode(first + second) == expected + ReferenceDecode(second));
}

TEST(OggReader, PlaysOnAcrossAHole) {
    Bytes file = MakeOgg(400000);
    const Bytes whole = ReferenceDecode(file);
    file[file.size() / 2] ^= 1; // the page's check tells, and the page is dropped
    const Bytes got = Decode(file);
    EXPECT_LT(got.size(), whole.size());
    const size_t part = whole.size() / 3;
    ASSERT_GE(got.size(), 2 * part);
    EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + part, got.begin()));
    EXPECT_TRUE(std::equal(whole.end() - part, whole.end(), got.end() - part));
}

TEST(OggReader, ServesRequestsOfAnySizeInWholeFrames) {
    MemoryFiles files(MakeOgg(3000));
    COggReader reader(u"/a.ogg", files);
    Bytes got;
    for (uint32_t count = 1; count > 0;) {
        Bytes part(1003);
        reader.Read(part.data(), 1003, &count);
        EXPECT_EQ(count % 4, 0U);
        part.resize(count);
        got = got + part;
    }
    EXPECT_TRUE(got == ReferenceDecode(files.m_bytes));
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
    StoreLe32(&page[22], 0);
    uint32_t check = 0; // of polynomial 0x04C11DB7, neither reflected nor inverted
    for (auto byte = page; byte != files.m_bytes.end(); ++byte) {
        check ^= uint32_t{*byte} << 24;
        for (int bit = 0; bit < 8; ++bit) {
            check = check << 1 ^ (check >> 31) * 0x04C11DB7;
        }
    }
    StoreLe32(&page[22], check);
    EXPECT_NEAR(static_cast<double>(ProbeHeader<COggReader>(u"/a.ogg", files)->bytes),
                4.0 * kLastSample, 4);
    EXPECT_EQ(FailureOf([&] { COggReader(u"/a.ogg", files); }),
              "it is longer than 2 GiB of sound.");
}

} // namespace

} // namespace larkspin
