// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The USB side of larkspin-drive without a kernel: what a host gets for its transfers.
#include "platform/text.h"
#include "support/temp_folder.h"
#include "usbdrive/own_device.h"
#include "usbdrive/usb_device.h"
#include "usbdrive/usbip_server.h"
#include "usbdrive/vhci_port.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace larkspin {

namespace {

using Bytes = std::vector<uint8_t>;

// A host, the bus and a unit that a test finishes by hand. What the host got is a line of words:
// the bytes of a transfer, "stall", or for a status wrapper its status and residue.
class Bench : public IScsiUnit, public IUsbReplies {
  public:
    void Start(ScsiJob started) override { job = std::move(started); }
    void Reply(uint32_t, int32_t status, std::span<const uint8_t> data, uint32_t actual) override {
        lastReply.assign(data.begin(), data.end());
        if (status != 0) {
            heard += " stall";
        } else if (data.size() == 13 && data[0] == 'U' && data[3] == 'S' && data[4] == 0x77) {
            heard += Format(" status%d/%u", data[12], data[8] | data[9] << 8 | data[10] << 16);
        } else {
            heard += Format(" %u", actual);
        }
    }

    void Out(const Bytes& bytes) {
        device.Submit(
            {.sequence = ++sequence, .endpoint = 2, .length = static_cast<uint32_t>(bytes.size())},
            bytes);
    }
    void In(uint32_t room) {
        device.Submit({.sequence = ++sequence, .endpoint = 1, .in = true, .length = room}, {});
    }
    static Bytes Wrapper(uint32_t wanted, bool in, Bytes cdb) {
        Bytes bytes = {'U', 'S', 'B', 'C', 0x77, 1, 2, 3};
        for (int i = 0; i < 4; ++i) {
            bytes.push_back(static_cast<uint8_t>(wanted >> (8 * i)));
        }
        bytes.insert(bytes.end(),
                     {static_cast<uint8_t>(in ? 0x80 : 0), 0, static_cast<uint8_t>(cdb.size())});
        bytes.insert(bytes.end(), cdb.begin(), cdb.end());
        bytes.resize(31);
        return bytes;
    }
    void Finish(ScsiResult::Status status, size_t answer, uint32_t taken = 0) {
        device.Finish({job.number, status, Bytes(answer, 7), taken});
    }
    // A request on the control endpoint; the answer is in lastReply.
    void Control(std::array<uint8_t, 8> setup) {
        const bool in = (setup[0] & 0x80) != 0;
        const uint32_t length = setup[6] | setup[7] << 8;
        device.Submit({.sequence = ++sequence, .in = in, .length = length, .setup = setup}, {});
    }
    std::string Heard() { return std::exchange(heard, {}); }

