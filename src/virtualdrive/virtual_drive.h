// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A virtual optical drive: the port interface over a disc that lives in a folder.
//
// It models a strict MMC drive: what a real one refuses is refused here with the sense a real one
// gives. A disc folder holds data tracks as plain .iso sectors, audio as .bin with a .cue, and the
// state beside them in a small text file, written so that a killed process leaves a disc that
// opens, and may hold a file of defects (defects.h). All calls may come from any thread; commands
// run one at a time, and a call that waits for nothing else never waits for a command that takes
// its time. A command whose modelled duration exceeds its time-out ends as timed out and the drive
// is reset, while what it began goes on.
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

// What a script makes of one command in place of running it.
struct InjectedAnswer {
    PortCompletion completion;
    bool runCommandFirst = false; // run it, then answer as told
    bool unlessItFails = false;   // having been run, it answers as told only if it succeeded
    bool garbageData = false;     // fill the data that goes to the host with garbage
    bool resetsDrive = false;     // as after a command that outlives its time-out
    // Bytes that go over, and no more than these reach the host. Empty: all that was asked for with
    // good status or a recovered error, none with another outcome. Takes the place of what
    // `completion` says.
    std::optional<uint32_t> moved;
};

class VirtualDrive final : public IScsiPort {
  public:
    // Sees each command before it runs, with its running number from 0; an empty result lets it
    // run. Called on the thread that sends the command.
    using Script =
        std::function<std::optional<InjectedAnswer>(const PortRequest& request, uint64_t number)>;

    using Speed = DriveTiming;

    // The drive sits at `letterIndex` under the name `displayName`.
    explicit VirtualDrive(IClock& clock, int letterIndex = kFirstLetterIndex,
                          std::u16string displayName = u"sr0");
    VirtualDrive(const VirtualDrive&) = delete;
    VirtualDrive& operator=(const VirtualDrive&) = delete;
    ~VirtualDrive() override;

    // Makes a blank disc of a kind in a folder that is new, or holds nothing but the file of its
    // defects (defects.h). Kinds: "cd-r", "cd-rw", "dvd-r",
    // "dvd-rw", "dvd-rw-ow", "dvd-ram", "dvd+r", "dvd+rw", "dvd+r-dl", "dvd-r-dl", "bd-r",
    // "bd-r-dl", "bd-r-xl", "bd-r-ql", "bd-re", "bd-re-dl". A BD has spare areas only as far as it
    // is formatted with them. `capacityBlocks` 0 takes the kind's usual one. False if the folder
    // can't be used.
    static bool CreateDisc(const std::string& folder, const std::string& kind,
                           uint32_t capacityBlocks = 0);

    // True if the folder holds a disc that Insert would take.
    static bool HoldsDisc(const std::string& folder);

    // Puts the disc of a folder into the drive (and takes the old one out): once it is up to speed,
    // unit attention follows. False if the folder holds no disc.
    bool Insert(const std::string& folder);
    void Remove();
    bool HasDisc();
    // Lays a disc into the open tray: who closes it, the host or CloseTray, takes the disc in.
    // False if the tray is closed.
    bool LayOnTray(const std::string& folder);
    // As a person closes the tray. False if it is closed.
    bool CloseTray();
    // As at power-on and at a reset of the bus: the door is unlocked, mode pages and speeds are the
    // default ones, a recording that must not pause is cut off, the disc comes up to speed anew,
    // and the host is told. What takes long, as blanking, goes on.
    void Reset();
    // As a person presses the button: the disc comes out, or, with the door locked, the host gets
    // an event. False if the tray did not open.
    bool PressEject();
    // Called when the disc is ejected, with its folder, on the thread of the command or of
    // PressEject.
    void SetOnEject(std::function<void(const std::string& folder)> onEject);
    void SetScript(Script script);
    void SetSpeed(const Speed& speed);
    bool IsDoorLocked();
    uint64_t CommandCount();

    bool IsOpticalDrive(int letterIndex) override;
    std::u16string DisplayName(int letterIndex) override;
    std::unique_ptr<IPortDevice> Open(int letterIndex, bool writeAccess) override;
    // No system mounts this drive's discs, and nobody else has it.
    LockResult LockAndDismount(int) override { return {}; }
    void Unlock(int) override {}

    // One command, as the port's device runs it.
    PortCompletion Execute(const PortRequest& request);

  private:
    class Impl;
    std::unique_ptr<Impl> m_pImpl;
};

} // namespace larkspin
