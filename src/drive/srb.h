// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The SCSI Request Blocks of ASPI for Win32, as the ASPI library and the shim expect them: packed
// records with a common header. Pointers have the platform's width.
//
// Completion is polled: SRB_Status is the only field that another thread may write while this one
// reads it, so it is read through SrbStatusOf.
#pragma once

#include "drive/aspi_codes.h"

#include <atomic>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace larkspin {

constexpr uint8_t kSrbCdbBytes = 16;
constexpr uint8_t kSrbSenseBytes = 32;

// Peripheral device types (SPC) in SRB_DeviceType.
constexpr uint8_t kTypeWriteOnce = 4;
constexpr uint8_t kTypeCdRom = 5;
constexpr uint8_t kTypeNone = 31;

#pragma pack(push, 1)

struct SrbHeader {
    uint8_t SRB_Cmd = SC_HA_INQUIRY;
    uint8_t SRB_Status = SS_PENDING;
    uint8_t SRB_HaId = 0;
    uint8_t SRB_Flags = 0;
    uint32_t SRB_Hdr_Rsvd = 0; // the shim stores the PortError of a failed command here
};

struct SRB_HAInquiry {
    SrbHeader Header;
    uint8_t HA_Count = 0;
    uint8_t HA_SCSI_ID = 0;
    char HA_ManagerId[16] = {};
    char HA_Identifier[16] = {};
    uint8_t HA_Unique[16] = {};
    uint16_t HA_Rsvd1 = 0;
};

struct SRB_GDEVBlock {
    SrbHeader Header;
    uint8_t SRB_Target = 0;
    uint8_t SRB_Lun = 0;
    uint8_t SRB_DeviceType = 0;
    uint8_t SRB_Rsvd1 = 0;
};

struct SRB_ExecSCSICmd {
    SrbHeader Header;
    uint8_t SRB_Target = 0;
    uint8_t SRB_Lun = 0;
    uint16_t SRB_Rsvd1 = 0;
    uint32_t SRB_BufLen = 0;
    uint8_t* SRB_BufPointer = nullptr;
    uint8_t SRB_SenseLen = 0;
    uint8_t SRB_CDBLen = 0;
    uint8_t SRB_HaStat = 0;
    uint8_t SRB_TargStat = 0;
    void* SRB_PostProc = nullptr; // unused: completion is polled
    void* SRB_Rsvd2 = nullptr;
    uint8_t SRB_Rsvd3[16] = {};
    uint8_t CDBByte[kSrbCdbBytes] = {};
    uint8_t SenseArea[kSrbSenseBytes] = {};
};

struct SRB_Abort {
    SrbHeader Header;
    SrbHeader* SRB_ToAbort = nullptr;
};

#pragma pack(pop)

// A record is passed by a pointer to its header, which is its first member.
static_assert(std::is_standard_layout_v<SRB_HAInquiry> && sizeof(SRB_HAInquiry) == 60);
static_assert(std::is_standard_layout_v<SRB_GDEVBlock> && sizeof(SRB_GDEVBlock) == 12);
static_assert(std::is_standard_layout_v<SRB_ExecSCSICmd> &&
              sizeof(SRB_ExecSCSICmd) == 84 + 3 * sizeof(void*));
static_assert(std::is_standard_layout_v<SRB_Abort>);

inline uint8_t SrbStatusOf(SrbHeader& header) {
    return std::atomic_ref<uint8_t>(header.SRB_Status).load(std::memory_order_acquire);
}

// All the memory of one request. An ASPI library that did not return a command after its abort may
// still write here, so a request that never ended is never freed (CAspiTransport::Abandon).
struct AspiRequest {
    SRB_ExecSCSICmd exec;
    SRB_GDEVBlock deviceType;
    SRB_Abort abort;
    std::vector<uint8_t> data;
};

} // namespace larkspin
