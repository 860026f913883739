// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The folders that go into the drive one after the other, and what a person does at the drive:
// presses the button, puts a disc into the tray, closes it.
//
// When the tray opens, the next folder lies in it, and behind the last one the last; whoever closes
// the tray, the host or a person, takes it in. Calls may come from any thread.
#pragma once

#include "virtualdrive/virtual_drive.h"

#include <deque>
#include <functional>
#include <mutex>
#include <string>

namespace larkspin {

class CDiscChanger {
  public:
    // Tells the person at the drive what happened, a line without its end.
    using Tell = std::function<void(const std::string& line)>;

    // `kind`: of the blank disc that an empty folder becomes.
    CDiscChanger(VirtualDrive& drive, std::string kind, Tell tell);
    CDiscChanger(const CDiscChanger&) = delete;
    CDiscChanger& operator=(const CDiscChanger&) = delete;
    ~CDiscChanger();

    // Puts the first folder in; there is at least one. False (told) if one of them holds no disc
    // and can take none.
    bool Begin(std::deque<std::string> folders);

    // A line that a person typed: "eject", "load", "load FOLDER"; anything else is explained.
    void Command(const std::string& line);

  private:
    bool MakeDisc(const std::string& folder);
    void OnEject(const std::string& folder);
    void Load(const std::string& folder);

    VirtualDrive& m_drive;
    const std::string m_kind;
    const Tell m_tell;

    std::mutex m_mutex;
    std::deque<std::string> m_folders; // that follow; guarded by m_mutex
};

} // namespace larkspin
