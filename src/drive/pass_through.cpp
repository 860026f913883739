// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiTransport: the shim, which serves request blocks through a port.
#include "drive/mmc.h"
#include "drive/srb.h"
#include "drive/transport.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <bitset>
#include <iterator>
#include <string_view>

namespace larkspin {

namespace {

constexpr uint32_t kDefaultTimeoutSeconds = 5;
constexpr uint8_t kTargetsPerAdapter = 8;
constexpr uint32_t kMaxTransferBytes = 0x10000;

template <size_t N>
void CopyAdapterText(char (&field)[N], std::string_view text) {
    std::copy_n(text.begin(), N - 1, field);
    field[N - 1] = 0;
}

void TellResidual(SRB_ExecSCSICmd& srb, uint32_t moved) {
    if ((srb.Header.SRB_Flags & SRB_ENABLE_RESIDUAL_COUNT) != 0) {
        srb.SRB_BufLen -= std::min(moved, srb.SRB_BufLen);
    }
}

} // namespace

int CAspiTransport::ProbePassThroughDevices() {
    if (m_bPassThroughReady) {
        return 0;
    }
    m_Devices = {};
    m_refusedDrives = m_port.DrivesWithoutLetter();
    int found = 0;
    for (int letter = kFirstLetterIndex; letter <= kLastLetterIndex; ++letter) {
        if (!m_port.IsOpticalDrive(letter)) {
            continue;
        }
        ProbeDevice(letter);
        if (m_Devices[letter].bPresent) {
            ++found;
        } else {
            m_refusedDrives.push_back(WhyNotPresent(letter));
        }
    }
    BuildAdapters();
    m_bPassThroughReady = true;
    return found;
}

int CAspiTransport::ReleasePassThroughDevices() {
    if (!m_bPassThroughReady) {
        return 0;
    }
    m_Devices = {};
    m_bPassThroughReady = false;
    return 1;
}

void CAspiTransport::ProbeDevice(int letterIndex) {
    const std::unique_ptr<IPortDevice> device = OpenDevice(letterIndex);
    if (device == nullptr) {
        return;
    }
    constexpr uint8_t kAllocation = 192;
    const std::array<uint8_t, 6> cdb = {mmc::kInquiry, 0, 0, 0, kAllocation, 0};
    std::array<uint8_t, kAllocation> answer = {};
    const PortCompletion completion = device->Execute(
        {cdb, PortDirection::In, answer.data(), kAllocation, kDefaultTimeoutSeconds});
    if (completion.error != PortError::None) {
        return;
    }

    AspiDeviceEntry& row = m_Devices[letterIndex];
    row.hDevice.reset();
    std::fill(answer.begin() + std::min<uint32_t>(completion.moved, kAllocation), answer.end(),
              uint8_t{0});
    std::copy_n(answer.begin(), row.abyInquiry.size(), row.abyInquiry.begin());
    PortAddress address;
    const PortError error = device->Address(&address);
    if (error == PortError::NotSupported) {
        address = {static_cast<uint8_t>(letterIndex), 0, 0};
    }
    row.bPresent = error == PortError::None || error == PortError::NotSupported;
    if (!row.bPresent) {
        return;
    }
    row.byPort = address.port;
    row.byTarget = address.target;
    row.byLun = address.lun;
    row.byLetterIndex = static_cast<uint8_t>(letterIndex);
}

std::u16string CAspiTransport::WhyNotPresent(int letterIndex) {
    const std::u16string reason = m_port.WhyClosed(letterIndex);
    return reason.empty() ? u"The drive " + m_port.DisplayName(letterIndex) + u" does not answer."
                          : reason;
}

std::unique_ptr<IPortDevice> CAspiTransport::OpenDevice(int letterIndex) {
    std::unique_ptr<IPortDevice> device = m_port.Open(letterIndex, true);
    m_Devices[letterIndex].bReadOnly = device == nullptr;
    if (device == nullptr) {
        device = m_port.Open(letterIndex, false);
    }
    return device;
}

void CAspiTransport::BuildAdapters() {
    std::bitset<256> marks;
    // Adapter 0 exists even if no drive sits on port 0.
    marks.set(0);
    for (const AspiDeviceEntry& row : m_Devices) {
        if (row.bPresent) {
            marks.set(row.byPort);
        }
    }
    m_Adapters.clear();
    for (uint32_t port = 0; port < marks.size(); ++port) {
        if (marks.test(port)) {
            m_Adapters.push_back(port);
        }
    }
    m_byAdapterCount = static_cast<uint8_t>(m_Adapters.size());
}

uint8_t CAspiTransport::PortOf(uint8_t adapter) const {
    return adapter < m_Adapters.size() ? static_cast<uint8_t>(m_Adapters[adapter]) : 0;
}

int CAspiTransport::FindRow(uint8_t adapter, uint8_t target, uint8_t lun) const {
    return FindRowByPort(PortOf(adapter), target, lun);
}

int CAspiTransport::FindRowByPort(uint8_t port, uint8_t target, uint8_t lun) const {
    for (int letter = kFirstLetterIndex; letter <= kLastLetterIndex; ++letter) {
        const AspiDeviceEntry& row = m_Devices[letter];
        if (row.bPresent && row.byPort == port && row.byTarget == target && row.byLun == lun) {
            return letter;
        }
    }
    return 0;
}

LockResult CAspiTransport::LockAndDismount(uint8_t port, uint8_t target, uint8_t lun) {
    if (!m_bUsePassThrough) {
        return {LockResult::State::NotOffered, {}};
    }
    const int letter = FindRowByPort(port, target, lun);
    if (letter == 0) {
        return {LockResult::State::Refused, u"The drive is not there any more."};
    }
    LockResult result = m_port.LockAndDismount(letter);
    if (result.Refused()) {
        return result;
    }
    // A handle opened when the user had no write permission would fail at each command that writes.
    AspiDeviceEntry& row = m_Devices[letter];
    if (row.hDevice == nullptr || row.bReadOnly) {
        row.hDevice = OpenDevice(letter);
    }
    if (row.hDevice != nullptr && !row.bReadOnly) {
        return result;
    }
    m_port.Unlock(letter);
    return {LockResult::State::Refused,
            u"The drive " + m_port.DisplayName(letter) + u" cannot be opened for writing."};
}

void CAspiTransport::Unlock(uint8_t port, uint8_t target, uint8_t lun) {
    if (const int letter = FindRowByPort(port, target, lun); letter != 0) {
        m_port.Unlock(letter);
    }
}

uint8_t CAspiTransport::PassThroughCommand(SrbHeader* srb) {
    if (srb == nullptr) {
        return SS_ERR;
    }
    srb->SRB_HaId = PortOf(srb->SRB_HaId);
    switch (srb->SRB_Cmd) {
    case SC_HA_INQUIRY:
        srb->SRB_Status = InquireAdapter(*reinterpret_cast<SRB_HAInquiry*>(srb));
        break;
    case SC_GET_DEV_TYPE:
        srb->SRB_Status = TellDeviceType(*reinterpret_cast<SRB_GDEVBlock*>(srb));
        break;
    case SC_EXEC_SCSI_CMD:
        srb->SRB_Status = ExecuteCommand(*reinterpret_cast<SRB_ExecSCSICmd*>(srb), false);
        break;
    default:
        srb->SRB_Status = SS_ERR;
        break;
    }
    return srb->SRB_Status;
}

uint8_t CAspiTransport::InquireAdapter(SRB_HAInquiry& srb) const {
    const uint8_t id = srb.Header.SRB_HaId;
    srb.HA_Count = m_byAdapterCount;
    if (id >= m_byAdapterCount) {
        return SS_INVALID_HA;
    }
    constexpr size_t kIdentifierDigit = 13;
    constexpr size_t kUniqueTargets = 3;
    constexpr size_t kUniqueMaxTransfer = 4; // little-endian, 4 bytes
    srb.HA_SCSI_ID = 7;
    CopyAdapterText(srb.HA_ManagerId, "NtScsiInterface ");
    CopyAdapterText(srb.HA_Identifier, "SCSI Adapter    ");
    srb.HA_Identifier[kIdentifierDigit] = static_cast<char>('0' + id);
    std::fill(std::begin(srb.HA_Unique), std::end(srb.HA_Unique), uint8_t{0});
    srb.HA_Unique[kUniqueTargets] = kTargetsPerAdapter;
    StoreLe32(srb.HA_Unique + kUniqueMaxTransfer, kMaxTransferBytes);
    return SS_COMP;
}

uint8_t CAspiTransport::TellDeviceType(SRB_GDEVBlock& srb) const {
    const bool found = FindRowByPort(srb.Header.SRB_HaId, srb.SRB_Target, srb.SRB_Lun) != 0;
    srb.SRB_DeviceType = found ? kTypeCdRom : kTypeNone;
    return found ? SS_COMP : SS_NO_DEVICE;
}

uint8_t CAspiTransport::ExecuteCommand(SRB_ExecSCSICmd& srb, bool isRetry) {
    const int letter = FindRowByPort(srb.Header.SRB_HaId, srb.SRB_Target, srb.SRB_Lun);
    if (letter == 0) {
        return SS_ERR;
    }
    AspiDeviceEntry& row = m_Devices[letter];
    if (srb.CDBByte[0] == mmc::kInquiry) {
        const auto moved = std::min(static_cast<uint32_t>(row.abyInquiry.size()), srb.SRB_BufLen);
        std::copy_n(row.abyInquiry.begin(), moved, srb.SRB_BufPointer);
        TellResidual(srb, moved);
        return SS_COMP;
    }
    if (row.hDevice == nullptr) {
        row.hDevice = OpenDevice(letter);
    }

    PortCompletion completion;
    if (row.hDevice == nullptr) {
        completion.error = PortError::InvalidHandle;
    } else {
        PortRequest request;
        request.cdb = {srb.CDBByte, std::min(srb.SRB_CDBLen, kSrbCdbBytes)};
        if ((srb.Header.SRB_Flags & SRB_DIR_IN) != 0) {
            request.direction = PortDirection::In;
        } else if ((srb.Header.SRB_Flags & SRB_DIR_OUT) != 0) {
            request.direction = PortDirection::Out;
        }
        request.data = srb.SRB_BufPointer;
        request.length = srb.SRB_BufLen;
        request.timeoutSeconds =
            m_nTimeoutSeconds != 0 ? m_nTimeoutSeconds : kDefaultTimeoutSeconds;
        completion = row.hDevice->Execute(request);
    }
    std::copy_n(completion.sense.begin(), std::min(srb.SRB_SenseLen, kSrbSenseBytes),
                srb.SenseArea);
    if (completion.error == PortError::None) {
        TellResidual(srb, completion.moved);
        return SS_COMP;
    }

    srb.SRB_TargStat = SS_ERR;
    srb.Header.SRB_Hdr_Rsvd = static_cast<uint32_t>(completion.error);
    const bool rowIsStale =
        completion.error == PortError::MediaChanged || completion.error == PortError::InvalidHandle;
    if (isRetry || !rowIsStale) {
        return SS_ERR;
    }
    row.hDevice.reset();
    ProbeDevice(letter);
    return ExecuteCommand(srb, true);
}

} // namespace larkspin
