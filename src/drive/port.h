// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The port: what the pass-through shim needs from a platform. Linux implements it with SG_IO, the
// virtual drive directly, tests with scripts.
//
// Drives are identified by letter index: 2 is "C:", 25 is "Z:"; on Linux /dev/sr0 has index 2.
//
// Only one thread at a time sends commands: the one that owns the drives, or one that looks at them
// while no job runs. On a port whose drives come and go, other threads may meanwhile call
// everything except the lock functions.
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

// Why a request got no answer from the device. The numbers are stable and go into the error field
// of the request block.
enum class PortError : uint32_t {
    None = 0,          // the device answered; see the sense bytes
    AccessDenied = 5,  // the system refused the command, which never reached the device
    InvalidHandle = 6, // the device behind the handle is gone
    Failed = 31,       // the transport failed
    NotSupported = 50, // the port does not support this call
    MediaChanged = 1110,
    TimedOut = 1460, // the command timed out and was aborted
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
    std::array<uint8_t, 32> sense = {}; // fixed format (SPC); all zeros if there is none
    // Bytes of the request's data that were really transferred; never more than its length. When
    // reading, the buffer holds nothing from the device beyond them.
    uint32_t moved = 0;
};

// Address of a drive on its host: port (host adapter), target, logical unit.
struct PortAddress {
    uint8_t port = 0;
    uint8_t target = 0;
    uint8_t lun = 0;
};

// The result of locking a drive.
struct LockResult {
    enum class State {
        Held,       // nobody else can mount, poll or hold the drive until it is unlocked
        Refused,    // somebody else has it, or the user may not write to it
        NotOffered, // there is no lock for this drive, which is no reason not to use it
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
    // PortError::NotSupported if the platform does not know the address.
    virtual PortError Address(PortAddress* address) = 0;
};

class IScsiPort {
  public:
    virtual ~IScsiPort() = default;

    // True if there is an optical drive at this letter.
    virtual bool IsOpticalDrive(int letterIndex) = 0;
    // The drive's name for the user, such as "sr0"; empty if it has none.
    virtual std::u16string DisplayName(int letterIndex) = 0;
    // Null if the device can't be opened. Callers ask for write access first.
    virtual std::unique_ptr<IPortDevice> Open(int letterIndex, bool writeAccess) = 0;
    // Unmounts the volume in the drive and keeps everybody else away from the device until Unlock.
    // A drive that is already held stays held. Blocks for at most a minute.
    virtual LockResult LockAndDismount(int letterIndex) = 0;
    virtual void Unlock(int letterIndex) = 0;

    // The next four are for a platform whose drives come and go and may be inaccessible to the
    // user. Why Open returns null, in sentences for the user that name the drive; empty if there is
    // no known reason.
    virtual std::u16string WhyClosed([[maybe_unused]] int letterIndex) { return {}; }
    // The same for the drives that got no letter, one text each.
    virtual std::vector<std::u16string> DrivesWithoutLetter() { return {}; }
    // True if another program is seen to have the drive open. Sends nothing to the drive.
    virtual bool IsInUse([[maybe_unused]] int letterIndex) { return false; }
    // A text that changes whenever drives have come, gone or been replaced. Sends nothing to a
    // drive.
    virtual std::string Inventory() { return {}; }
};

} // namespace larkspin
