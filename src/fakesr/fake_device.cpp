// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "fakesr/fake_device.h"

#include "platform/byte_order.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/cdrom.h>
#include <linux/fs.h>
#include <scsi/sg.h>
#include <span>
#include <sys/mman.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <vector>

namespace larkspin {

namespace {

constexpr const char* kDevicePath = "/dev/sr0";
constexpr unsigned kScsiCdromMajor = 11;
constexpr int kSgVersion = 30'000;
constexpr uint16_t kHostTimeOut = 3; // DID_TIME_OUT
constexpr uint16_t kHostError = 7;   // DID_ERROR
constexpr uint16_t kDriverSense = 8; // DRIVER_SENSE
constexpr uint32_t kBlockBytes = 2048;
// Of the kernel's scsi/scsi.h, which is not among the headers for programs.
constexpr unsigned long kGetIdLun = 0x5382;
constexpr unsigned long kGetBusNumber = 0x5386;
constexpr int64_t kMaxBlocksPerRead = 32;
// More attempts would give the same answer: a medium change is reported once.
constexpr int kAttentionRetries = 3;

// Per descriptor: one more than the offset of the next read, 0 if it is not for the device.
constexpr int kMaxDescriptor = 1024;
constinit std::array<std::atomic<int64_t>, kMaxDescriptor> g_offsets = {};

int64_t Offset(int descriptor) {
    return g_offsets[static_cast<size_t>(descriptor)] - 1;
}

void SetOffset(int descriptor, int64_t offset) {
    g_offsets[static_cast<size_t>(descriptor)] = offset + 1;
}

int Fail(int error) {
    errno = error;
    return -1;
}

template <class Value>
int Store(void* argument, Value value) {
    std::memcpy(argument, &value, sizeof value);
    return 0;
}

int CodeOf(const PortCompletion& completion) {
    return (completion.sense[2] & 0x0F) << 16 | completion.sense[12] << 8 | completion.sense[13];
}

cdrom_addr AddressOf(std::span<const uint8_t> tocAnswer, int addressFormat) {
    cdrom_addr address = {};
    if (addressFormat == CDROM_MSF) {
        address.msf = {tocAnswer[9], tocAnswer[10], tocAnswer[11]};
    } else {
        address.lba = static_cast<int>(LoadBe32(&tocAnswer[8]));
    }
    return address;
}

PortDirection DirectionOf(int sgDirection) {
    switch (sgDirection) {
    case SG_DXFER_TO_DEV:
        return PortDirection::Out;
    case SG_DXFER_FROM_DEV:
    case SG_DXFER_TO_FROM_DEV:
        return PortDirection::In;
    default:
        return PortDirection::None;
    }
}

} // namespace

CFakeDevice& CFakeDevice::Instance() {
    static auto* device = new CFakeDevice; // outlives every destructor that may still read
    return *device;
}

bool CFakeDevice::IsDevicePath(const char* path) {
    return path != nullptr && std::strcmp(path, kDevicePath) == 0;
}

CFakeDevice::CFakeDevice() : m_drive(SystemClock()) {
    if (const char* folder = std::getenv("LARKSPIN_FAKESR")) {
        m_drive.Insert(folder);
    }
    if (const char* path = std::getenv("LARKSPIN_FAKESR_LOG")) {
        m_logPath = path;
    }
}

int CFakeDevice::Open(int flags) {
    // Like the kernel, looks for a medium change first; an empty drive can only be opened with
    // O_NONBLOCK.
    const int code = DriveStatus();
    if ((flags & O_NONBLOCK) == 0 && code != CDS_DISC_OK) {
        return Fail(ENOMEDIUM);
    }
    // A separate file for each descriptor: locks on a shared one would keep out programs that use
    // another fake drive at the same time.
    const int descriptor =
        ::memfd_create("sr0", (flags & O_CLOEXEC) != 0 ? unsigned{MFD_CLOEXEC} : 0U);
    if (descriptor >= kMaxDescriptor) {
        ::close(descriptor);
        return Fail(EMFILE);
    }
    if (descriptor >= 0) {
        SetOffset(descriptor, 0);
    }
    return descriptor;
}

bool CFakeDevice::Owns(int descriptor) {
    return descriptor >= 0 && descriptor < kMaxDescriptor && g_offsets[descriptor] != 0;
}

void CFakeDevice::Forget(int descriptor) {
    if (Owns(descriptor)) {
        g_offsets[descriptor] = 0;
    }
}

void CFakeDevice::Duplicated(int oldDescriptor, int newDescriptor) {
    if (newDescriptor < kMaxDescriptor) {
        SetOffset(newDescriptor, Offset(oldDescriptor));
    }
}

void CFakeDevice::FillStatus(struct stat* status) const {
    *status = {};
    status->st_mode = S_IFBLK | 0660;
    status->st_rdev = makedev(kScsiCdromMajor, 0);
    status->st_nlink = 1;
    status->st_blksize = kBlockBytes;
    status->st_ino = 1;
}

PortCompletion CFakeDevice::Execute(const PortRequest& request) {
    const PortCompletion completion = m_drive.Execute(request);
    if (!m_logPath.empty()) {
        if (std::FILE* log = std::fopen(m_logPath.c_str(), "a")) {
            for (const uint8_t byte : request.cdb) {
                std::fprintf(log, "%02x ", byte);
            }
            std::fprintf(log, "= %x/%02x/%02x\n", completion.sense[2], completion.sense[12],
                         completion.sense[13]);
            std::fclose(log);
        }
    }
    return completion;
}

int CFakeDevice::Send(std::initializer_list<uint8_t> cdb, PortDirection direction, void* data,
                      uint32_t bytes) {
    PortRequest request;
    request.cdb = {cdb.begin(), cdb.size()};
    request.direction = direction;
    request.data = data;
    request.length = bytes;
    request.timeoutSeconds = 30;
    for (int attempt = 0;; ++attempt) {
        const int code = CodeOf(Execute(request));
        if (code >> 16 != 6 || attempt == kAttentionRetries) {
            return code;
        }
    }
}

int CFakeDevice::DriveStatus() {
    const int code = Send({0, 0, 0, 0, 0, 0}, PortDirection::None, nullptr, 0);
    if (code == 0x23A02) {
        return CDS_TRAY_OPEN;
    }
    if (code >> 8 == 0x23A) {
        return CDS_NO_DISC;
    }
    return code == 0 ? CDS_DISC_OK : CDS_DRIVE_NOT_READY;
}

int CFakeDevice::ScsiGeneric(void* argument) {
    auto* header = static_cast<sg_io_hdr_t*>(argument);
    if (header->interface_id != 'S' || header->iovec_count != 0 || header->cmd_len > 16) {
        return Fail(EINVAL);
    }
    PortRequest request;
    request.cdb = {header->cmdp, header->cmd_len};
    request.direction = DirectionOf(header->dxfer_direction);
    request.data = header->dxferp;
    request.length = header->dxfer_len;
    request.timeoutSeconds = std::max(header->timeout / 1000, 1U);
    const PortCompletion completion = Execute(request);
    header->status = completion.status;
    header->masked_status = completion.status >> 1 & 0x1F;
    header->msg_status = 0;
    header->sb_len_wr = 0;
    header->host_status = 0;
    header->driver_status = 0;
    header->resid = static_cast<int>(request.length - completion.moved);
    header->duration = 0;
    header->info = 0;
    if (completion.status != 0 && header->sbp != nullptr) {
        const size_t bytes = std::min<size_t>(header->mx_sb_len, 18);
        std::copy_n(completion.sense.begin(), bytes, header->sbp);
        header->sb_len_wr = static_cast<uint8_t>(bytes);
        header->driver_status = kDriverSense;
        header->info = SG_INFO_CHECK;
    }
    if (completion.error != PortError::None) {
        header->host_status = completion.error == PortError::TimedOut ? kHostTimeOut : kHostError;
    }
    return 0;
}

int CFakeDevice::Packet(void* argument) {
    auto* packet = static_cast<cdrom_generic_command*>(argument);
    PortRequest request;
    request.cdb = packet->cmd;
    request.direction = packet->data_direction == CGC_DATA_WRITE  ? PortDirection::Out
                        : packet->data_direction == CGC_DATA_READ ? PortDirection::In
                                                                  : PortDirection::None;
    request.data = packet->buffer;
    request.length = packet->buflen;
    request.timeoutSeconds = 60;
    const PortCompletion completion = Execute(request);
    packet->stat = completion.status;
    if (packet->sense != nullptr) {
        std::memcpy(packet->sense, completion.sense.data(), completion.sense.size());
    }
    return completion.status == 0 ? 0 : Fail(EIO);
}

bool CFakeDevice::ReadToc(uint8_t format, int addressFormat, uint8_t track, TocAnswer& answer) {
    const auto msf = static_cast<uint8_t>(addressFormat == CDROM_MSF ? 2 : 0);
    return Send({0x43, msf, format, 0, 0, 0, track, 0, static_cast<uint8_t>(answer.size()), 0},
                PortDirection::In, answer.data(), static_cast<uint32_t>(answer.size())) == 0;
}

int CFakeDevice::TocHeader(void* argument) {
    TocAnswer answer = {};
    if (!ReadToc(0, CDROM_LBA, 0, answer)) {
        return Fail(EIO);
    }
    auto* header = static_cast<cdrom_tochdr*>(argument);
    header->cdth_trk0 = answer[2];
    header->cdth_trk1 = answer[3];
    return 0;
}

int CFakeDevice::TocEntry(void* argument) {
    auto* entry = static_cast<cdrom_tocentry*>(argument);
    TocAnswer answer = {};
    if (!ReadToc(0, entry->cdte_format, entry->cdte_track, answer)) {
        return Fail(EIO);
    }
    entry->cdte_adr = answer[5] >> 4;
    entry->cdte_ctrl = answer[5] & 0x0F;
    entry->cdte_datamode = (answer[5] & CDROM_DATA_TRACK) != 0 ? 1 : 0;
    entry->cdte_addr = AddressOf(answer, entry->cdte_format);
    return 0;
}

int CFakeDevice::MultiSession(void* argument) {
    auto* session = static_cast<cdrom_multisession*>(argument);
    TocAnswer answer = {};
    if (!ReadToc(1, session->addr_format, 0, answer)) {
        return Fail(EIO);
    }
    session->xa_flag = answer[3] > 1 ? 1 : 0;
    session->addr = AddressOf(answer, session->addr_format);
    return 0;
}

int CFakeDevice::ReadAudio(void* argument) {
    auto* audio = static_cast<cdrom_read_audio*>(argument);
    int block = audio->addr.lba;
    if (audio->addr_format == CDROM_MSF) {
        block = (audio->addr.msf.minute * 60 + audio->addr.msf.second) * 75 +
                audio->addr.msf.frame - 150;
    }
    std::array<uint8_t, 4> at = {};
    StoreBe32(at.data(), static_cast<uint32_t>(block));
    const auto count = static_cast<uint32_t>(audio->nframes);
    const int code =
        Send({0xBE, 0x04, at[0], at[1], at[2], at[3], static_cast<uint8_t>(count >> 16),
              static_cast<uint8_t>(count >> 8), static_cast<uint8_t>(count), 0x10, 0, 0},
             PortDirection::In, audio->buf, count * CD_FRAMESIZE_RAW);
    return code == 0 ? 0 : Fail(EIO);
}

int CFakeDevice::DiscStatus() {
    cdrom_tochdr header = {};
    if (TocHeader(&header) != 0) {
        return CDS_NO_INFO;
    }
    bool hasData = false;
    bool hasAudio = false;
    for (int track = header.cdth_trk0; track <= header.cdth_trk1; ++track) {
        cdrom_tocentry entry = {};
        entry.cdte_track = static_cast<uint8_t>(track);
        entry.cdte_format = CDROM_LBA;
        if (TocEntry(&entry) != 0) {
            return CDS_NO_INFO;
        }
        ((entry.cdte_ctrl & CDROM_DATA_TRACK) != 0 ? hasData : hasAudio) = true;
    }
    if (hasData && hasAudio) {
        return CDS_MIXED;
    }
    return hasData ? CDS_DATA_1 : CDS_AUDIO;
}

int CFakeDevice::Ioctl(unsigned long request, void* argument) {
    switch (request) {
    case SG_IO:
        return ScsiGeneric(argument);
    case CDROM_SEND_PACKET:
        return Packet(argument);
    case SG_GET_VERSION_NUM:
        return Store(argument, kSgVersion);
    case SG_GET_RESERVED_SIZE:
        return Store(argument, 256 * 1024);
    case SG_SET_RESERVED_SIZE:
    case SG_SET_TIMEOUT:
    case BLKFLSBUF:
        return 0;
    case SG_GET_TIMEOUT:
        return 6000; // jiffies
    case SG_EMULATED_HOST:
        return Store(argument, 1);
    case kGetIdLun: {
        const std::array<uint32_t, 2> address = {0, 0};
        return Store(argument, address);
    }
    case kGetBusNumber:
        return Store(argument, 0);
    case BLKGETSIZE64:
        return Store(argument, static_cast<uint64_t>(SizeBytes()));
    case BLKGETSIZE:
        return Store(argument, static_cast<unsigned long>(SizeBytes() / 512));
    case BLKSSZGET:
        return Store(argument, static_cast<int>(kBlockBytes));
    case BLKROGET:
        return Store(argument, 0);
    case CDROM_GET_CAPABILITY:
        return CDC_CLOSE_TRAY | CDC_OPEN_TRAY | CDC_LOCK | CDC_SELECT_SPEED | CDC_MULTI_SESSION |
               CDC_MEDIA_CHANGED | CDC_PLAY_AUDIO | CDC_DRIVE_STATUS | CDC_GENERIC_PACKET |
               CDC_CD_R | CDC_CD_RW | CDC_DVD | CDC_DVD_R | CDC_DVD_RAM;
    case CDROM_DRIVE_STATUS:
        return DriveStatus();
    case CDROM_DISC_STATUS:
        return DriveStatus() == CDS_DISC_OK ? DiscStatus() : CDS_NO_DISC;
    case CDROM_MEDIA_CHANGED:
        return 0;
    case CDROMREADTOCHDR:
        return TocHeader(argument);
    case CDROMREADTOCENTRY:
        return TocEntry(argument);
    case CDROMMULTISESSION:
        return MultiSession(argument);
    case CDROMREADAUDIO:
        return ReadAudio(argument);
    case CDROMEJECT:
        return Send({0x1B, 0, 0, 0, 2, 0}, PortDirection::None, nullptr, 0) == 0 ? 0 : Fail(EIO);
    case CDROMCLOSETRAY:
        return Send({0x1B, 0, 0, 0, 3, 0}, PortDirection::None, nullptr, 0) == 0 ? 0 : Fail(EIO);
    case CDROM_LOCKDOOR: {
        const auto lock = static_cast<uint8_t>(argument != nullptr ? 1 : 0);
        return Send({0x1E, 0, 0, 0, lock, 0}, PortDirection::None, nullptr, 0) == 0 ? 0 : Fail(EIO);
    }
    default:
        return Fail(ENOTTY);
    }
}

int64_t CFakeDevice::SizeBytes() {
    std::array<uint8_t, 8> answer = {};
    if (Send({0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, PortDirection::In, answer.data(), answer.size()) !=
        0) {
        return 0;
    }
    const uint32_t lastBlock = LoadBe32(answer.data());
    return lastBlock == 0 ? 0 : (int64_t{lastBlock} + 1) * kBlockBytes;
}

ssize_t CFakeDevice::ReadAt(int64_t offset, void* buffer, size_t bytes) {
    auto* target = static_cast<uint8_t*>(buffer);
    const auto wanted = static_cast<int64_t>(bytes);
    const int64_t end = std::min(SizeBytes(), offset + wanted);
    int64_t done = 0;
    std::vector<uint8_t> blocks;
    while (offset + done < end) {
        const int64_t first = (offset + done) / kBlockBytes;
        const int64_t last = (end - 1) / kBlockBytes;
        int64_t count = std::min(last - first + 1, kMaxBlocksPerRead);
        blocks.resize(static_cast<size_t>(count) * kBlockBytes);
        std::array<uint8_t, 4> at = {};
        StoreBe32(at.data(), static_cast<uint32_t>(first));
        const auto read = [&](int64_t blockCount) {
            return Send(
                {0x28, 0, at[0], at[1], at[2], at[3], 0, 0, static_cast<uint8_t>(blockCount), 0},
                PortDirection::In, blocks.data(), static_cast<uint32_t>(blockCount * kBlockBytes));
        };
        // Like the kernel, tries single blocks if a run can't be read.
        if (read(count) != 0) {
            count = 1;
            if (read(count) != 0) {
                return done > 0 ? done : Fail(EIO);
            }
        }
        const int64_t skip = offset + done - first * kBlockBytes;
        const int64_t part = std::min(count * kBlockBytes - skip, end - offset - done);
        std::copy_n(blocks.begin() + skip, part, target + done);
        done += part;
    }
    return done;
}

ssize_t CFakeDevice::Read(int descriptor, void* buffer, size_t bytes) {
    const int64_t offset = Offset(descriptor);
    const ssize_t count = ReadAt(offset, buffer, bytes);
    if (count > 0) {
        SetOffset(descriptor, offset + count);
    }
    return count;
}

int64_t CFakeDevice::Seek(int descriptor, int64_t offset, int whence) {
    const int64_t base = whence == SEEK_SET   ? 0
                         : whence == SEEK_CUR ? Offset(descriptor)
                                              : SizeBytes();
    if (base + offset < 0) {
        return Fail(EINVAL);
    }
    SetOffset(descriptor, base + offset);
    return base + offset;
}

} // namespace larkspin
