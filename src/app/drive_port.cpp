// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/drive_port.h"
#include "app/qt_system_bus.h"
#include "drive/linux/sg_port.h"
#include "drive/transport.h"
#include "virtualdrive/fault_script.h"
#include "virtualdrive/virtual_drive.h"

#include <cstdio>
#include <cstdlib>
#include <deque>
#include <string>
#include <string_view>

namespace larkspin {

namespace {

std::deque<std::string> SplitFolders(std::string_view list) {
    std::deque<std::string> folders;
    while (!list.empty()) {
        const size_t end = list.find(':');
        if (const std::string_view folder = list.substr(0, end); !folder.empty()) {
            folders.emplace_back(folder);
        }
        list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
    }
    return folders;
}

// Inserts the disc of the first folder that holds one, or can take one.
void InsertNext(VirtualDrive& drive, std::deque<std::string>& folders, const std::string& kind) {
    while (!folders.empty()) {
        const std::string folder = folders.front();
        folders.pop_front();
        if (drive.Insert(folder) ||
            (VirtualDrive::CreateDisc(folder, kind) && drive.Insert(folder))) {
            return;
        }
        std::fprintf(stderr, "larkspin: no %s disc can be had in %s\n", kind.c_str(),
                     folder.c_str());
    }
}

} // namespace

DrivePort OpenDrivePort(IClock& clock) {
    const char* list = std::getenv("LARKSPIN_VIRTUAL_DRIVE");
    if (list == nullptr || *list == '\0') {
        return {std::make_unique<CSgPort>(QtSystemBus()),
                {kAspiLibraries.begin(), kAspiLibraries.end()}};
    }
    const char* kindWish = std::getenv("LARKSPIN_VIRTUAL_DISC");
    const std::string kind = kindWish != nullptr && *kindWish != '\0' ? kindWish : "cd-r";
    auto drive = std::make_unique<VirtualDrive>(clock);
    DriveTiming timing{.spinUpMs = kQuickSpinUpMs, .restMs = kUsualRestMs};
    if (const char* speed = std::getenv("LARKSPIN_VIRTUAL_SPEED"); speed != nullptr) {
        timing.speedFactor = std::strtod(speed, nullptr);
    }
    if (const char* spinUp = std::getenv("LARKSPIN_VIRTUAL_SPIN_UP"); spinUp != nullptr) {
        timing.spinUpMs = static_cast<uint32_t>(std::strtoul(spinUp, nullptr, 10));
    }
    drive->SetSpeed(timing);
    if (const char* path = std::getenv("LARKSPIN_VIRTUAL_FAULTS"); path != nullptr) {
        std::string problem;
        if (!LoadFaults(*drive, path, &problem)) {
            std::fprintf(stderr, "larkspin: %s: %s\n", path, problem.c_str());
        }
    }
    std::deque<std::string> folders = SplitFolders(list);
    InsertNext(*drive, folders, kind);
    drive->SetOnEject([drive = drive.get(), folders, kind](const std::string& folder) mutable {
        std::printf("disc: %s\n", folder.c_str());
        std::fflush(stdout);
        InsertNext(*drive, folders, kind);
    });
    return {std::move(drive), {}};
}

} // namespace larkspin
