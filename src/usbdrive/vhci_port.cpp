// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "usbdrive/vhci_port.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace larkspin {

namespace {

enum PortState : int { kFree = 4, kInUse = 6 }; // VDEV_ST_NULL, VDEV_ST_USED
constexpr unsigned kDeviceId = 1U << 16 | 2;
constexpr int kHighSpeed = 3; // USB_SPEED_HIGH

std::string ReadFile(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string Explain(const std::string& folder, int error) {
    switch (error) {
    case ENOENT:
        return "The kernel's virtual USB host controller is not there (no " + folder +
               ").\nLoad it as root: modprobe vhci-hcd";
    case EACCES:
    case EPERM:
        return "Plugging a drive into this machine takes the rights of root (to write to " +
               folder + "/attach).\nRun larkspin-drive with sudo.";
    default:
        return "The kernel did not take the drive: " + std::string(std::strerror(error)) + " (" +
               folder + "/attach).";
    }
}

struct PortRow {
    int port = 0;
    int state = 0;
    std::string busId;
};

std::vector<PortRow> HighSpeedPorts(const std::string& table) {
    std::vector<PortRow> rows;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string hub;
        std::string unused;
        PortRow row;
        if (fields >> hub >> row.port >> row.state >> unused >> unused >> unused >> row.busId &&
            hub == "hs") {
            rows.push_back(row);
        }
    }
    return rows;
}

} // namespace

std::vector<int> FreeVhciPorts(const std::string& table) {
    std::vector<int> ports;
    for (const PortRow& row : HighSpeedPorts(table)) {
        if (row.state == kFree) {
            ports.push_back(row.port);
        }
    }
    return ports;
}

std::string BusIdAtVhciPort(const std::string& table, int port) {
    for (const PortRow& row : HighSpeedPorts(table)) {
        if (row.port == port && row.state == kInUse) {
            return row.busId;
        }
    }
    return {};
}

CVhciPort::CVhciPort(std::string sysfsFolder) : m_folder(std::move(sysfsFolder)) {}

CVhciPort::~CVhciPort() {
    if (m_attachFile >= 0) {
        ::close(m_attachFile);
    }
    if (m_socket < 0) {
        return;
    }
    // The kernel sees the end of the stream, and the device go. Writing to "detach" would need
    // rights that may have been given up.
    ::shutdown(m_socket, SHUT_RDWR);
    ::close(m_socket);
}

std::string CVhciPort::Prepare() {
    m_attachFile = ::open((m_folder + "/attach").c_str(), O_WRONLY | O_CLOEXEC);
    return m_attachFile >= 0 ? std::string() : Explain(m_folder, errno);
}

std::string CVhciPort::Attach() {
    std::array<int, 2> ends = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return Explain(m_folder, errno);
    }
    // Another process may take a port between reading the table and the write.
    int error = EBUSY;
    for (const int port : FreeVhciPorts(ReadFile(m_folder + "/status"))) {
        std::ostringstream text;
        text << port << ' ' << ends[1] << ' ' << kDeviceId << ' ' << kHighSpeed;
        const std::string line = text.str();
        const ssize_t written = ::write(m_attachFile, line.data(), line.size());
        error = written < 0 ? errno : 0;
        m_port = port;
        if (error != EBUSY) {
            break;
        }
    }
    ::close(ends[1]); // the kernel holds its own reference
    m_socket = ends[0];
    if (error == EBUSY) {
        return "All ports of the kernel's virtual USB host controller are taken.";
    }
    return error == 0 ? std::string() : Explain(m_folder, error);
}

std::string CVhciPort::BusId() const {
    return BusIdAtVhciPort(ReadFile(m_folder + "/status"), m_port);
}

} // namespace larkspin
