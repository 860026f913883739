#include "app/drive_catalog.h"
#include "platform/paths.h"

namespace larkspin {

DriveCatalog::DriveCatalog(DriveList& drives) : m_drives(drives) {
    for (size_t i = 0; i < drives.Count(); ++i) {
        CAspiCD& drive = drives.At(i);
        m_entries.push_back({drive.m_strName, drive.DisplayName(), drive.GetDriveLetter()});
    }
}

std::vector<double> DriveCatalog::WriteSpeeds(size_t index) {
    try {
        return m_drives.At(index).GetWriteSpeeds();
    } catch (const CAspiCD::CgrowisofsException&) {
        return {};
    }
}

std::u16string DriveCatalog::DiskTypeName(uint32_t profile) {
    return larkspin::DiskTypeName(profile);
}

std::optional<uint32_t> DriveCatalog::FindLetter(char16_t letter) const {
    for (size_t i = 0; letter != 0 && i < m_entries.size(); ++i) {
        if (m_entries[i].letter == letter) {
            return static_cast<uint32_t>(i);
        }
    }
    return std::nullopt;
}

char16_t DriveCatalog::LetterOf(std::u16string_view drive) const {
    const bool device = drive.starts_with(u"/dev/");
    const std::u16string_view label = device ? LeafName(drive) : drive;
    for (const Entry& entry : m_entries) {
        if (entry.label == label) {
            return entry.letter;
        }
    }
    const bool isLetter = drive.size() == 1 || (drive.size() == 2 && drive[1] == u':');
    return isLetter && FindLetter(drive[0]) ? drive[0] : u'\0';
}

} // namespace larkspin
