// The SCSI transport: the ASPI call surface above, one of two paths below.
//
// Commands travel in SCSI Request Blocks (ASPI for Win32). They are served by an ASPI library that
// is looked up at run time, or by a pass-through shim of our own over a port (port.h). Neither
// knows of discs. One thread at a time may send commands: m_nTimeoutSeconds is one shared field,
// set before a command and put back to 0 after it.
#pragma once

#include "drive/port.h"
#include "platform/clock.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace larkspin {

enum SrbCommand : uint8_t {
    SC_HA_INQUIRY = 0,
    SC_GET_DEV_TYPE = 1,
    SC_EXEC_SCSI_CMD = 2,
    SC_ABORT_SRB = 3,
};

enum SrbStatus : uint8_t {
    SS_PENDING = 0,
    SS_COMP = 1,
    SS_ABORTED = 2,
    SS_ERR = 4,
    SS_INVALID_HA = 0x81,
    SS_NO_DEVICE = 0x82,
    SS_NO_ADAPTERS = 0xE8,
};

enum SrbFlags : uint8_t { SRB_DIR_IN = 0x08, SRB_DIR_OUT = 0x10, SRB_EVENT_NOTIFY = 0x40 };

// Length and layout of the request records are those of ASPI on the platform the library was built
// for; see srb.h.
struct SrbHeader;

struct AspiDeviceEntry {
    uint8_t byPort = 0;
    uint8_t byTarget = 0;
    uint8_t byLun = 0;
    uint8_t byLetterIndex = 0;
    bool bPresent = false;
    std::unique_ptr<IPortDevice> hDevice; // null until the first command
    std::array<uint8_t, 36> abyInquiry = {};
};

class CAspiTransport {
  public:
    // `port` serves the shim and must outlive the object. `libraries` are the names under which an
    // ASPI library is looked for, in order; empty means that there is none to look for.
    CAspiTransport(IScsiPort& port, IClock& clock, std::vector<std::string> libraries);
    CAspiTransport(const CAspiTransport&) = delete;
    CAspiTransport& operator=(const CAspiTransport&) = delete;
    ~CAspiTransport();

    int LoadTransport(); // 1 when a path is ready, else 0
    int ProbePassThroughDevices();
    int ReleasePassThroughDevices();
    uint8_t PassThroughCommand(SrbHeader* srb);
    // Hands the request to the live path.
    uint8_t SendSrb(SrbHeader* srb);
    void LockAndDismount(uint8_t port, uint8_t target, uint8_t lun);
    // (1 << 8) | count, or SS_NO_ADAPTERS << 8, as GetASPI32SupportInfo gives it.
    uint32_t SupportInfo();
    // Letter index of the drive at this address (logical adapter), 0 if there is none.
    int FindRow(uint8_t adapter, uint8_t target, uint8_t lun);

    IClock& Clock() { return m_clock; }
    IScsiPort& Port() { return m_port; }

    uint32_t m_nTimeoutSeconds = 0; // of the next command; 0 selects the defaults
    void* m_hAspiLibrary = nullptr;
    bool m_bLoaded = false;
    bool m_bUsePassThrough = false;
    uint32_t (*m_pfnGetASPI32SupportInfo)() = nullptr;
    uint32_t (*m_pfnSendASPI32Command)(SrbHeader*) = nullptr;
    std::vector<uint32_t> m_Adapters; // shim: logical adapter number to port number
    bool m_bPassThroughReady = false;
    uint8_t m_byAdapterCount = 0;
    std::array<AspiDeviceEntry, 26> m_Devices;

  private:
    IScsiPort& m_port;
    IClock& m_clock;
    std::vector<std::string> m_libraries;
};

} // namespace larkspin
