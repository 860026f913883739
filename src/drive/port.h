// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The port: what the pass-through shim needs of a platform. Linux implements it with SG_IO, the
// virtual drive directly, tests with scripts.
//
// Drives are known by letter index: 2 is "C:", 25 is "Z:"; on Linux /dev/sr0 sits at index 2.
//
// One thread at a time sends commands (the one that owns the drives, or one that looks at them
// while no job runs). A port whose drives come and go may be asked by others meanwhile for all but
// its locks.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace larkspin {

constexpr int kFirstLetterIndex = 2;
constexpr int kLastLetterIndex = 25;

enum class PortDirection : uint8_t { None, In, Out };

// Why a request never got an answer from the device; numbers are stable and go into the request
// block's error field.
enum class PortError : uint32_t {
    None = 0,          // the device answered; what it said is in the sense bytes
    AccessDenied = 5,  // the system refused the command: it never reached the device
    InvalidHandle = 6, // the device behind the handle is gone
    Failed = 31,       // the transport failed
    NotSupported = 50, // the port does not know this call
    MediaChanged = 1110,
    TimedOut = 1460, // the command outlived its time-out and was aborted
};

struct PortRequest {
    std::span<const uint8_t> cdb; // 6, 10 or 12 bytes
    PortDirection direction = PortDirection::None;
    void* data = nullptr;
    uint32_t length = 0;         // bytes at `data`
    uint32_t timeoutSeconds = 5; // never 0
};

struct PortCompletion {
    PortError error = PortError::None;
    uint8_t status = 0;                 // SCSI status byte: 0 good, 2 check condition
    std::array<uint8_t, 32> sense = {}; // fixed format (SPC), all zero when there is none
    // Bytes of the request's data that really went over, in its direction and never more than its
    // length. Behind them the buffer of a request for data holds nothing that the device said.
    uint32_t moved = 0;
};

// Address of a drive on its host: port (host adapter), target, logical unit.
struct PortAddress {
    uint8_t port = 0;
    uint8_t target = 0;
    uint8_t lun = 0;
};

// What became of locking a drive.
struct LockResult {
    enum class State {
        Held,       // nobody else mounts, polls or holds the drive until it is unlocked
        Refused,    // somebody else has it, or the user may not write to it
        NotOffered, // what serves the drive knows no lock; no reason not to use it
    };

    State state = State::Held;
    std::u16string reason; // why it was refused, in sentences for the user

    bool Refused() const { return state == State::Refused; }
};

class IPortDevice {
  public:
    virtual ~IPortDevice() = default;

    // Runs one command to its end or time-out.
    virtual PortCompletion Execute(const PortRequest& request) = 0;
    // PortError::NotSupported if the platform cannot tell the address.
    virtual PortError Address(PortAddress* address) = 0;
};

class IScsiPort {
  public:
    virtual ~IScsiPort() = default;

    // True if a CD-ROM type drive sits at this letter.
    virtual bool IsOpticalDrive(int letterIndex) = 0;
    // What the user knows the drive by, such as "sr0"; empty if there is none.
    virtual std::u16string DisplayName(int letterIndex) = 0;
    // Null if the device can't be opened. The first attempt of the caller asks for write access.
    virtual std::unique_ptr<IPortDevice> Open(int letterIndex, bool writeAccess) = 0;
    // Takes the volume in the drive away from the system (unmount) and keeps the device from
    // everybody else until Unlock. A drive that is held stays so. Blocks for a minute at most.
    virtual LockResult LockAndDismount(int letterIndex) = 0;
    virtual void Unlock(int letterIndex) = 0;

    // The next four are for a platform whose drives come and go and may be closed to the user.
    // Why Open gives nothing, in sentences for the user that name the drive; empty if nothing is
    // known to stand against it.
    virtual std::u16string WhyClosed([[maybe_unused]] int letterIndex) { return {}; }
    // The same for the drives that no letter is left for, one each.
    virtual std::vector<std::u16string> DrivesWithoutLetter() { return {}; }
    // Another program, as far as can be seen, has the drive open. Asks no drive.
    virtual bool IsInUse([[maybe_unused]] int letterIndex) { return false; }
    // Another text whenever drives have come, gone or been changed for others. Asks no drive.
    virtual std::string Inventory() { return {}; }
};

} // namespace larkspin
