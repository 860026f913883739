// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// How a test steers the fake ASPI library; it gets the record from the export FakeAspi().
#pragma once

#include "drive/srb.h"

#include <atomic>
#include <cstdint>

namespace larkspin {

enum class FakeAspiMode {
    Complete,       // commands end before the call returns
    CompleteLater,  // they end on another thread
    HangUntilAbort, // they stay pending until they are aborted
    HangForever,    // they stay pending after that too
};

struct FakeAspiControl {
    std::atomic<FakeAspiMode> mode = FakeAspiMode::Complete;
    std::atomic<uint32_t> supportInfo = 0x0101; // one adapter
    std::atomic<int> aborts = 0;
    std::atomic<bool> countsResidual = false; // and then moves half of each command's data only
    // The last command that was left pending.
    std::atomic<SRB_ExecSCSICmd*> pending = nullptr;
    // Target of the one drive on adapter 0, LUN 0.
    static constexpr uint8_t kTarget = 2;
    // What an INQUIRY and any other command to the drive is answered with.
    static constexpr uint8_t kDataByte = 0xA5;
    // A command of this operation code ends in a check condition: sense 3, 11h, 5.
    static constexpr uint8_t kFailingOpcode = 0x28;
};

// Ends `command` as a library does when the device has answered: data, sense, then the status.
inline void CompleteFakeCommand(SRB_ExecSCSICmd& command, bool halfOfTheData = false) {
    const bool fails = command.CDBByte[0] == FakeAspiControl::kFailingOpcode;
    if ((command.Header.SRB_Flags & SRB_DIR_IN) != 0) {
        for (uint32_t index = 0; index < command.SRB_BufLen; ++index) {
            command.SRB_BufPointer[index] = FakeAspiControl::kDataByte;
        }
    }
    if (halfOfTheData && (command.Header.SRB_Flags & SRB_ENABLE_RESIDUAL_COUNT) != 0) {
        command.SRB_BufLen /= 2;
    }
    if (fails) {
        command.SenseArea[0] = 0x70;
        command.SenseArea[2] = 3;
        command.SenseArea[12] = 0x11;
        command.SenseArea[13] = 5;
    }
    std::atomic_ref<uint8_t>(command.Header.SRB_Status)
        .store(fails ? SS_ERR : SS_COMP, std::memory_order_release);
}

} // namespace larkspin
