// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The SG_IO port against a kernel that the test plays.
#include "drive/linux/sg_port.h"
#include "platform/text.h"

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <map>
#include <scsi/sg.h>
#include <set>
#include <span>
#include <vector>

namespace larkspin {
namespace {

using testing::ElementsAre;

class FakeKernel final : public ISystemCalls {
  public:
    void AddDrive(int number, const std::string& address) {
        const std::string folder = "/sys/block/sr" + std::to_string(number);
        texts[folder + "/device/type"] = "5\n";
        texts[folder + "/dev"] = "11:" + std::to_string(number) + "\n";
        links[folder + "/device"] = "../../devices/pci0000:00/target/" + address;
    }

    int Open(const std::string& path, int flags) override {
        opened.emplace_back(path, flags);
        if (const auto refused = openErrors.find(flags & (O_ACCMODE | O_EXCL));
            refused != openErrors.end()) {
            return -refused->second;
        }
        live.insert(nextDescriptor);
        return nextDescriptor++;
    }
    void Close(int descriptor) override { live.erase(descriptor); }
    int Ioctl(int descriptor, unsigned long request, void* argument) override {
        EXPECT_TRUE(live.contains(descriptor));
        EXPECT_EQ(request, static_cast<unsigned long>(SG_IO));
        return onSgIo(*static_cast<sg_io_hdr*>(argument));
    }
    int LockFile(int descriptor) override {
        EXPECT_TRUE(live.contains(descriptor));
        return -lockError;
    }
    std::string ReadText(const std::string& path) override { return texts[path]; }
    std::string ReadLink(const std::string& path) override { return links[path]; }
    std::vector<std::string> List(const std::string& folder) override {
        std::set<std::string> names;
        for (const auto* entries : {&texts, &links}) {
            for (const auto& [path, content] : *entries) {
                if (path.starts_with(folder + "/")) {
                    names.insert(path.substr(folder.size() + 1, path.find('/', folder.size() + 1) -
                                                                    folder.size() - 1));
                }
            }
        }
        return {names.begin(), names.end()};
    }
    int Unmount(const std::string& mountPoint) override {
        unmounted.push_back(mountPoint);
        return -unmountError;
    }
    void Sleep(std::chrono::milliseconds time) override {
        slept += time;
        if (onSleep) {
            onSleep();
        }
    }

    std::map<std::string, std::string> texts;
    std::map<std::string, std::string> links;
    std::map<int, int> openErrors; // by access mode and O_EXCL
    std::vector<std::pair<std::string, int>> opened;
    std::set<int> live;
    std::vector<std::string> unmounted; // by the system call
    int unmountError = EPERM;
    int lockError = 0;
    std::chrono::milliseconds slept{};
    std::function<void()> onSleep;
    int nextDescriptor = 10;
    std::function<int(sg_io_hdr&)> onSgIo = [](sg_io_hdr&) { return 0; };
};

// UDisks2 on its bus, or what answers in its place.
class FakeBus final : public ISystemBus {
  public:
    BusReply Call(const BusCall& call) override {
        calls.push_back(call.path + ' ' + call.interface + '.' + call.method);
        EXPECT_LE(call.limit, std::chrono::seconds(30));
        return onCall ? onCall() : BusReply();
    }

    std::vector<std::string> calls;
    std::function<BusReply()> onCall;
};

// The port with one drive, sr0.
struct SgPortTest : testing::Test {
    SgPortTest() { kernel.AddDrive(0, "1:0:0:0"); }

