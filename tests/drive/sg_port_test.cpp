// The SG_IO port against a kernel that the test plays.
#include "drive/linux/sg_port.h"

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <map>
#include <scsi/sg.h>
#include <set>
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
            refused != openErrors.end())
            return -refused->second;
        live.insert(nextDescriptor);
        return nextDescriptor++;
    }
    void Close(int descriptor) override { live.erase(descriptor); }
    int Ioctl(int descriptor, unsigned long request, void* argument) override {
        EXPECT_TRUE(live.contains(descriptor));
        EXPECT_EQ(request, static_cast<unsigned long>(SG_IO));
        return onSgIo(*static_cast<sg_io_hdr*>(argument));
    }
    std::string ReadText(const std::string& path) override {
        return texts.contains(path) ? texts[path] : std::string();
    }
    std::string ReadLink(const std::string& path) override {
        return links.contains(path) ? links[path] : std::string();
    }
    bool Unmount(const std::string& devicePath) override {
        unmounted.push_back(devicePath);
        if (unmountWorks)
            texts["/proc/self/mountinfo"] = "22 1 8:1 / / rw - ext4 /dev/sda1 rw\n";
        return unmountWorks;
    }

    std::map<std::string, std::string> texts;
    std::map<std::string, std::string> links;
    std::map<int, int> openErrors; // by access mode and O_EXCL
    std::vector<std::pair<std::string, int>> opened;
    std::set<int> live;
    std::vector<std::string> unmounted;
    bool unmountWorks = true;
    int nextDescriptor = 10;
    std::function<int(sg_io_hdr&)> onSgIo = [](sg_io_hdr&) { return 0; };
};

TEST(SgPortTest, FindsTheDrivesOfSysfsByLetter) {
    FakeKernel kernel;
    kernel.AddDrive(0, "3:0:0:0");
    kernel.AddDrive(23, "4:0:0:0");
    kernel.AddDrive(24, "5:0:0:0"); // no letter is left for it
    kernel.texts["/sys/block/sr1/device/type"] = "0\n";
    CSgPort port(kernel);
    std::vector<int> found;
    for (int letter = -1; letter < 40; ++letter) {
        if (port.IsOpticalDrive(letter))
            found.push_back(letter);
    }
    EXPECT_THAT(found, ElementsAre(2, 25));
    EXPECT_EQ(port.DisplayName(2), u"sr0");
    EXPECT_EQ(port.DisplayName(25), u"sr23");
    EXPECT_EQ(port.DisplayName(3), u"");
}

TEST(SgPortTest, AddressesTellDrivesApartOrAreNotGiven) {
    struct Case {
        const char* name;
        std::vector<std::string> addresses; // of sr0, sr1, ...
        PortError error;
    };
    const Case cases[] = {
        {"usual", {"3:0:1:0", "12:0:0:7"}, PortError::None},
        {"host above a byte", {"256:0:0:0"}, PortError::NotSupported},
        {"target beyond the walk", {"3:0:8:0"}, PortError::NotSupported},
        {"LUN beyond the walk", {"3:0:0:8"}, PortError::NotSupported},
        {"only the channel differs", {"3:0:0:0", "3:1:0:0"}, PortError::NotSupported},
        {"another drive has none", {"3:0:0:0", "256:0:0:0"}, PortError::NotSupported},
        {"no address at all", {"virtual"}, PortError::NotSupported},
        {"more than an address", {"3:0:0:0:9"}, PortError::NotSupported},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FakeKernel kernel;
        for (size_t number = 0; number < c.addresses.size(); ++number)
            kernel.AddDrive(static_cast<int>(number), c.addresses[number]);
        CSgPort port(kernel);
        PortAddress address;
        EXPECT_EQ(port.Open(2, true)->Address(&address), c.error);
        if (c.error == PortError::None) {
            EXPECT_EQ(address.port, 3);
            EXPECT_EQ(address.target, 1);
            EXPECT_EQ(port.AddressOf(3, &address), PortError::None);
            EXPECT_EQ(address.port, 12);
            EXPECT_EQ(address.lun, 7);
        }
    }
    FakeKernel empty;
    CSgPort port(empty);
    PortAddress address;
    EXPECT_EQ(port.AddressOf(2, &address), PortError::InvalidHandle);
}

TEST(SgPortTest, OpensWithoutWaitingForADiscAndClosesWithTheDevice) {
    FakeKernel kernel;
    kernel.AddDrive(1, "1:0:0:0");
    CSgPort port(kernel);
    kernel.openErrors[O_RDWR] = EACCES;
    EXPECT_EQ(port.Open(3, true), nullptr);
    {
        const auto device = port.Open(3, false);
        EXPECT_NE(device, nullptr);
        EXPECT_EQ(kernel.live.size(), 1u);
    }
    EXPECT_TRUE(kernel.live.empty());
    EXPECT_THAT(
        kernel.opened,
        ElementsAre(std::pair<std::string, int>("/dev/sr1", O_RDWR | O_NONBLOCK | O_CLOEXEC),
                    std::pair<std::string, int>("/dev/sr1", O_RDONLY | O_NONBLOCK | O_CLOEXEC)));
}

