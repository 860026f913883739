// What a host sends to a drive with a DVD in it.
#pragma once

#include "host.h"
#include "platform/text.h"

#include <set>
#include <string>

namespace larkspin {

constexpr int kOutOfRange = 0x52100;
constexpr int kInvalidAddress = 0x52102;
constexpr int kInvalidFieldInCdb = 0x52400;
constexpr int kInvalidFieldInList = 0x52600;
constexpr int kSequenceError = 0x52C00;
constexpr int kIncompatibleMedium = 0x53005;
constexpr int kIllegalMode = 0x56400;

constexpr uint32_t kAllBlocks = 0xFFFFFFFF;

// FORMAT UNIT, not immediate.
inline int FormatUnit(Host& host, uint8_t type, uint32_t blocks, uint8_t parameter = 16) {
    Bytes list(12);
    list[3] = 8;
    StoreBe32(&list[4], blocks);
    list[8] = static_cast<uint8_t>(type << 2);
    list[11] = parameter;
    return host.Out({0x04, 0x11, 0, 0, 0, 0}, list);
}

inline int Blank(Host& host, uint8_t type) {
    return host.None({0xA1, type, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
}

inline int ReserveTrack(Host& host, uint32_t blocks) {
    Bytes cdb(10);
    cdb[0] = 0x53;
    StoreBe32(&cdb[5], blocks);
    return host.None(cdb);
}

// Write parameters of the dash family.
struct DashPage {
    uint8_t writeType = 0; // 0 incremental, 2 in one go
    uint8_t multiSession = 3;
    bool linkValid = true;
    uint8_t linkSize = 16;
    bool fixedPacket = true;
    uint8_t packetSize = 16;
    uint8_t dataBlockType = 8;
    bool testWrite = false;
};

inline int SelectDash(Host& host, const DashPage& wish) {
    Bytes page = host.WriteParametersPage();
    page[2] = static_cast<uint8_t>(0x40 | (wish.linkValid ? 0x20 : 0) |
                                   (wish.testWrite ? 0x10 : 0) | wish.writeType);
    page[3] = static_cast<uint8_t>(wish.multiSession << 6 | (wish.fixedPacket ? 0x20 : 0) | 5);
    page[4] = wish.dataBlockType;
    page[5] = wish.linkSize;
    page[13] = wish.packetSize;
    return host.SelectPage(page);
}

inline DashPage InOneGo(uint8_t multiSession = 0) {
    return {.writeType = 2,
            .multiSession = multiSession,
            .linkValid = false,
            .linkSize = 0,
            .fixedPacket = false,
            .packetSize = 0};
}

inline bool IsFeatureCurrent(Host& host, uint16_t feature) {
    Bytes cdb = {0x46, 2, 0, 0, 0, 0, 0, 0, 255, 0};
    StoreBe16(&cdb[2], feature);
    EXPECT_EQ(host.In(cdb, 255), kGood);
    return LoadBe32(host.data.data()) >= 8 && LoadBe16(&host.data[8]) == feature &&
           (host.data[10] & 1) != 0;
}

// Features that are current and depend on the medium.
inline std::set<uint16_t> CurrentFeatures(Host& host) {
    std::set<uint16_t> features;
    for (uint16_t feature = 0x10; feature < 0x100; ++feature)
        if (IsFeatureCurrent(host, feature))
            features.insert(feature);
    return features;
}

inline uint16_t Profile(Host& host) {
    EXPECT_EQ(host.In({0x46, 1, 0, 0, 0, 0, 0, 0, 8, 0}, 8), kGood);
    return LoadBe16(&host.data[6]);
}

// READ FORMAT CAPACITIES: "blocks/type" of the current capacity and of each format.
inline std::string FormatCapacities(Host& host) {
    EXPECT_EQ(host.In({0x23, 0, 0, 0, 0, 0, 0, 0, 252, 0}, 252), kGood);
    std::string text;
    for (size_t at = 4; at < size_t{4} + host.data[3]; at += 8) {
        const int type = at == 4 ? host.data[at + 4] : host.data[at + 4] >> 2;
        text += Format(text.empty() ? "%u/%d" : " %u/%d", LoadBe32(&host.data[at]), type);
    }
    return text;
}

} // namespace larkspin
