// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiCD: what a drive is, its name, and the commands that act on it as a device.
#include "drive/direct_command.h"
#include "drive/dvd_detail.h"
#include "drive/mmc.h"
#include "drive/srb.h"
#include "platform/text.h"

#include <string_view>

namespace larkspin {

namespace {

constexpr uint64_t kDeviceTypeWaitMs = 10'000;

} // namespace

CAspiCD::CAspiCD(uint8_t target, uint8_t adapter, uint8_t lun, CAspiTransport* transport)
    : m_byTarget(target), m_byAdapter(adapter), m_byLun(lun), m_pTransport(transport),
      m_pDvd(std::make_unique<DvdRecording>(*this)) {}

CAspiCD::CAspiCD(const CAspiCD& other)
    : IBlockReader(other), m_strName(other.m_strName), m_byTarget(other.m_byTarget),
      m_byAdapter(other.m_byAdapter), m_byLun(other.m_byLun), m_pTransport(other.m_pTransport),
      m_byLastStatus(other.m_byLastStatus), m_wDriveLetter(other.m_wDriveLetter),
      m_bHasConfig(other.m_bHasConfig), m_bConfigKnown(other.m_bConfigKnown),
      m_pDvd(std::make_unique<DvdRecording>(*this)) {}

CAspiCD::~CAspiCD() {
    if (m_pDvd->m_pfnFinalize != nullptr) {
        m_pDvd->m_pfnFinalize(*m_pDvd);
    }
}

uint8_t CAspiCD::GetDeviceType() {
    auto request = std::make_unique<AspiRequest>();
    SRB_GDEVBlock& srb = request->deviceType;
    srb.Header.SRB_Cmd = SC_GET_DEV_TYPE;
    srb.Header.SRB_HaId = m_byAdapter;
    srb.SRB_Target = m_byTarget;
    srb.SRB_Lun = m_byLun;
    m_pTransport->SendSrb(&srb.Header);
    const bool ended = m_pTransport->AwaitSrb(srb.Header, kDeviceTypeWaitMs);
    m_byLastStatus = SrbStatusOf(srb.Header);
    if (!ended) {
        m_pTransport->Abandon(std::move(request));
        return 0;
    }
    return srb.SRB_DeviceType;
}

void CAspiCD::ReadDriveName() {
    constexpr size_t kVendor = 8;
    constexpr size_t kVendorAndProductBytes = 24;
    std::array<char, 36> answer = {};
    Cdb cdb(mmc::kInquiry);
    cdb[4] = answer.size();
    SendDirect(*this, SRB_DIR_IN, cdb, answer.data(), answer.size());
    m_strName = ToWide(std::string_view(answer.data() + kVendor, kVendorAndProductBytes));
}

char16_t CAspiCD::GetDriveLetter() {
    if (m_wDriveLetter == 0 && m_pTransport->m_bUsePassThrough) {
        const int row = m_pTransport->FindRow(m_byAdapter, m_byTarget, m_byLun);
        if (row != 0) {
            m_wDriveLetter = static_cast<char16_t>(u'A' + row);
        }
    }
    return m_wDriveLetter;
}

std::u16string CAspiCD::DisplayName() {
    const char16_t letter = GetDriveLetter();
    if (letter == 0) {
        return {};
    }
    std::u16string name;
    if (m_pTransport->m_bUsePassThrough) {
        name = m_pTransport->Port().DisplayName(letter - u'A');
    }
    return name.empty() ? std::u16string(1, letter) : name;
}

LockResult CAspiCD::LockAndDismount() {
    return m_pTransport->LockAndDismount(m_pTransport->PortOf(m_byAdapter), m_byTarget, m_byLun);
}

void CAspiCD::Unlock() {
    m_pTransport->Unlock(m_pTransport->PortOf(m_byAdapter), m_byTarget, m_byLun);
}

uint8_t CAspiCD::EjectDisk() {
    Cdb cdb(mmc::kStartStopUnit);
    cdb[1] = static_cast<uint8_t>(m_byLun << 5);
    cdb[4] = 2; // eject
    return SendNoData(SRB_DIR_OUT, cdb.Bytes());
}

uint8_t CAspiCD::LockDoor(bool lock) {
    Cdb cdb(mmc::kPreventAllowMediumRemoval);
    cdb[1] = static_cast<uint8_t>(m_byLun << 5);
    cdb[4] = lock ? 1 : 0;
    return SendNoData(SRB_DIR_OUT, cdb.Bytes());
}

} // namespace larkspin
