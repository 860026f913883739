// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "usbdrive/disc_changer.h"

#include <utility>

namespace larkspin {

CDiscChanger::CDiscChanger(VirtualDrive& drive, std::string kind, Tell tell)
    : m_drive(drive), m_kind(std::move(kind)), m_tell(std::move(tell)) {
    m_drive.SetOnEject([this](const std::string& folder) { OnEject(folder); });
}

CDiscChanger::~CDiscChanger() {
    m_drive.SetOnEject({});
}

bool CDiscChanger::MakeDisc(const std::string& folder) {
    if (VirtualDrive::HoldsDisc(folder) || VirtualDrive::CreateDisc(folder, m_kind)) {
        return true;
    }
    m_tell("no " + m_kind + " disc can be had in " + folder);
    return false;
}

bool CDiscChanger::Begin(std::deque<std::string> folders) {
    for (const std::string& folder : folders) {
        if (!MakeDisc(folder)) {
            return false;
        }
    }
    const std::string first = folders.front();
    folders.pop_front();
    {
        const std::lock_guard lock(m_mutex);
        m_folders = std::move(folders);
    }
    m_drive.Insert(first);
    m_tell("in the drive: " + first);
    return true;
}

void CDiscChanger::OnEject(const std::string& folder) {
    std::string next = folder;
    {
        const std::lock_guard lock(m_mutex);
        if (!m_folders.empty()) {
            next = m_folders.front();
            m_folders.pop_front();
        }
    }
    m_tell("ejected: " + folder);
    if (m_drive.LayOnTray(next)) {
        m_tell("in the open tray: " + next);
    }
}

void CDiscChanger::Load(const std::string& folder) {
    if (!folder.empty() && !MakeDisc(folder)) {
        return;
    }
    if ((!folder.empty() && !m_drive.LayOnTray(folder)) || !m_drive.CloseTray()) {
        m_tell("the tray is closed; eject opens it");
    } else {
        m_tell(m_drive.HasDisc() ? "loaded" : "closed; there is no disc in the drive");
    }
}

void CDiscChanger::Command(const std::string& line) {
    const size_t blank = line.find(' ');
    const std::string word = line.substr(0, blank);
    if (word == "load") {
        Load(blank == std::string::npos ? "" : line.substr(blank + 1));
    } else if (word != "eject") {
        m_tell("eject: press the button; load: close the tray; load FOLDER: with this disc in it");
    } else if (!m_drive.PressEject()) {
        m_tell("the door is locked; the computer was told of the button");
    }
}

} // namespace larkspin