TEST(SgPortTest, RequestBecomesOneSgIo) {
    struct Case {
        PortDirection direction;
        uint32_t length;
        int sgDirection;
    };
    for (const Case& c :
         {Case{PortDirection::In, 64, SG_DXFER_FROM_DEV},
          Case{PortDirection::Out, 64, SG_DXFER_TO_DEV}, Case{PortDirection::Out, 0, SG_DXFER_NONE},
          Case{PortDirection::None, 0, SG_DXFER_NONE}}) {
        FakeKernel kernel;
        kernel.AddDrive(0, "1:0:0:0");
        CSgPort port(kernel);
        const auto device = port.Open(2, true);
        std::array<uint8_t, 64> data = {};
        const std::array<uint8_t, 12> cdb = {0xA1, 0x11, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
        int calls = 0;
        kernel.onSgIo = [&](sg_io_hdr& header) {
            ++calls;
            EXPECT_EQ(header.interface_id, 'S');
            EXPECT_EQ(header.dxfer_direction, c.sgDirection);
            EXPECT_EQ(header.dxfer_len, c.length);
            EXPECT_EQ(header.dxferp, c.length > 0 ? data.data() : nullptr);
            EXPECT_EQ(header.timeout, 9'600'000u);
            EXPECT_EQ(header.mx_sb_len, 32);
            EXPECT_TRUE(
                std::equal(cdb.begin(), cdb.end(), header.cmdp, header.cmdp + header.cmd_len));
            return 0;
        };
        const PortCompletion completion =
            device->Execute({cdb, c.direction, data.data(), c.length, 9600});
        EXPECT_EQ(completion.error, PortError::None);
        EXPECT_EQ(calls, 1);
    }
}

TEST(SgPortTest, OutcomesOfTheKernelBecomeThoseOfThePort) {
    struct Case {
        const char* name;
        int result;
        unsigned short host;
        unsigned short driver;
        uint8_t status;
        std::vector<uint8_t> sense;
        PortError error;
        uint32_t code; // key, ASC and ASCQ in the completion
    };
    const std::vector<uint8_t> fixed = {0x70, 0, 5, 0,    0, 0, 0, 10, 0,
                                        0,    0, 0, 0x24, 1, 0, 0, 0,  0};
    const std::vector<uint8_t> descriptors = {0x72, 2, 0x04, 0x08, 0, 0, 0, 0};
    const Case cases[] = {
        {"good", 0, 0, 0, 0, {}, PortError::None, 0},
        {"check condition", 0, 0, 8, 2, fixed, PortError::None, 0x52401},
        {"recovered at good status", 0, 0, 0, 0, fixed, PortError::None, 0x52401},
        {"descriptor sense", 0, 0, 8, 2, descriptors, PortError::None, 0x20408},
        {"check condition, no sense", 0, 0, 0, 2, {}, PortError::Failed, 0},
        {"busy", 0, 0, 0, 8, {}, PortError::Failed, 0},
        {"time-out of the host", 0, 3, 0, 0, {}, PortError::TimedOut, 0},
        {"time-out of the driver", 0, 0, 6, 0, {}, PortError::TimedOut, 0},
        {"no connection", 0, 1, 0, 0, {}, PortError::InvalidHandle, 0},
        {"other trouble of the host", 0, 7, 0, 0, {}, PortError::Failed, 0},
        {"ENODEV", -ENODEV, 0, 0, 0, {}, PortError::InvalidHandle, 0},
        {"ENXIO", -ENXIO, 0, 0, 0, {}, PortError::InvalidHandle, 0},
        {"ENOTTY", -ENOTTY, 0, 0, 0, {}, PortError::Failed, 0},
        {"EINVAL", -EINVAL, 0, 0, 0, {}, PortError::Failed, 0},
        {"EPERM", -EPERM, 0, 0, 0, {}, PortError::Failed, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FakeKernel kernel;
        kernel.AddDrive(0, "1:0:0:0");
        CSgPort port(kernel);
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
        EXPECT_EQ((completion.sense[2] & 0xFu) << 16 | completion.sense[12] << 8 |
                      completion.sense[13],
                  c.code);
        EXPECT_EQ(completion.sense[0], c.sense.empty() ? 0 : 0x70);
    }
}

TEST(SgPortTest, LockUnmountsTheDiscAndHoldsTheDeviceOnce) {
    constexpr char kMounted[] = "22 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                                "90 22 11:0 / /media/disc ro shared:5 - iso9660 /dev/cdrom ro\n";
    struct Case {
        const char* name;
        const char* table;
        bool unmountWorks;
        size_t unmounts;
    };
    for (const Case& c :
         {Case{"mounted under another name", kMounted, true, 1},
          Case{"the helper refuses", kMounted, false, 1},
          Case{"not mounted", "22 1 8:1 / / rw - ext4 /dev/sda1 rw\n", true, 0},
          Case{"another drive's disc", "90 22 11:01 / /m ro - iso9660 x ro\n", true, 0}}) {
        SCOPED_TRACE(c.name);
        FakeKernel kernel;
        kernel.AddDrive(0, "1:0:0:0");
        kernel.texts["/proc/self/mountinfo"] = c.table;
        kernel.unmountWorks = c.unmountWorks;
        {
            CSgPort port(kernel);
            port.LockAndDismount(2);
            port.LockAndDismount(2);
            EXPECT_EQ(kernel.unmounted, std::vector<std::string>(c.unmounts, "/dev/sr0"));
            ASSERT_EQ(kernel.opened.size(), 1u);
            EXPECT_EQ(kernel.opened[0].second, O_RDONLY | O_EXCL | O_NONBLOCK | O_CLOEXEC);
            EXPECT_EQ(kernel.live.size(), 1u);
        }
        EXPECT_TRUE(kernel.live.empty());
    }
}

TEST(SgPortTest, LockThatFailedIsTriedAgain) {
    FakeKernel kernel;
    kernel.AddDrive(0, "1:0:0:0");
    kernel.openErrors[O_RDONLY | O_EXCL] = EBUSY;
    CSgPort port(kernel);
    port.LockAndDismount(2);
    kernel.openErrors.clear();
    port.LockAndDismount(2);
    EXPECT_EQ(kernel.live.size(), 1u);
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
    EXPECT_FALSE(calls.Unmount("/nowhere/sr0"));
}

} // namespace
} // namespace larkspin
