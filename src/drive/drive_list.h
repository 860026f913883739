// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The process's list of optical drives, in order of discovery. Drives are identified by index.
#pragma once

#include "drive/aspi_cd.h"

#include <vector>

namespace larkspin {

class DriveList {
  public:
    // NoTransport: there is an ASPI library, but it can't be used.
    enum class ScanResult { Found, None, NoTransport };

    DriveList() = default;

    // Walks all addresses of a new transport once and adds every drive found. The old drives and
    // their transport are released first. `port` and `clock` must outlive the list.
    //
    // A drive behind an ASPI library has no letter of its own; it gets one by its position in the
    // list, "C" for the first, as long as letters are left.
    ScanResult ScanDrives(IScsiPort& port, IClock& clock, std::vector<std::string> libraries);
    // Scans again, with the arguments of the last scan, if drives have come or gone since, or if
    // one of them could not be used. Otherwise sends nothing. Returns true if there was a scan,
    // which replaces all drive objects.
    bool LookAgain();
    // The drives that the last scan found but that can't be used: one text each for the user.
    const std::vector<std::u16string>& Refused() const { return m_refused; }
    // The port of the last scan; null before the first. LookAgain does not change it.
    IScsiPort* Port() const { return m_pPort; }
    // Releases all drives; one whose recording is still open closes it first.
    void ReleaseDrives();

    size_t Count() const { return m_drives.size(); }
    // Throws std::out_of_range.
    CAspiCD& At(size_t index) { return *m_drives.at(index); }

  private:
    void MeetDrive(uint8_t adapter, uint8_t target, uint8_t lun);

    IScsiPort* m_pPort = nullptr; // of the last scan, like the next four
    IClock* m_pClock = nullptr;
    std::vector<std::string> m_libraries;
    std::string m_strInventory;
    std::vector<std::u16string> m_refused;
    std::unique_ptr<CAspiTransport> m_pTransport; // outlives the drives: declared first
    std::vector<std::unique_ptr<CAspiCD>> m_drives;
};

} // namespace larkspin
