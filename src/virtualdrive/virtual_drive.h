// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A virtual optical drive: the port interface for a disc that is stored in a folder.
//
// It models a strict MMC drive: what a real one refuses is refused here with the same sense. A disc
// folder holds data tracks as plain .iso sectors, audio as .bin with a .cue, and the state in a
// small text file, written so that a killed process leaves a disc that can be opened. It may also
// hold a file of defects (defects.h). All calls may come from any thread. Commands run one at a
// time, and a call that need not wait for anything else never waits for a slow command. A command
// whose modelled duration exceeds its time-out ends as timed out and the drive is reset, while the
// operation that it began continues.
#pragma once

#include "drive/port.h"
#include "platform/clock.h"
#include "virtualdrive/drive_timing.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace larkspin {

// A script's answer to a command, instead of running it.
struct InjectedAnswer {
    PortCompletion completion;
    bool runCommandFirst = false; // run it, then give this answer
    bool unlessItFails = false;   // after running it, give this answer only if it succeeded
    bool garbageData = false;     // fill the data for the host with garbage
    bool resetsDrive = false;     // as after a command that timed out
    // Bytes transferred, and no more than these reach the host. Empty: all that was requested with
    // good status or a recovered error, otherwise none. Overrides `completion`.
    std::optional<uint32_t> moved;
};

class VirtualDrive final : public IScsiPort {
  public:
    // Called for each command before it runs, with its number from 0, on the thread that sends it.
    // With an empty result, the command runs.
    using Script =
        std::function<std::optional<InjectedAnswer>(const PortRequest& request, uint64_t number)>;

    using Speed = DriveTiming;

    // The drive has the letter index `letterIndex` and the name `displayName`.
    explicit VirtualDrive(IClock& clock, int letterIndex = kFirstLetterIndex,
                          std::u16string displayName = u"sr0");
    VirtualDrive(const VirtualDrive&) = delete;
    VirtualDrive& operator=(const VirtualDrive&) = delete;
    ~VirtualDrive() override;

    // Creates a blank disc of a kind in a folder that does not exist, or contains only the file of
    // its defects (defects.h). Kinds: "cd-r", "cd-rw", "dvd-r", "dvd-rw", "dvd-rw-ow", "dvd-ram",
    // "dvd+r", "dvd+rw", "dvd+r-dl", "dvd-r-dl", "bd-r", "bd-r-dl", "bd-r-xl", "bd-r-ql", "bd-re",
    // "bd-re-dl". A BD only has spare areas if it is formatted with them. `capacityBlocks` 0
    // selects the usual capacity of the kind. False if the folder can't be used.
    static bool CreateDisc(const std::string& folder, const std::string& kind,
                           uint32_t capacityBlocks = 0);

    // True if the folder holds a disc that Insert would accept.
    static bool HoldsDisc(const std::string& folder);

    // Inserts the disc of a folder, removing the old one: once it is up to speed, a unit attention
    // follows. False if the folder holds no disc.
    bool Insert(const std::string& folder);
    void Remove();
    bool HasDisc();
    // Puts a disc into the open tray; whoever closes it, the host or CloseTray, inserts the disc.
    // False if the tray is closed.
    bool LayOnTray(const std::string& folder);
    // Closes the tray as a person would. False if it is already closed.
    bool CloseTray();
    // Resets the drive as at power-on or by a bus reset: the door is unlocked, mode pages and
    // speeds return to their defaults, a recording that must not pause is interrupted, the disc
    // spins up again, and the host is notified. Long operations, such as blanking, continue.
    void Reset();
    // Presses the button as a person would: the disc is ejected, or, if the door is locked, the
    // host gets an event. False if the tray did not open.
    bool PressEject();
    // Called with the disc's folder when it is ejected, on the thread of the command or of
    // PressEject.
    void SetOnEject(std::function<void(const std::string& folder)> onEject);
    void SetScript(Script script);
    void SetSpeed(const Speed& speed);
    bool IsDoorLocked();
    uint64_t CommandCount();

    bool IsOpticalDrive(int letterIndex) override;
    std::u16string DisplayName(int letterIndex) override;
    std::unique_ptr<IPortDevice> Open(int letterIndex, bool writeAccess) override;
    // No system mounts this drive's discs, and nobody else uses it.
    LockResult LockAndDismount(int) override { return {}; }
    void Unlock(int) override {}

    // Runs one command, like the port's device.
    PortCompletion Execute(const PortRequest& request);

  private:
    class Impl;
    std::unique_ptr<Impl> m_pImpl;
};

} // namespace larkspin