    uint32_t sequence = 0;
    ScsiJob job;
    std::string heard;
    Bytes lastReply;
    CUsbDevice device{*this, *this, "4C5356440001"};
};

constexpr std::array<uint8_t, 8> kClearInHalt = {0x02, 1, 0, 0, 0x81, 0, 0, 0};
constexpr std::array<uint8_t, 8> kClearOutHalt = {0x02, 1, 0, 0, 0x02, 0, 0, 0};
constexpr std::array<uint8_t, 8> kMassStorageReset = {0x21, 0xFF, 0, 0, 0, 0, 0, 0};

TEST(UsbDevice, MovesDataAsTheClassSays) {
    constexpr auto kPassed = ScsiResult::Passed;
    constexpr auto kFailed = ScsiResult::Failed;
    struct Case {
        const char* name; // with the case's number in the class's document
        uint32_t wanted;
        bool in;
        ScsiResult::Status status;
        uint32_t moved;                  // by the unit
        std::vector<uint32_t> transfers; // of data
        const char* heard;               // with the status behind it, asked for until it comes
    };
    const std::vector<Case> cases = {
        {"1, none", 0, true, kPassed, 0, {}, " status0/0"},
        {"2, the unit wants to send", 0, true, kPassed, 36, {}, " status2/0"},
        {"4, a refusal", 512, true, kFailed, 0, {512}, " stall stall status1/512"},
        {"5, less than wanted", 96, true, kPassed, 36, {96}, " 36 stall status0/60"},
        {"5, over several transfers",
         3000,
         true,
         kPassed,
         1200,
         {1024, 1024, 952},
         " 1024 176 stall stall status0/1800"},
        {"6, all", 4096, true, kPassed, 4096, {2048, 2048}, " 2048 2048 status0/0"},
        {"7, more than wanted", 36, true, kPassed, 96, {36}, " 36 status2/0"},
        {"9, less taken", 2048, false, kFailed, 0, {2048}, " 2048 status1/2048"},
        {"12, all taken", 3072, false, kPassed, 3072, {1024, 2048}, " 1024 2048 status0/0"},
        {"13, out of step", 512, false, ScsiResult::PhaseError, 0, {512}, " 512 status2/512"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        Bench bench;
        bench.Out(Bench::Wrapper(row.wanted, row.in, {0x12, 0, 0, 0, 96, 0}));
        EXPECT_EQ(bench.Heard(), " 31");
        // Transfers that come before the unit is done wait for it.
        for (const uint32_t bytes : row.transfers) {
            row.in ? bench.In(bytes) : bench.Out(Bytes(bytes, 9));
        }
        EXPECT_EQ(bench.job.cdb.at(0), 0x12);
        EXPECT_EQ(bench.job.out, !row.in);
        EXPECT_GE(bench.job.data.size(), row.wanted);
        bench.Finish(row.status, row.in ? row.moved : 0, row.moved);
        bench.In(13);
        if (bench.heard.ends_with("stall")) {
            bench.Control(kClearInHalt);
            EXPECT_TRUE(bench.heard.ends_with(" 0"));
            bench.heard.resize(bench.heard.size() - 2);
            bench.In(13);
        }
        EXPECT_EQ(bench.Heard(), row.heard);
        // The next command finds the pipes in order.
        bench.Out(Bench::Wrapper(0, true, {0, 0, 0, 0, 0, 0}));
        bench.Finish(kPassed, 0);
        bench.In(13);
        EXPECT_EQ(bench.Heard(), " 31 status0/0");
    }
}

TEST(UsbDevice, NothingButAResetHelpsAfterABrokenWrapper) {
    Bytes wrongSignature = Bench::Wrapper(0, true, {0});
    wrongSignature[3] = 'S';
    Bytes otherLun = Bench::Wrapper(0, true, {0});
    otherLun[13] = 1;
    for (const Bytes& broken : {wrongSignature, otherLun, Bench::Wrapper(0, true, {}), Bytes(30),
                                Bytes(512), Bench::Wrapper(0xFFFFFFFF, true, {0x28})}) {
        Bench bench;
        bench.Out(broken);
        bench.Control(kClearOutHalt);
        bench.Out(Bench::Wrapper(0, true, {0}));
        bench.In(13);
        EXPECT_EQ(bench.Heard(), " stall 0 stall stall");
        bench.Control(kMassStorageReset);
        bench.Out(Bench::Wrapper(0, true, {0}));
        EXPECT_EQ(bench.Heard(), " 0 31");
    }
}

TEST(UsbDevice, ForgetsACommandThatTheHostGaveUp) {
    Bench bench;
    bench.Out(Bench::Wrapper(512, true, {0x28}));
    const uint32_t old = bench.job.number;
    bench.In(512);
    EXPECT_TRUE(bench.device.TakeBack(bench.sequence));
    EXPECT_FALSE(bench.device.TakeBack(bench.sequence));
    bench.Control(kMassStorageReset);
    bench.Out(Bench::Wrapper(8, true, {0x25}));
    bench.In(8);
    bench.device.Finish({old, ScsiResult::Passed, Bytes(512, 1), 0});
    EXPECT_EQ(bench.Heard(), " 31 0 31") << "the answer of another command";
    bench.Finish(ScsiResult::Passed, 8);
    EXPECT_EQ(bench.Heard(), " 8");
}

TEST(UsbDevice, TellsWhatItIs) {
    Bench bench;
    struct Case {
        std::array<uint8_t, 8> setup;
        Bytes begin; // of the answer; empty for a stall
        size_t bytes;
    };
    for (const Case& row : std::vector<Case>{
             {{0x80, 6, 0, 1, 0, 0, 64, 0}, {18, 1, 0, 2}, 18},
             {{0x80, 6, 0, 1, 0, 0, 8, 0}, {18, 1, 0, 2}, 8},
             {{0x80, 6, 0, 2, 0, 0, 255, 0}, {9, 2, 32, 0, 1, 1, 0, 0xC0}, 32},
             {{0x80, 6, 3, 3, 9, 4, 255, 0}, {26, 3, '4', 0, 'C', 0}, 26},
             {{0x80, 6, 9, 3, 9, 4, 255, 0}, {}, 0},
             {{0xA1, 0xFE, 0, 0, 0, 0, 1, 0}, {0}, 1},
             {{0x80, 8, 0, 0, 0, 0, 1, 0}, {0}, 1},
             {{0x82, 0, 0, 0, 0x85, 0, 2, 0}, {}, 0},
         }) {
        bench.Control(row.setup);
        EXPECT_EQ(bench.Heard(), row.begin.empty() ? " stall" : Format(" %zu", row.bytes));
        ASSERT_EQ(bench.lastReply.size(), row.bytes);
        EXPECT_TRUE(std::equal(row.begin.begin(), row.begin.end(), bench.lastReply.begin()));
    }
}

TEST(UsbipServer, TakesMessagesInPiecesAndLetsGoOfNonsense) {
    Bench bench;
    std::array<int, 2> ends = {};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    CUsbipServer server(ends[0], bench, "4C5356440001");
    const auto send = [&](const Bytes& bytes) {
        EXPECT_EQ(::write(ends[1], bytes.data(), bytes.size()), ssize_t(bytes.size()));
        return server.Receive();
    };
    const auto message = [](uint8_t command, uint8_t sequence, uint8_t in, uint8_t endpoint,
                            uint8_t at20, uint8_t length) {
        Bytes bytes(48);
        bytes[3] = command, bytes[7] = sequence, bytes[15] = in, bytes[19] = endpoint;
        bytes[23] = at20, bytes[27] = length;
        return bytes;
    };
    // A wrapper in two pieces, a transfer to the host that waits, and its end by an unlink.
    Bytes stream = message(1, 5, 0, 2, 0, 31);
    const Bytes wrapper = Bench::Wrapper(512, true, {0x28});
    stream.insert(stream.end(), wrapper.begin(), wrapper.end());
    EXPECT_TRUE(send(Bytes(stream.begin(), stream.begin() + 60)));
    EXPECT_TRUE(bench.job.cdb.empty());
    EXPECT_TRUE(send(Bytes(stream.begin() + 60, stream.end())));
    EXPECT_EQ(bench.job.cdb, Bytes{0x28});
    EXPECT_TRUE(send(message(1, 6, 1, 1, 0, 200)));
    EXPECT_TRUE(send(message(2, 7, 0, 0, 6, 0)));
    Bytes got(96);
    ASSERT_EQ(::read(ends[1], got.data(), got.size()), 96);
    EXPECT_EQ(Bytes({got[3], got[7], got[23], got[27]}), Bytes({3, 5, 0, 31}));
    EXPECT_EQ(Bytes({got[48 + 3], got[48 + 7], got[48 + 20], got[48 + 23]}),
              Bytes({4, 7, 0xFF, 0x98}))
        << "-ECONNRESET";
    EXPECT_FALSE(send(message(9, 8, 0, 0, 0, 0)));
    for (const int end : ends) {
        ::close(end);
    }
}

TEST(VhciPort, FindsFreePortsAndSaysWhatIsMissing) {
    const std::string table = "hub port sta spd dev      sockfd local_busid\n"
                              "hs  0000 006 003 00010002 000003 1-1\n"
                              "hs  0001 004 000 00000000 000000 0-0\n"
                              "ss  0008 004 000 00000000 000000 0-0\n"
                              "hs  0010 004 000 00000000 000000 0-0\n";
    EXPECT_EQ(FreeVhciPorts(table), (std::vector<int>{1, 10}));
    EXPECT_EQ(BusIdAtVhciPort(table, 0), "1-1");
    EXPECT_EQ(BusIdAtVhciPort(table, 1), "");
    CVhciPort port("/nonexistent");
    EXPECT_NE(port.Prepare().find("modprobe vhci-hcd"), std::string::npos);
}

TEST(OwnDevice, IsFoundByNamesAloneWhateverTheKernelHolds) {
    namespace fs = std::filesystem;
    TempFolder sysfs;
    const fs::path top = sysfs.Path();
    for (const char* unit : {"usb1/1-1/1-1:1.0/sr0", "usb1/1-10/1-10:1.0/sr1"}) {
        const fs::path node = top / "devices" / unit;
        fs::create_directories(node);
        fs::create_directories(top / "block" / node.filename());
        fs::create_directory_symlink(node, top / "block" / node.filename() / "device");
        // A hub's attributes wait while a device is being attached to it.
        ::mkfifo((node.parent_path().parent_path() / "serial").c_str(), 0600);
    }
    ::mkfifo((top / "devices/usb1/serial").c_str(), 0600);
    EXPECT_EQ(OpticalDriveAt("1-1", top), "/dev/sr0");
    EXPECT_EQ(OpticalDriveAt("1-10", top), "/dev/sr1");
    EXPECT_EQ(OpticalDriveAt("1-2", top) + OpticalDriveAt("", top), "");
}

} // namespace

} // namespace larkspin
