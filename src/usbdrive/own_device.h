// Under which name the kernel shows the drive, once it does.
#pragma once

#include <string>

namespace larkspin {

class COwnDevice {
  public:
    // `serial`: the serial number that the drive tells on the bus.
    explicit COwnDevice(std::string serial, std::string sysfs = "/sys");

    // Looks among the optical drives for the one with that number. True if it is there.
    bool Look();
    bool IsKnown() const { return !m_path.empty(); }
    // Such as "/dev/sr0".
    const std::string& Path() const { return m_path; }

  private:
    const std::string m_serial;
    const std::string m_sysfs;
    std::string m_path;
};

} // namespace larkspin
