// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The drives as the dialogs and other programs see them.
//
// Names, labels and letters are determined at construction and by LookAgain, on the main thread
// while no job runs; otherwise they may be read on any thread. Drives are asked for their speeds
// each time.
#pragma once

#include "drive/drive_list.h"
#include "ui/models.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkspin {

// The text for the user when there is no drive to work with.
std::u16string NoDriveText(const DriveList& drives);

class DriveCatalog final : public IDriveCatalog {
  public:
    // Keeps `drives`; only this object may scan again.
    explicit DriveCatalog(DriveList& drives);

    // Checks for drives that have come or gone; their indices may change.
    void LookAgain();
    // What the user must know about drives that exist but can't be used; empty if there are none.
    std::u16string RefusedText() const;
    std::u16string NoDriveText() const { return larkspin::NoDriveText(m_drives); }

    size_t Count() override { return m_entries.size(); }
    std::u16string Name(size_t index) override { return m_entries.at(index).name; }
    std::u16string Label(size_t index) override { return m_entries.at(index).label; }
    std::vector<double> WriteSpeeds(size_t index) override;
    std::u16string DiskTypeName(uint32_t profile) override;

    // Index of the first drive with exactly this letter.
    std::optional<uint32_t> FindLetter(char16_t letter) const;
    // The letter for a user's name of a drive: a label such as "sr0", a device path such as
    // "/dev/sr0", or the letter itself, alone or with a colon. 0 if there is no such drive.
    char16_t LetterOf(std::u16string_view drive) const;

  private:
    struct Entry {
        std::u16string name;
        std::u16string label;
        char16_t letter = 0;
    };

    void TakeEntries();

    DriveList& m_drives;
    std::vector<Entry> m_entries;
};

} // namespace larkspin
