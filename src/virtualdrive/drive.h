// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The drive's command set: parses a CDB, checks the unit (medium, attention, operations in
// progress) and runs the command. One file for each group of commands: unit_commands.cpp (the
// device, door and events), mode_commands.cpp (mode pages, configuration, speeds),
// disc_commands.cpp (what is on the disc), data_commands.cpp (reading, writing, closing, erasing).
//
// Not locked: VirtualDrive passes one command at a time.
#pragma once

#include "platform/clock.h"
#include "virtualdrive/command.h"
#include "virtualdrive/defects.h"
#include "virtualdrive/drive_timing.h"
#include "virtualdrive/medium.h"
#include "virtualdrive/mode_pages.h"
#include "virtualdrive/speed_model.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace larkspin {

class CDrive {
  public:
    explicit CDrive(IClock& clock);

    // The result of a command.
    struct Outcome {
        SenseCode code;
        std::optional<uint16_t> progress; // of an operation in progress, as a fraction of 65536
        uint64_t waitMs = 0;              // the command takes this long
        uint32_t moved = 0;               // bytes of data transferred, in either direction
        bool ejected = false;
    };
    Outcome Run(const CCommand& command);

    // Opens the disc of a folder and closes the tray. False if there is none; the old disc then
    // stays.
    bool Insert(const std::string& folder);
    // Takes the disc out; the tray closes.
    void Remove();
    // See VirtualDrive.
    void Reset();
    bool LayOnTray(const std::string& folder);
    bool CloseTray();
    bool PressEject();
    bool HasDisc() const { return m_medium != nullptr; }
    bool IsLocked() const { return m_isLocked; }
    // Of the disc in the drive, or the one just ejected.
    const std::string& Folder() const { return m_folder; }

    void Configure(const DriveTiming& timing);

  private:
    using Handler = SenseCode (CDrive::*)(const CCommand& command);

    // The conditions for running a command.
    enum Need : uint8_t {
        Always = 0,        // even with an attention pending or an operation in progress
        UnitAttention = 1, // reports a pending unit attention first
        Idle = 2,          // not while an operation is in progress
        Medium = 4,        // needs a disc
        Ready = 8,         // the disc, if any, must be up to speed
        Data = UnitAttention | Idle | Medium | Ready,
    };
    struct Row {
        uint8_t opcode;
        uint8_t needs;
        Handler handler;
    };
    static const Row* FindRow(uint8_t opcode);

    // An operation that continues after its command was answered.
    struct Operation {
        SenseCode code; // the answer to commands in the meantime
        uint64_t begin = 0;
        uint64_t end = 0;
    };

    enum class MediaEvent : uint8_t { None = 0, EjectRequest = 1, NewMedia = 2, Removal = 3 };

    SenseCode Check(const Row& row);
    // Returns the pending unit attentions one by one, each once, and then success.
    SenseCode TakeAttention();
    bool IsBusy();
    // The disc is not up to speed yet.
    bool IsSpinningUp() const { return SpinUpLeft() > 0; }
    uint64_t SpinUpLeft() const; // milliseconds
    void SpinUp();
    // Starts the disc if it has stopped after a long rest.
    void Wake();
    uint16_t Progress();
    // Starts a long operation, in the background if the command is immediate.
    void BeginLongOperation(const SenseCode& code, bool immediate);
    SenseCode NoMedium() const;
    // Formatting and blanking can change the kind of a disc.
    void AdoptKind();
    void RunBackground();
    void TakeOut(bool openTray);
    void SelectDefaultSpeeds();
    SpeedReport Speeds() const;
    SenseCode SelectPages(const CCommand& command, size_t headerBytes, uint32_t listBytes);
    SenseCode SensePages(const CCommand& command, bool longForm);
    SenseCode CheckWriteParameters() const;
    uint32_t ClosestWriteSpeed(uint32_t kiloBytes) const;
    SenseCode ReadBlocks(const CCommand& command, uint32_t count);
    SenseCode ReadCdBlocks(const CCommand& command, int32_t block, uint32_t count);
    // Reads blocks back, and compares them with `bytes` unless there are none.
    SenseCode ReadMedium(int32_t block, uint32_t count, std::span<uint8_t> data);
    std::vector<uint8_t> WithoutLost(int32_t first, uint32_t count, std::span<const uint8_t> data);
    SenseCode VerifyBlocks(int32_t block, uint32_t count, std::span<const uint8_t> bytes);
    SenseCode WriteBlocks(const CCommand& command, uint32_t count);

