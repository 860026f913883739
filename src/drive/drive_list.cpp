// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/drive_list.h"
#include "drive/srb.h"

#include <utility>

namespace larkspin {

namespace {

constexpr uint8_t kTargets = 8;
constexpr uint8_t kLuns = 8;

// Adapter count, or -1 if the transport's answer does not follow ASPI.
int AdapterCount(CAspiTransport& transport) {
    const uint32_t info = transport.SupportInfo();
    return (info >> 8 & 0xFF) == 1 ? static_cast<int>(info & 0xFF) : -1;
}

} // namespace

DriveList::ScanResult DriveList::ScanDrives(IScsiPort& port, IClock& clock,
                                            std::vector<std::string> libraries) {
    ReleaseDrives();
    m_pPort = &port;
    m_pClock = &clock;
    m_libraries = std::move(libraries);
    m_strInventory = port.Inventory();
    auto transport = std::make_unique<CAspiTransport>(port, clock, m_libraries);
    const bool isLoaded = transport->LoadTransport() != 0;
    m_refused = transport->m_refusedDrives;
    if (!isLoaded) {
        return transport->m_bLibraryUnusable ? ScanResult::NoTransport : ScanResult::None;
    }
    const int adapters = AdapterCount(*transport);
    if (adapters < 0) {
        return ScanResult::NoTransport;
    }
    m_pTransport = std::move(transport);

    for (int adapter = 0; adapter < adapters; ++adapter) {
        for (uint8_t target = 0; target < kTargets; ++target) {
            for (uint8_t lun = 0; lun < kLuns; ++lun) {
                MeetDrive(static_cast<uint8_t>(adapter), target, lun);
            }
        }
    }
    return m_drives.empty() ? ScanResult::None : ScanResult::Found;
}

bool DriveList::LookAgain() {
    if (m_pPort == nullptr || (m_refused.empty() && m_pPort->Inventory() == m_strInventory)) {
        return false;
    }
    ScanDrives(*m_pPort, *m_pClock, m_libraries);
    return true;
}

void DriveList::MeetDrive(uint8_t adapter, uint8_t target, uint8_t lun) {
    auto drive = std::make_unique<CAspiCD>(target, adapter, lun, m_pTransport.get());
    const uint8_t type = drive->GetDeviceType();
    if (type != kTypeCdRom && type != kTypeWriteOnce) {
        return;
    }
    drive->ReadDriveName();
    const auto place = static_cast<char16_t>(kFirstLetterIndex + m_drives.size());
    if (!m_pTransport->m_bUsePassThrough && place <= kLastLetterIndex) {
        drive->SetDriveLetter(static_cast<char16_t>(u'A' + place));
    }
    m_drives.push_back(std::move(drive));
}

void DriveList::ReleaseDrives() {
    // The drives go first: one whose recording is still open closes it through the transport.
    m_drives.clear();
    m_pTransport.reset();
}

} // namespace larkspin
