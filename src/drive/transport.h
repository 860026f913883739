// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The SCSI transport: the ASPI interface on top of one of two paths.
//
// Commands travel in SCSI Request Blocks (ASPI for Win32). They are served either by an ASPI
// library that is looked up at run time, or by our own pass-through shim over a port (port.h).
// Neither knows about discs. One thread at a time may send commands: m_nTimeoutSeconds is a shared
// field that is set before a command and reset to 0 after it.
//
// The shim shows a check condition by the sense bytes alone: a command that the device answered
// ends as SS_COMP. An ASPI library ends a check condition as SS_ERR with sense. A command that ends
// without SS_COMP and without sense never got an answer.
#pragma once

#include "drive/aspi_codes.h"
#include "drive/port.h"
#include "platform/clock.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace larkspin {

// The records are in srb.h.
struct SrbHeader;
struct SRB_ExecSCSICmd;
struct SRB_HAInquiry;
struct SRB_GDEVBlock;
struct AspiRequest;

// Where to look for an ASPI library, in this order.
inline constexpr std::array<const char*, 3> kAspiLibraries = {"wnaspi32.so", "/usr/lib/wnaspi32.so",
                                                              "/usr/local/lib/wnaspi32.so"};

struct AspiDeviceEntry {
    uint8_t byPort = 0;
    uint8_t byTarget = 0;
    uint8_t byLun = 0;
    uint8_t byLetterIndex = 0;
    bool bPresent = false;
    bool bReadOnly = false;               // how hDevice was opened
    std::unique_ptr<IPortDevice> hDevice; // null until the first command
    std::array<uint8_t, 36> abyInquiry = {};
};

class CAspiTransport {
  public:
    // `port` serves the shim and must outlive the object. `libraries` are the names of the ASPI
    // libraries to try, in order; if empty, no library is used.
    CAspiTransport(IScsiPort& port, IClock& clock, std::vector<std::string> libraries);
    CAspiTransport(const CAspiTransport&) = delete;
    CAspiTransport& operator=(const CAspiTransport&) = delete;
    // Closes all device handles and unloads the library, unless a command is still stuck in it.
    ~CAspiTransport();

    // Returns 1 when a path is ready, else 0. The shim is tried first, and a library only if the
    // shim found no drive. A library without the two exports is not used.
    int LoadTransport();
    // Returns the number of drives found; 0 also if the table has already been built.
    int ProbePassThroughDevices();
    // Returns 1, or 0 if there was no table.
    int ReleasePassThroughDevices();
    // Serves a request through the shim and returns its final SRB status, never SS_PENDING.
    // Replaces the logical adapter number in SRB_HaId with the port number. After a medium change,
    // or when the device handle has died, the row is silently probed again and the command repeated
    // once. INQUIRY is answered from the row, without asking the device.
    uint8_t PassThroughCommand(SrbHeader* srb);
    // Passes the request to the active path and returns its status, which may be SS_PENDING if the
    // path is a library.
    uint8_t SendSrb(SrbHeader* srb);
    // Polls until the request has ended. False if it is still pending after `milliseconds`.
    bool AwaitSrb(SrbHeader& srb, uint64_t milliseconds);
    // Keeps a request that the library never returned, and with it the library, until the process
    // ends.
    void Abandon(std::unique_ptr<AspiRequest> request);
    // True if the active path honours SRB_ENABLE_RESIDUAL_COUNT: the shim does, and a library
    // reports it for each adapter. Otherwise a completed command is assumed to have moved all its
    // bytes.
    bool CountsResidual(uint8_t adapter);
    // `port` is a port number, not a logical adapter. After a success, the drive's commands go
    // through a handle that is open for writing. A library offers no lock. A drive that has gone is
    // refused.
    LockResult LockAndDismount(uint8_t port, uint8_t target, uint8_t lun);
    void Unlock(uint8_t port, uint8_t target, uint8_t lun);
    // (1 << 8) | count, or SS_NO_ADAPTERS << 8, as GetASPI32SupportInfo returns it.
    uint32_t SupportInfo();
    // Port number of one of the shim's logical adapters; 0 if there is no such adapter.
    uint8_t PortOf(uint8_t adapter) const;
    // Letter index of the drive at this address (by logical adapter), or 0 if there is none. If two
    // drives have the same address, the first row wins.
    int FindRow(uint8_t adapter, uint8_t target, uint8_t lun) const;

    IClock& Clock() { return m_clock; }
    IScsiPort& Port() { return m_port; }

    uint32_t m_nTimeoutSeconds = 0; // of the next command; 0 selects the defaults
    void* m_hAspiLibrary = nullptr;
    bool m_bLoaded = false;
    // There is an ASPI library, but it can't be used.
    bool m_bLibraryUnusable = false;
    // Drives that exist but have no row: one reason each, as a text for the user.
    std::vector<std::u16string> m_refusedDrives;
    bool m_bUsePassThrough = false;
    uint32_t (*m_pfnGetASPI32SupportInfo)() = nullptr;
    uint32_t (*m_pfnSendASPI32Command)(SrbHeader*) = nullptr;
    std::vector<uint32_t> m_Adapters; // shim: logical adapter number to port number
    bool m_bPassThroughReady = false;
    uint8_t m_byAdapterCount = 0;
    std::array<AspiDeviceEntry, 26> m_Devices;
    // Classes of events that the drive may still report (GET EVENT STATUS NOTIFICATION, MMC); kept
    // from one call of CAspiCD::HandleEvents to the next.
    uint8_t m_byEventMask = 0xFF;

  private:
    bool LoadLibrary();
    void ProbeDevice(int letterIndex);
    void BuildAdapters();
    std::unique_ptr<IPortDevice> OpenDevice(int letterIndex);
    std::u16string WhyNotPresent(int letterIndex);
    int FindRowByPort(uint8_t port, uint8_t target, uint8_t lun) const;
    uint8_t InquireAdapter(SRB_HAInquiry& srb) const;
    uint8_t TellDeviceType(SRB_GDEVBlock& srb) const;
    uint8_t ExecuteCommand(SRB_ExecSCSICmd& srb, bool isRetry);

    IScsiPort& m_port;
    IClock& m_clock;
    std::vector<std::string> m_libraries;
    bool m_bKeepLibrary = false;
    std::map<uint8_t, bool> m_countsResidual; // by adapter of the library
};

} // namespace larkspin
