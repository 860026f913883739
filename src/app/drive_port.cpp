#include "app/drive_port.h"
#include "app/qt_system_bus.h"
#include "drive/linux/sg_port.h"
#include "drive/transport.h"
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

// Puts the disc of the first folder that holds one, or can take one, into the drive.
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
    if (const char* speed = std::getenv("LARKSPIN_VIRTUAL_SPEED"); speed != nullptr) {
        VirtualDrive::Speed model;
        model.speedFactor = std::strtod(speed, nullptr);
        drive->SetSpeed(model);
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
