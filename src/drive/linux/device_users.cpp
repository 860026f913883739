// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/linux/device_users.h"

#include <algorithm>
#include <cctype>

namespace larkspin {

namespace {

constexpr size_t kMostNamed = 5;

bool IsProcess(const std::string& name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char letter) {
        return std::isdigit(letter) != 0;
    });
}

bool IsAtOrBelow(const std::string& path, const std::string& folder) {
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

class Search {
  public:
    Search(ISystemCalls& calls, const std::string& devicePath,
           const std::vector<std::string>& mountPoints)
        : m_calls(calls), m_devicePath(devicePath), m_mountPoints(mountPoints) {}

    bool Uses(const std::string& process) const {
        if (Meets(process + "/cwd") || Meets(process + "/root") || Meets(process + "/exe")) {
            return true;
        }
        const std::vector<std::string> files = m_calls.List(process + "/fd");
        return std::any_of(files.begin(), files.end(),
                           [&](const std::string& file) { return Meets(process + "/fd/" + file); });
    }

  private:
    bool Meets(const std::string& link) const {
        const std::string target = m_calls.ReadLink(link);
        return target == m_devicePath ||
               std::any_of(m_mountPoints.begin(), m_mountPoints.end(),
                           [&](const std::string& point) { return IsAtOrBelow(target, point); });
    }

    ISystemCalls& m_calls;
    const std::string& m_devicePath;
    const std::vector<std::string>& m_mountPoints;
};

} // namespace

std::string ProgramsUsing(ISystemCalls& calls, const std::string& devicePath,
                          const std::vector<std::string>& mountPoints) {
    const Search search(calls, devicePath, mountPoints);
    const std::string self = calls.ReadLink("/proc/self");
    std::string programs;
    size_t named = 0;
    for (const std::string& id : calls.List("/proc")) {
        const std::string process = "/proc/" + id;
        if (!IsProcess(id) || id == self || !search.Uses(process)) {
            continue;
        }
        std::string name = calls.ReadText(process + "/comm");
        name.erase(std::min(name.find('\n'), name.size()));
        programs.append(named > 0 ? ", " : "").append(name).append(" (").append(id).append(")");
        if (++named == kMostNamed) {
            break;
        }
    }
    return programs;
}

} // namespace larkspin
