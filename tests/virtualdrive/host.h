// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A host for tests of the virtual drive: sends CDBs and looks at what comes back.
#pragma once

#include "platform/byte_order.h"
#include "platform/text.h"
#include "support/file_bytes.h"
#include "support/manual_clock.h"
#include "support/temp_folder.h"
#include "virtualdrive/virtual_drive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

namespace larkspin {

// Sense as (key << 16) | (ASC << 8) | ASCQ.
constexpr int kGood = 0;
constexpr int kOperationInProgress = 0x20407;
constexpr int kTrayClosed = 0x23A01;
constexpr int kWriteError = 0x30C00;
constexpr int kUnreadable = 0x31105;
constexpr int kUnknownCommand = 0x52000;
constexpr int kOutOfRange = 0x52100;
constexpr int kInvalidAddress = 0x52102;
constexpr int kInvalidFieldInCdb = 0x52400;
constexpr int kInvalidFieldInList = 0x52600;
constexpr int kSequenceError = 0x52C00;
constexpr int kCannotWrite = 0x53005;
constexpr int kEndOfArea = 0x56300;
constexpr int kIllegalMode = 0x56400;
constexpr int kIncompleteTrack = 0x57203;
constexpr int kNewMedium = 0x62800;
constexpr int kDataPhase = 0xB4B00;

constexpr uint32_t kAllBlocks = 0xFFFFFFFF;

// Blocks that differ from each other and from seed to seed.
inline Bytes Blocks(uint32_t count, uint32_t seed, uint32_t blockBytes = 2048) {
    return Payload(size_t{count} * blockBytes, seed);
}

inline Bytes operator+(Bytes bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

// What a DVD of the dash family finds on the write parameters page.
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

inline DashPage InOneGo(uint8_t multiSession = 0) {
    return {.writeType = 2,
            .multiSession = multiSession,
            .linkValid = false,
            .linkSize = 0,
            .fixedPacket = false,
            .packetSize = 0};
}

class Host {
  public:
    explicit Host(VirtualDrive& drive) : m_drive(drive) {}

    // The sense, 0 if the command succeeded.
    int Send(const Bytes& cdb, PortDirection direction, void* buffer, size_t length) {
        PortRequest request;
        request.cdb = cdb;
        request.direction = direction;
        request.data = buffer;
        request.length = static_cast<uint32_t>(length);
        request.timeoutSeconds = timeoutSeconds;
        completion = m_drive.Execute(request);
        EXPECT_EQ(completion.status == 2, completion.sense[0] == 0x70);
        return completion.sense[2] << 16 | completion.sense[12] << 8 | completion.sense[13];
    }
    int None(const Bytes& cdb) { return Send(cdb, PortDirection::None, nullptr, 0); }
    // What comes back is in `data`.
    int In(const Bytes& cdb, size_t length = 252) {
        data.assign(length, 0xEE);
        return Send(cdb, PortDirection::In, data.data(), data.size());
    }
    int Out(const Bytes& cdb, Bytes bytes) {
        return Send(cdb, PortDirection::Out, bytes.data(), bytes.size());
    }
    uint32_t Data32(size_t at) const { return LoadBe32(&data.at(at)); }
    Bytes DataAt(size_t at, size_t count) const {
        const auto begin = data.begin() + static_cast<std::ptrdiff_t>(at);
        return {begin, begin + static_cast<std::ptrdiff_t>(count)};
    }
    // In 65536th parts, -1 if the sense tells none.
    int Progress() const {
        return (completion.sense[15] & 0x80) != 0 ? LoadBe16(&completion.sense[16]) : -1;
    }

    static Bytes Address10(uint8_t opcode, int32_t block, uint16_t count) {
        Bytes cdb(10);
        cdb[0] = opcode;
        StoreBe32(&cdb[2], static_cast<uint32_t>(block));
        StoreBe16(&cdb[7], count);
        return cdb;
    }
    int Write(int32_t block, const Bytes& bytes, uint32_t blockBytes = 2048) {
        return Out(Address10(0x2A, block, static_cast<uint16_t>(bytes.size() / blockBytes)), bytes);
    }
    // Writes in commands of at most 16 blocks; stops at the first refusal.
    int WriteAll(int32_t block, const Bytes& bytes, uint32_t blockBytes = 2048) {
        const size_t chunk = size_t{blockBytes} * 16;
        for (size_t done = 0; done < bytes.size(); done += chunk) {
            const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(done);
            const auto part = static_cast<std::ptrdiff_t>(std::min(chunk, bytes.size() - done));
            const auto at = block + static_cast<int32_t>(done / blockBytes);
            if (const int code = Write(at, Bytes(begin, begin + part), blockBytes)) {
                return code;
            }
        }
        return kGood;
    }
    int Read(int32_t block, uint16_t count) {
        return In(Address10(0x28, block, count), size_t{count} * 2048);
    }
    // READ CD of CD-DA blocks.
    int ReadAudio(int32_t block, uint8_t count) {
        Bytes cdb = {0xBE, 0x04, 0, 0, 0, 0, 0, 0, count, 0x10, 0, 0};
        StoreBe32(&cdb[2], static_cast<uint32_t>(block));
        return In(cdb, size_t{count} * 2352);
    }
    int SynchronizeCache() { return None({0x35, 0, 0, 0, 0, 0, 0, 0, 0, 0}); }
    int Close(uint8_t function, uint8_t track = 0) {
        return None({0x5B, 0, function, 0, 0, track, 0, 0, 0, 0});
    }
    int ReserveTrack(uint32_t blocks) {
        Bytes cdb(10);
        cdb[0] = 0x53;
        StoreBe32(&cdb[5], blocks);
        return None(cdb);
    }
    int SendCueSheet(const Bytes& sheet) {
        return Out({0x5D, 0, 0, 0, 0, 0, 0, 0, static_cast<uint8_t>(sheet.size()), 0}, sheet);
    }
    int Blank(uint8_t type) { return None({0xA1, type, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}); }
    // Not immediate unless the options, byte 1 of the list, say so.
    int FormatUnit(uint8_t type, uint32_t blocks, uint8_t parameter = 16, uint8_t options = 0) {
        Bytes list = {0, options, 0,        8, 0, 0, 0, 0, static_cast<uint8_t>(type << 2),
                      0, 0,       parameter};
        StoreBe32(&list[4], blocks);
        return Out({0x04, 0x11, 0, 0, 0, 0}, list);
    }

    int TestUnitReady() { return None({0, 0, 0, 0, 0, 0}); }
    int Eject() { return None({0x1B, 0, 0, 0, 2, 0}); }
    int LockDoor(bool lock) { return None({0x1E, 0, 0, 0, static_cast<uint8_t>(lock ? 1 : 0), 0}); }
    int PollEvents(uint8_t classes) { return In({0x4A, 1, 0, 0, classes, 0, 0, 0, 8, 0}); }

    int ReadDiscInformation() { return In({0x51, 0, 0, 0, 0, 0, 0, 0, 34, 0}); }
    // Status in bits 0 and 1, state of the last session in bits 2 and 3, 16 if erasable.
    int DiscStatus() {
        EXPECT_EQ(ReadDiscInformation(), kGood);
        return data[2];
    }
    int TrackInformation(uint8_t by, uint32_t number) {
        Bytes cdb = {0x52, by, 0, 0, 0, 0, 0, 0, 36, 0};
        StoreBe32(&cdb[2], number);
        return In(cdb);
    }
    int32_t NextWritable() {
        EXPECT_EQ(TrackInformation(1, 0xFF), kGood);
        EXPECT_EQ(data[7] & 1, 1) << "no next writable address";
        return static_cast<int32_t>(Data32(12));
    }
    int Toc(uint8_t format, uint8_t start = 0, bool msf = false) {
        return In({0x43, static_cast<uint8_t>(msf ? 2 : 0), format, 0, 0, 0, start, 0, 252, 0});
    }
    uint32_t LastBlock() {
        EXPECT_EQ(In({0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}), kGood);
        return Data32(0);
    }
    uint16_t Profile() {
        EXPECT_EQ(In({0x46, 1, 0, 0, 0, 0, 0, 0, 8, 0}), kGood);
        return LoadBe16(&data[6]);
    }
    bool IsFeatureCurrent(uint16_t feature) {
        Bytes cdb = {0x46, 2, 0, 0, 0, 0, 0, 0, 252, 0};
        StoreBe16(&cdb[2], feature);
        EXPECT_EQ(In(cdb), kGood);
        return Data32(0) >= 8 && LoadBe16(&data[8]) == feature && (data[10] & 1) != 0;
    }
    // Features that are current and depend on the medium.
    std::set<uint16_t> CurrentFeatures() {
        std::set<uint16_t> features;
        for (uint16_t feature = 0x10; feature < 0x100; ++feature) {
            if (IsFeatureCurrent(feature)) {
                features.insert(feature);
            }
        }
        return features;
    }
    // READ FORMAT CAPACITIES: "blocks/type" of the current capacity and of each format.
    int FormatCapacitiesCode() { return In({0x23, 0, 0, 0, 0, 0, 0, 0, 252, 0}); }
    std::string FormatCapacities() {
        EXPECT_EQ(FormatCapacitiesCode(), kGood);
        std::string text;
        for (size_t at = 4; at < size_t{4} + data[3]; at += 8) {
            const int type = at == 4 ? data[at + 4] : data[at + 4] >> 2;
            text += Format(text.empty() ? "%u/%d" : " %u/%d", Data32(at), type);
        }
        return text;
    }

    Bytes WriteParametersPage() {
        EXPECT_EQ(In({0x5A, 0x08, 0x05, 0, 0, 0, 0, 0, 60, 0}, 60), kGood);
        Bytes page = DataAt(8, 52);
        page[0] &= 0x3F; // that it can be saved is not sent back
        return page;
    }
    int SelectPage(const Bytes& page) {
        const auto bytes = static_cast<uint8_t>(8 + page.size());
        return Out({0x55, 0x10, 0, 0, 0, 0, 0, 0, bytes, 0}, Bytes(8) + page);
    }
    int SelectWriteType(uint8_t type, uint8_t multiSession, uint8_t trackMode,
                        uint8_t dataBlockType) {
        Bytes page = WriteParametersPage();
        page[2] = 0x40 | type;
        page[3] = static_cast<uint8_t>(multiSession << 6 | trackMode);
        page[4] = dataBlockType;
        return SelectPage(page);
    }
    int SelectTrackAtOnce(uint8_t multiSession = 3) {
        return SelectWriteType(1, multiSession, 4, 8);
    }
    int SelectSessionAtOnce(uint8_t multiSession = 0) {
        return SelectWriteType(2, multiSession, 0, 0);
    }
    int SelectDash(const DashPage& wish) {
        Bytes page = WriteParametersPage();
        page[2] = static_cast<uint8_t>(0x40 | (wish.linkValid ? 0x20 : 0) |
                                       (wish.testWrite ? 0x10 : 0) | wish.writeType);
        page[3] = static_cast<uint8_t>(wish.multiSession << 6 | (wish.fixedPacket ? 0x20 : 0) | 5);
        page[4] = wish.dataBlockType;
        page[5] = wish.linkSize;
        page[13] = wish.packetSize;
        return SelectPage(page);
    }

    uint32_t timeoutSeconds = 600;
    PortCompletion completion;
    Bytes data;

  private:
    VirtualDrive& m_drive;
};

// A drive with a disc of a kind in it, the unit attention seen.
class DriveTest : public ::testing::Test {
  protected:
    // A new disc; an earlier one goes.
    void Load(const std::string& kind, uint32_t capacity = 0) {
        std::filesystem::remove_all(Disc());
        ASSERT_TRUE(VirtualDrive::CreateDisc(Disc(), kind, capacity));
        Reload();
    }
    // As after a process that ended: all that the drive knows is on the disc.
    void Reload() {
        ASSERT_TRUE(drive.Insert(Disc()));
        EXPECT_EQ(host.TestUnitReady(), kNewMedium);
    }
    // That commands, sent in this order, succeed.
    static void ExpectGood(std::initializer_list<int> codes) {
        EXPECT_EQ(std::vector<int>(codes), std::vector<int>(codes.size(), kGood));
    }
    void ExpectRead(int32_t block, const Bytes& bytes) {
        ASSERT_EQ(host.Read(block, static_cast<uint16_t>(bytes.size() / 2048)), kGood) << block;
        EXPECT_TRUE(host.data == bytes) << "other bytes at " << block;
    }
    void ExpectAudio(int32_t block, const Bytes& bytes) {
        ASSERT_EQ(host.ReadAudio(block, static_cast<uint8_t>(bytes.size() / 2352)), kGood) << block;
        EXPECT_TRUE(host.data == bytes) << "other bytes at " << block;
    }
    std::string Disc() const { return folder.Path() + "/disc"; }
    std::string File(const std::string& name) const { return Disc() + "/" + name; }

    TempFolder folder;
    ManualClock clock;
    VirtualDrive drive{clock};
    Host host{drive};
};

} // namespace larkspin
