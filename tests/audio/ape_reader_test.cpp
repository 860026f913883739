#include "audio/readers/ape_reader.h"

#include "audio/codec_files.h"
#include "platform/byte_order.h"
#include "support/memory_files.h"

#include <gtest/gtest.h>

namespace larkspin {

namespace {

using namespace codecs;

Bytes Text(std::string_view text) {
    return {text.begin(), text.end()};
}

// An APEv2 tag with one item, a picture (the tag's footer alone, which is all that is asked for).
Bytes MakeCoverTag() {
    const Bytes value = Text("cover.jpg") + Bytes{0} + Text("\xFF\xD8\xFF\xE0 not much of one");
    Bytes prefix(8);
    StoreLe32(&prefix[0], static_cast<uint32_t>(value.size()));
    StoreLe32(&prefix[4], 2); // binary
    const Bytes item = prefix + Text("Cover Art (Front)") + Bytes{0} + value;
    Bytes footer = Text("APETAGEX") + Bytes(24);
    StoreLe32(&footer[8], 2000);
    StoreLe32(&footer[12], static_cast<uint32_t>(item.size() + footer.size()));
    StoreLe32(&footer[16], 1);
    return item + footer;
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
