// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// /dev/sr0 as the kernel's sr driver would show it, backed by a VirtualDrive.
//
// Environment: LARKSPIN_FAKESR is the folder of the disc in the drive, which is empty if the
// variable is not set or the folder holds no disc. LARKSPIN_FAKESR_LOG is a file to which each
// command is appended as a line: opcode and CDB bytes, then "= " and key/ASC/ASCQ.
//
// May be used on any thread.
#pragma once

#include "virtualdrive/virtual_drive.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

namespace larkspin {

class CFakeDevice {
  public:
    // The only device in the process; created in the first call.
    static CFakeDevice& Instance();
    static bool IsDevicePath(const char* path);

    // Each function returns the result of the system call of that name: -1 with errno on failure.
    int Open(int flags);
    // Whether a descriptor represents the device. These functions neither need nor create the
    // device: they are also called while it is being created.
    static bool Owns(int descriptor);
    static void Forget(int descriptor);
    static void Duplicated(int oldDescriptor, int newDescriptor);
    int Ioctl(unsigned long request, void* argument);
    ssize_t ReadAt(int64_t offset, void* buffer, size_t bytes);
    ssize_t Read(int descriptor, void* buffer, size_t bytes);
    int64_t Seek(int descriptor, int64_t offset, int whence);
    void FillStatus(struct stat* status) const;

    int64_t SizeBytes();

  private:
    CFakeDevice();

    // Sense code as (key << 16) | (ASC << 8) | ASCQ.
    int Send(std::initializer_list<uint8_t> cdb, PortDirection direction, void* data,
             uint32_t bytes);
    PortCompletion Execute(const PortRequest& request);
    int ScsiGeneric(void* argument);
    int Packet(void* argument);
    // READ TOC of one entry.
    using TocAnswer = std::array<uint8_t, 12>;
    bool ReadToc(uint8_t format, int addressFormat, uint8_t track, TocAnswer& answer);
    int TocHeader(void* argument);
    int TocEntry(void* argument);
    int MultiSession(void* argument);
    int ReadAudio(void* argument);
    int DriveStatus();
    int DiscStatus();

    VirtualDrive m_drive;
    std::string m_logPath;
};

} // namespace larkspin
