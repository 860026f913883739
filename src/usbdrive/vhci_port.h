// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Plugs a device into the kernel's virtual USB host controller (vhci-hcd): finds a free port and
// passes one end of a socket pair to the kernel, which then uses it for USB/IP.
#pragma once

#include <string>
#include <vector>

namespace larkspin {

constexpr const char* kVhciFolder = "/sys/devices/platform/vhci_hcd.0";

class CVhciPort {
  public:
    explicit CVhciPort(std::string sysfsFolder = kVhciFolder);
    CVhciPort(const CVhciPort&) = delete;
    CVhciPort& operator=(const CVhciPort&) = delete;
    // Detaches: to the host, this looks like pulling the plug.
    ~CVhciPort();

    // Both return nothing, or a text that says what is wrong and what to do. Prepare needs root;
    // Attach then does not.
    std::string Prepare();
    std::string Attach();
    // The device's end of the socket pair, -1 before Attach. It is closed when the host lets go.
    int Socket() const { return m_socket; }
    // The kernel's name of the device ("1-1"), empty until the host has assigned an address.
    std::string BusId() const;

  private:
    std::string m_folder;
    int m_attachFile = -1;
    int m_socket = -1;
    int m_port = -1;
};

// The free high-speed ports, ascending, in the text of vhci-hcd's file "status":
//   hub port sta spd dev      sockfd local_busid
//   hs  0000 004 000 00000000 000000 0-0
std::vector<int> FreeVhciPorts(const std::string& table);
// The device at a port in the same text, empty if the port is not in use.
std::string BusIdAtVhciPort(const std::string& table, int port);

} // namespace larkspin
