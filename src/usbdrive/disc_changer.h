// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The folders that are inserted into the drive one after another, and what a person does at the
// drive: press the button, put a disc into the tray, close it.
//
// When the tray opens, the next folder is in it, or the last one again if there are no more.
// Whoever closes the tray, the host or a person, inserts it. Calls may come from any thread.
#pragma once

#include "virtualdrive/virtual_drive.h"

#include <deque>
#include <functional>
#include <mutex>
#include <string>

namespace larkspin {

class CDiscChanger {
  public:
    // Tells the person at the drive what happened: a line without a line break.
    using Tell = std::function<void(const std::string& line)>;

    // `kind`: of the blank disc created in an empty folder.
    CDiscChanger(VirtualDrive& drive, std::string kind, Tell tell);
    CDiscChanger(const CDiscChanger&) = delete;
    CDiscChanger& operator=(const CDiscChanger&) = delete;
    ~CDiscChanger();

    // Inserts the first folder; there is at least one. False, after a message, if one of them holds
    // no disc and none can be created there.
    bool Begin(std::deque<std::string> folders);

    // A line typed by a person: "eject", "load", "load FOLDER"; any other is answered with help.
    void Command(const std::string& line);

  private:
    bool MakeDisc(const std::string& folder);
    void OnEject(const std::string& folder);
    void Load(const std::string& folder);

    VirtualDrive& m_drive;
    const std::string m_kind;
    const Tell m_tell;

    std::mutex m_mutex;
    std::deque<std::string> m_folders; // still to come; guarded by m_mutex
};

} // namespace larkspin