    // unit_commands.cpp
    SenseCode TestUnitReady(const CCommand& command);
    SenseCode RequestSense(const CCommand& command);
    SenseCode Inquiry(const CCommand& command);
    SenseCode VitalProductData(const CCommand& command);
    SenseCode ReportLuns(const CCommand& command);
    SenseCode StartStopUnit(const CCommand& command);
    SenseCode PreventAllow(const CCommand& command);
    SenseCode GetEventStatus(const CCommand& command);
    SenseCode MechanismStatus(const CCommand& command);
    // mode_commands.cpp
    SenseCode ModeSense6(const CCommand& command);
    SenseCode ModeSense10(const CCommand& command);
    SenseCode ModeSelect6(const CCommand& command);
    SenseCode ModeSelect10(const CCommand& command);
    SenseCode GetConfiguration(const CCommand& command);
    SenseCode SetCdSpeed(const CCommand& command);
    SenseCode GetPerformance(const CCommand& command);
    SenseCode SetStreaming(const CCommand& command);
    // disc_commands.cpp
    SenseCode ReadDiscInformation(const CCommand& command);
    SenseCode ReadTrackInformation(const CCommand& command);
    SenseCode ReadToc(const CCommand& command);
    SenseCode ReadCapacity(const CCommand& command);
    SenseCode ReadFormatCapacities(const CCommand& command);
    SenseCode ReadDiscStructure(const CCommand& command);
    SenseCode SendDiscStructure(const CCommand& command);
    SenseCode ReadBufferCapacity(const CCommand& command);
    // data_commands.cpp
    SenseCode Read10(const CCommand& command);
    SenseCode Read12(const CCommand& command);
    SenseCode ReadCd(const CCommand& command);
    SenseCode ReadCdMsf(const CCommand& command);
    SenseCode Seek(const CCommand& command);
    SenseCode SetReadAhead(const CCommand& command);
    SenseCode Verify(const CCommand& command);
    SenseCode WriteAndVerify(const CCommand& command);
    SenseCode RepairTrack(const CCommand& command);
    SenseCode Write10(const CCommand& command);
    SenseCode Write12(const CCommand& command);
    SenseCode SynchronizeCache(const CCommand& command);
    SenseCode CloseTrackSession(const CCommand& command);
    SenseCode ReserveTrack(const CCommand& command);
    SenseCode SendOpc(const CCommand& command);
    SenseCode SendCueSheet(const CCommand& command);
    SenseCode Blank(const CCommand& command);
    SenseCode FormatUnit(const CCommand& command);

    IClock& m_clock;
    CModePages m_pages;
    CSpeedModel m_speed;
    DriveTiming m_timing;
    uint32_t m_readKB = 0;
    uint32_t m_writeKB = 0;

    std::string m_folder;
    std::unique_ptr<CDiscStore> m_store;
    CDefects m_defects; // of the disc in m_store
    std::unique_ptr<IMedium> m_medium;
    std::string m_kind; // of m_medium
    uint64_t m_backgroundTick = 0;
    bool m_isTrayOpen = false;
    std::string m_onTray; // folder of the disc that lies in the open tray
    bool m_isLocked = false;
    bool m_hasAttention = false; // the medium may have changed
    bool m_hasReset = false;     // the drive was reset, which is reported first
    MediaEvent m_mediaEvent = MediaEvent::None;
    bool m_hasProfileEvent = false;
    std::optional<Operation> m_operation;
    uint64_t m_readyTick = 0; // when the disc will be up to speed
    uint64_t m_usedTick = 0;  // when it was last needed

    // Of the running command.
    uint64_t m_waitMs = 0;
    bool m_ejected = false;
};

} // namespace larkspin
