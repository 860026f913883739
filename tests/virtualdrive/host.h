// A host for tests of the virtual drive: sends CDBs and looks at what comes back.
#pragma once

#include "platform/byte_order.h"
#include "support/manual_clock.h"
#include "support/temp_folder.h"
#include "virtualdrive/virtual_drive.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace larkspin {

using Bytes = std::vector<uint8_t>;

inline Bytes FileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Bytes that differ from block to block and from seed to seed.
inline Bytes Pattern(size_t bytes, uint32_t seed) {
    Bytes pattern(bytes);
    uint32_t state = seed * 2654435761U + 1;
    for (uint8_t& byte : pattern) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<uint8_t>(state >> 24);
    }
    return pattern;
}

constexpr int kGood = 0;

class Host {
  public:
    explicit Host(VirtualDrive& drive) : m_drive(drive) {}

    // Sense as (key << 16) | (ASC << 8) | ASCQ, 0 if the command succeeded.
    int Send(const Bytes& cdb, PortDirection direction, void* buffer, size_t length) {
        PortRequest request;
        request.cdb = cdb;
        request.direction = direction;
        request.data = buffer;
        request.length = static_cast<uint32_t>(length);
        request.timeoutSeconds = 600;
        completion = m_drive.Execute(request);
        EXPECT_EQ(completion.status == 2, completion.sense[0] == 0x70);
        return completion.sense[2] << 16 | completion.sense[12] << 8 | completion.sense[13];
    }
    int None(const Bytes& cdb) { return Send(cdb, PortDirection::None, nullptr, 0); }
    // What comes back is in `data`.
    int In(const Bytes& cdb, size_t length) {
        data.assign(length, 0xEE);
        return Send(cdb, PortDirection::In, data.data(), data.size());
    }
    int Out(const Bytes& cdb, Bytes bytes) {
        return Send(cdb, PortDirection::Out, bytes.data(), bytes.size());
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
            const size_t part = std::min(chunk, bytes.size() - done);
            const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(done);
            const Bytes piece(begin, begin + static_cast<std::ptrdiff_t>(part));
            if (const int code =
                    Write(block + static_cast<int32_t>(done / blockBytes), piece, blockBytes))
                return code;
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
    int TrackInformation(uint8_t by, uint32_t number) {
        Bytes cdb = {0x52, by, 0, 0, 0, 0, 0, 0, 36, 0};
        StoreBe32(&cdb[2], number);
        return In(cdb, 36);
    }
    int32_t NextWritable() {
        EXPECT_EQ(TrackInformation(1, 0xFF), kGood);
        EXPECT_EQ(data[7] & 1, 1) << "no next writable address";
        return static_cast<int32_t>(LoadBe32(&data[12]));
    }
    // Status in bits 0 and 1, state of the last session in bits 2 and 3, 16 if erasable.
    int DiscStatus() {
        EXPECT_EQ(In({0x51, 0, 0, 0, 0, 0, 0, 0, 34, 0}, 34), kGood);
        return data[2];
    }
    Bytes WriteParametersPage() {
        EXPECT_EQ(In({0x5A, 0x08, 0x05, 0, 0, 0, 0, 0, 60, 0}, 60), kGood);
        return {data.begin() + 8, data.end()};
    }
    int SelectPage(const Bytes& page) {
        Bytes list(8);
        list.insert(list.end(), page.begin(), page.end());
        return Out({0x55, 0x10, 0, 0, 0, 0, 0, 0, static_cast<uint8_t>(list.size()), 0}, list);
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
    int SendCueSheet(const Bytes& sheet) {
        return Out({0x5D, 0, 0, 0, 0, 0, 0, 0, static_cast<uint8_t>(sheet.size()), 0}, sheet);
    }
    int SynchronizeCache() { return None({0x35, 0, 0, 0, 0, 0, 0, 0, 0, 0}); }
    int Close(uint8_t function, uint8_t track = 0) {
        return None({0x5B, 0, function, 0, 0, track, 0, 0, 0, 0});
    }
    int TestUnitReady() { return None({0, 0, 0, 0, 0, 0}); }

    PortCompletion completion;
    Bytes data;

  private:
    VirtualDrive& m_drive;
};

// A drive with a new disc of a kind in it, the unit attention seen.
class DriveTest : public ::testing::Test {
  protected:
    void Load(const std::string& kind, uint32_t capacity = 0) {
        ASSERT_TRUE(VirtualDrive::CreateDisc(Disc(), kind, capacity));
        ASSERT_TRUE(drive.Insert(Disc()));
        EXPECT_EQ(host.TestUnitReady(), 0x62800);
    }
    void LoadAnother(const std::string& kind, uint32_t capacity = 0) {
        std::filesystem::remove_all(Disc());
        Load(kind, capacity);
    }
    void Reload() {
        ASSERT_TRUE(drive.Insert(Disc()));
        EXPECT_EQ(host.TestUnitReady(), 0x62800);
    }
    std::string Disc() const { return folder.Path() + "/disc"; }
    std::string File(const std::string& name) const { return Disc() + "/" + name; }

    TempFolder folder;
    ManualClock clock;
    VirtualDrive drive{clock};
    Host host{drive};
};

} // namespace larkspin
