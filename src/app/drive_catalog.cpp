// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/drive_catalog.h"
#include "drive/profiles.h"
#include "platform/paths.h"

namespace larkspin {

namespace {

std::u16string JoinedRefusals(const DriveList& drives) {
    std::u16string text;
    for (const std::u16string& refusal : drives.Refused()) {
        text += (text.empty() ? u"" : u"\n\n") + refusal;
    }
    return text;
}

} // namespace

std::u16string NoDriveText(const DriveList& drives) {
    return drives.Refused().empty()
               ? u"No optical drives found in your system."
               : u"No optical drive of your system can be used.\n\n" + JoinedRefusals(drives);
}

DriveCatalog::DriveCatalog(DriveList& drives) : m_drives(drives) {
    TakeEntries();
}

void DriveCatalog::LookAgain() {
    if (m_drives.LookAgain()) {
        TakeEntries();
    }
}

std::u16string DriveCatalog::RefusedText() const {
    return JoinedRefusals(m_drives);
}

void DriveCatalog::TakeEntries() {
    m_entries.clear();
    for (size_t i = 0; i < m_drives.Count(); ++i) {
        CAspiCD& drive = m_drives.At(i);
        m_entries.push_back({drive.Name(), drive.DisplayName(), drive.GetDriveLetter()});
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
