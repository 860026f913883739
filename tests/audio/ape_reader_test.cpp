#include "audio/readers/ape_reader.h"

#include "audio/codec_files.h"
#include "support/memory_files.h"

#include <gtest/gtest.h>

namespace larkspin {

namespace {

using namespace codecs;

// An APEv2 tag with one item, a picture (the tag's footer alone, which is all that is asked for).
Bytes MakeCoverTag() {
    const Bytes value = Text("cover.jpg") + Bytes{0} + Text("\xFF\xD8\xFF\xE0 not much of one");
    constexpr uint32_t kBinary = 2;
    const Bytes item = Le32(static_cast<uint32_t>(value.size())) + Le32(kBinary) +
                       Text("Cover Art (Front)") + Bytes{0} + value;
    constexpr uint32_t kFooterBytes = 32;
    return item + Text("APETAGEX") + Le32(2000) +
           Le32(static_cast<uint32_t>(item.size()) + kFooterBytes) + Le32(1) + Bytes(12);
}

TEST(ApeReader, PlaysAFileWithTagsAroundIt) {
    const Sound sound = MakeTones(30000);
    // 256 bytes behind the tag's header, in groups of seven bits.
    const Bytes id3 = Text("ID3\x03") + Bytes{0, 0, 0, 0, 2, 0} + Bytes(256);
    MemoryFiles files(id3 + Encoded(".ape", sound) + MakeCoverTag());
    CAPEReader reader(u"/a.ape", files);
    EXPECT_EQ(reader.m_nLength, 30000 * 4);
    EXPECT_TRUE(Drain(reader) == Pcm(sound));
}

} // namespace

} // namespace larkspin
