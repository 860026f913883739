// The process's list of optical drives, in the order of discovery; a drive is known by its index.
#pragma once

#include "drive/aspi_cd.h"

#include <vector>

namespace larkspin {

class DriveList {
  public:
    enum class ScanResult { Found, None, NoTransport };

    DriveList() = default;

    // Walks all addresses of a new transport once and keeps every drive met. An old transport is
    // released first. `port` must outlive the list.
    ScanResult ScanDrives(IScsiPort& port, IClock& clock, std::vector<std::string> libraries);
    void ReleaseDrives();

    size_t Count() const { return m_drives.size(); }
    // Throws std::out_of_range.
    CAspiCD& At(size_t index) { return *m_drives.at(index); }

  private:
    std::unique_ptr<CAspiTransport> m_pTransport; // outlives the drives: declared first
    std::vector<std::unique_ptr<CAspiCD>> m_drives;
};

} // namespace larkspin