    FakeKernel kernel;
    FakeBus bus;
    CSgPort port{bus, kernel};
};

TEST_F(SgPortTest, FindsTheDrivesOfSysfsByLetter) {
    kernel.AddDrive(23, "4:0:0:0");
    kernel.AddDrive(24, "5:0:0:0"); // no letter is left for it
    kernel.AddDrive(10, "9:0:0:0");
    kernel.texts["/sys/block/sr10/device/type"] = "4\n";
    kernel.texts["/sys/block/sr1/device/type"] = "0\n";
    for (int letter = -1; letter < 40; ++letter) {
        EXPECT_EQ(port.IsOpticalDrive(letter), letter == 2 || letter == 12 || letter == 25)
            << letter;
    }
    EXPECT_EQ(port.DisplayName(12), u"sr10");
    EXPECT_THAT(port.DrivesWithoutLetter(),
                ElementsAre(u"/dev/sr24 cannot be used: Larkspin knows the drives sr0 to sr23 "
                            u"only."));
    const std::string before = port.Inventory();
    kernel.texts["/sys/block/sr0/device/model"] = "ANOTHER\n";
    EXPECT_NE(port.Inventory(), before);
    EXPECT_EQ(port.DisplayName(2), u"sr0");
    EXPECT_EQ(port.DisplayName(25), u"sr23");
    EXPECT_EQ(port.DisplayName(3), u"");
}

TEST_F(SgPortTest, AddressesTellDrivesApartOrAreNotGiven) {
    struct {
        const char* name;
        std::vector<std::string> addresses; // of sr0, sr1
        PortError error = PortError::NotSupported;
    } const cases[] = {
        {"usual", {"3:0:1:0", "12:0:0:7"}, PortError::None},
        {"host above a byte", {"256:0:0:0"}},
        {"target beyond the walk", {"3:0:8:0"}},
        {"LUN beyond the walk", {"3:0:0:8"}},
        {"only the channel differs", {"3:0:0:0", "3:1:0:0"}},
        {"another drive has none", {"3:0:0:0", "256:0:0:0"}},
        {"no address at all", {"virtual"}},
        {"more than an address", {"3:0:0:0:9"}},
    };
    PortAddress address;
    for (const auto& c : cases) {
        FakeKernel own;
        for (size_t number = 0; number < c.addresses.size(); ++number) {
            own.AddDrive(static_cast<int>(number), c.addresses[number]);
        }
        CSgPort ownPort(bus, own);
        EXPECT_EQ(ownPort.Open(2, true)->Address(&address), c.error) << c.name;
        if (c.error == PortError::None) {
            EXPECT_EQ(std::tuple(address.port, address.target, address.lun), std::tuple(3, 1, 0));
            EXPECT_EQ(ownPort.AddressOf(3, &address), PortError::None);
            EXPECT_EQ(std::tuple(address.port, address.target, address.lun), std::tuple(12, 0, 7));
        }
    }
    EXPECT_EQ(port.AddressOf(3, &address), PortError::InvalidHandle);
}

TEST_F(SgPortTest, OpensWithoutWaitingForADiscAndClosesWithTheDevice) {
    kernel.openErrors[O_RDWR] = EACCES;
    EXPECT_EQ(port.Open(2, true), nullptr);
    EXPECT_NE(port.Open(2, false), nullptr);
    EXPECT_TRUE(kernel.live.empty());
    using Opened = std::pair<std::string, int>;
    EXPECT_THAT(kernel.opened, ElementsAre(Opened("/dev/sr0", O_RDWR | O_NONBLOCK | O_CLOEXEC),
                                           Opened("/dev/sr0", O_RDONLY | O_NONBLOCK | O_CLOEXEC)));
}

TEST_F(SgPortTest, RequestBecomesOneSgIo) {
    const std::tuple<PortDirection, uint32_t, int> cases[] = {
        {PortDirection::In, 64, SG_DXFER_FROM_DEV},
        {PortDirection::Out, 64, SG_DXFER_TO_DEV},
        {PortDirection::Out, 0, SG_DXFER_NONE},
        {PortDirection::None, 0, SG_DXFER_NONE}};
    for (const auto& [direction, length, sgDirection] : cases) {
        std::array<uint8_t, 64> data = {};
        const std::array<uint8_t, 12> cdb = {0xA1, 0x11, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
        std::vector<sg_io_hdr> headers;
        kernel.onSgIo = [&headers, &cdb](sg_io_hdr& header) {
            headers.push_back(header);
            EXPECT_TRUE(std::ranges::equal(cdb, std::span(header.cmdp, header.cmd_len)));
            return 0;
        };
        std::array<uint8_t, 12> withLun = cdb;
        withLun[1] |= 3 << 5;
        const PortRequest request = {withLun, direction, data.data(), length, 9600};
        EXPECT_EQ(port.Open(2, true)->Execute(request).error, PortError::None);
        ASSERT_EQ(headers.size(), 1u);
        EXPECT_EQ(headers[0].interface_id, 'S');
        EXPECT_EQ(headers[0].dxfer_direction, sgDirection);
        EXPECT_EQ(headers[0].dxfer_len, length);
        EXPECT_EQ(headers[0].dxferp, length > 0 ? data.data() : nullptr);
        EXPECT_EQ(headers[0].timeout, 9'600'000u);
        EXPECT_EQ(headers[0].mx_sb_len, 32);
    }
}

TEST_F(SgPortTest, OutcomesOfTheKernelBecomeThoseOfThePort) {
    using Sense = std::vector<uint8_t>;
    const Sense fixed = {0x70, 0, 5, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x24, 1, 0, 0, 0, 0};
    struct {
        const char* name;
        int result;
        unsigned short host, driver;
        uint8_t status;
        Sense sense;
        PortError error = PortError::None;
        uint32_t code = 0; // response code, key, ASC and ASCQ in the completion
    } const cases[] = {
        {"good", 0, 0, 0, 0, {}},
        {"check condition", 0, 0, 8, 2, fixed, PortError::None, 0x70052401},
        {"recovered at good status", 0, 0, 0, 0, fixed, PortError::None, 0x70052401},
        {"descriptors", 0, 0, 8, 2, {0x72, 2, 4, 8, 0, 0, 0, 0}, PortError::None, 0x70020408},
        {"deferred", 0, 0, 8, 2, {0x73, 3, 0x0C, 0, 0, 0, 0, 0}, PortError::None, 0x71030C00},
        {"check condition, no sense", 0, 0, 0, 2, {}, PortError::Failed},
        {"busy", 0, 0, 0, 8, {}, PortError::Failed},
        {"time-out of the host", 0, 3, 0, 0, {}, PortError::TimedOut},
        {"time-out of the driver", 0, 0, 6, 0, {}, PortError::TimedOut},
        {"no connection", 0, 1, 0, 0, {}, PortError::InvalidHandle},
        {"no such target", 0, 4, 0, 0, {}, PortError::InvalidHandle},
        {"other trouble of the host", 0, 7, 0, 0, {}, PortError::Failed},
        {"ENODEV", -ENODEV, 0, 0, 0, {}, PortError::InvalidHandle},
        {"ENXIO", -ENXIO, 0, 0, 0, {}, PortError::InvalidHandle},
        {"ETIMEDOUT", -ETIMEDOUT, 0, 0, 0, {}, PortError::TimedOut},
        {"EPERM", -EPERM, 0, 0, 0, {}, PortError::AccessDenied},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        kernel.onSgIo = [&](sg_io_hdr& header) {
            header.host_status = c.host;
            header.driver_status = c.driver;
            header.status = c.status;
            header.sb_len_wr = static_cast<unsigned char>(c.sense.size());
            std::copy(c.sense.begin(), c.sense.end(), header.sbp);
            return c.result;
        };
        const std::array<uint8_t, 6> cdb = {};
        const PortCompletion completion =
            port.Open(2, true)->Execute({cdb, PortDirection::None, nullptr, 0, 5});
        EXPECT_EQ(completion.error, c.error);
        const std::array<uint8_t, 32>& sense = completion.sense;
        EXPECT_EQ(uint32_t{sense[0]} << 24 | (sense[2] & 0xFu) << 16 | sense[12] << 8 | sense[13],
                  c.code);
    }
}

TEST_F(SgPortTest, BytesMovedAreWhatTheKernelDidNotLeaveOver) {
    const std::tuple<int, uint32_t> cases[] = {{0, 64}, {60, 4}, {64, 0}, {65, 0}, {-1, 64}};
    for (const auto& [left, moved] : cases) {
        kernel.onSgIo = [left = left](sg_io_hdr& header) {
            header.resid = left;
            return 0;
        };
        const std::array<uint8_t, 6> cdb = {};
        std::array<uint8_t, 64> data = {};
        EXPECT_EQ(port.Open(2, true)
                      ->Execute({cdb, PortDirection::In, data.data(), data.size(), 5})
                      .moved,
                  moved);
    }
}

constexpr const char* kOthers = "22 1 8:1 / / rw - ext4 /dev/sda1 rw\n";
constexpr const char* kMountTable = "/proc/self/mountinfo";

TEST_F(SgPortTest, LockUnmountsTheDiscAndHoldsTheDeviceForWriting) {
    kernel.texts[kMountTable] = std::string(kOthers) +
                                "90 22 11:0 / /media/disc ro shared:5 - iso9660 /dev/cdrom ro\n" +
                                "91 22 11:01 / /m ro - iso9660 x ro\n";
    bus.onCall = [this] {
        kernel.texts[kMountTable] = kOthers;
        return BusReply();
    };
    // A desktop that looks at the disc has it for a second, and then mounts it once more.
    kernel.openErrors[O_RDWR | O_EXCL] = EBUSY;
    kernel.lockError = EWOULDBLOCK;
    const std::string mounted = kernel.texts[kMountTable];
    kernel.onSleep = [&] {
        if (kernel.slept < std::chrono::seconds(1)) {
            return;
        }
        kernel.openErrors.clear();
        kernel.texts[kMountTable] = mounted;
        if (kernel.slept >= std::chrono::seconds(10)) { // udev waits for a slow disc
            kernel.lockError = 0;
        }
    };
    EXPECT_FALSE(port.LockAndDismount(2).Refused());
    EXPECT_THAT(bus.calls, testing::Each("/org/freedesktop/UDisks2/block_devices/sr0 "
                                         "org.freedesktop.UDisks2.Filesystem.Unmount"));
    EXPECT_EQ(bus.calls.size(), 2u);
    EXPECT_EQ(kernel.opened.back().second, O_RDWR | O_EXCL | O_NONBLOCK | O_CLOEXEC);
    const size_t opens = kernel.opened.size();
    EXPECT_FALSE(port.LockAndDismount(2).Refused());
    EXPECT_EQ(kernel.opened.size(), opens) << "held already";
    EXPECT_EQ(kernel.live.size(), 1u);
    port.Unlock(2);
    EXPECT_TRUE(kernel.live.empty());
}

TEST_F(SgPortTest, LockThatIsRefusedNamesTheReason) {
    const BusReply busy = {"org.freedesktop.UDisks2.Error.DeviceBusy", "target is busy"};
    const BusReply denied = {"org.freedesktop.UDisks2.Error.NotAuthorized", "Not authorized"};
    const BusReply noBus = {"org.freedesktop.DBus.Error.NoServer", "no bus"};
    struct {
        const char* name;
        std::string point; // where the disc is mounted, as the table has it
        std::optional<BusReply> reply;
        int unmountError, openError;
        std::string file; // what the program "player" has open
        std::string reason;
    } const cases[] = {
        {"all is well", "", {}, EPERM, 0, "/dev/sr0", ""},
        {"root needs no UDisks", "/mnt", noBus, 0, 0, "", ""},
        {"open file", "/media/a\\040b", busy, EPERM, 0, "/media/a b/film",
         "mounted at \"/media/a b\" and cannot be unmounted: it is in use by player (77)."},
        {"unseen file", "/m", busy, EPERM, 0, "/media", "unmounted: another program uses it."},
        {"no right", "/m", denied, EPERM, 0, "", "UDisks says \"Not authorized\"."},
        {"no bus", "/m", noBus, EPERM, 0, "", "does not answer (no bus). You can unmount it yours"},
        {"no bus, open file", "/m", noBus, EBUSY, 0, "", "another program uses it."},
        {"mounted again and again", "/m", BusReply(), EPERM, 0, "", "it comes back every time."},
        {"held", "", {}, 0, EBUSY, "/dev/sr0", "/dev/sr0 is in use by player (77)."},
        {"udev is at it", "", {}, 0, EWOULDBLOCK, "", "/dev/sr0 is in use by another program."},
        {"held by whom", "", {}, 0, EBUSY, "", "/dev/sr0 is in use by another program."},
        {"no permission",
         "",
         {},
         0,
         EACCES,
         "",
         "You have no permission to read and write /dev/sr0"},
        {"unplugged", "", {}, 0, ENXIO, "", "/dev/sr0 is not there any more."},
        {"reader only", "", {}, 0, EROFS, "", "/dev/sr0 can only be read."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FakeKernel own;
        own.AddDrive(0, "1:0:0:0");
        own.texts[kMountTable] = kOthers;
        if (!c.point.empty()) {
            own.texts[kMountTable] += "90 22 11:0 / " + c.point + " ro - udf /dev/sr0 ro\n";
        }
        own.texts["/proc/77/comm"] = "player\n";
        own.links["/proc/77/fd/3"] = c.file;
        own.links["/proc/self"] = "78";
        own.links["/proc/78/fd/3"] = "/dev/sr0";
        own.unmountError = c.unmountError;
        if (c.openError != 0) {
            (c.openError == EWOULDBLOCK ? own.lockError : own.openErrors[O_RDWR | O_EXCL]) =
                c.openError;
        }
        FakeBus ownBus;
        ownBus.onCall = [&] {
            if (c.unmountError == 0) {
                own.texts[kMountTable] = kOthers;
            }
            return *c.reply;
        };
        CSgPort ownPort(ownBus, own);
        EXPECT_EQ(ownPort.IsInUse(2), c.file == "/dev/sr0");
        const LockResult result = ownPort.LockAndDismount(2);
        EXPECT_EQ(result.Refused(), !c.reason.empty());
        EXPECT_THAT(ToNative(result.reason), testing::HasSubstr(c.reason));
        EXPECT_EQ(own.live.size(), c.reason.empty() ? 1 : 0);
        EXPECT_LE(own.slept, std::chrono::seconds(own.lockError != 0 ? 10 : 3));
    }
    kernel.openErrors[O_RDONLY] = EACCES;
    EXPECT_THAT(ToNative(port.WhyClosed(2)), testing::HasSubstr("adduser YOU cdrom"));
}

TEST(SystemCallsTest, FailuresAreNegativeErrnosAndEmptyTexts) {
    ISystemCalls& calls = LinuxSystemCalls();
    EXPECT_EQ(calls.Open("/nowhere/sr0", O_RDONLY), -ENOENT);
    EXPECT_EQ(calls.ReadText("/nowhere/type"), "");
    EXPECT_EQ(calls.ReadLink("/nowhere/device"), "");
    const int descriptor = calls.Open("/dev/null", O_RDWR | O_CLOEXEC);
    ASSERT_GE(descriptor, 0);
    sg_io_hdr header = {};
    EXPECT_EQ(calls.Ioctl(descriptor, SG_IO, &header), -ENOTTY);
    calls.Close(descriptor);
    EXPECT_LT(calls.Unmount("/nowhere/sr0"), 0);
    EXPECT_TRUE(calls.List("/nowhere").empty());
    EXPECT_THAT(calls.List("/proc"), testing::Contains(calls.ReadLink("/proc/self")));
}

} // namespace
} // namespace larkspin
