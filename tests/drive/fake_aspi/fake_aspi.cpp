// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// An ASPI library with one CD-ROM drive, for tests of the library path. Built a second time
// without one of the two exports.
#include "drive/fake_aspi/fake_aspi.h"

#include <thread>
#include <vector>

namespace {

using namespace larkspin;

FakeAspiControl g_control;

std::vector<std::jthread> g_workers; // they end commands later; joined when the library goes

uint8_t Execute(SRB_ExecSCSICmd& command) {
    switch (g_control.mode.load()) {
    case FakeAspiMode::Complete:
        CompleteFakeCommand(command, g_control.countsResidual);
        return SrbStatusOf(command.Header);
    case FakeAspiMode::CompleteLater:
        g_workers.emplace_back([&command] { CompleteFakeCommand(command); });
        return SS_PENDING;
    case FakeAspiMode::HangUntilAbort:
    case FakeAspiMode::HangForever:
        g_control.pending = &command;
        return SS_PENDING;
    }
    return SS_ERR;
}

uint8_t Abort(const SRB_Abort& abort) {
    ++g_control.aborts;
    if (g_control.mode == FakeAspiMode::HangUntilAbort) {
        std::atomic_ref<uint8_t>(abort.SRB_ToAbort->SRB_Status).store(SS_ABORTED);
    }
    return SS_COMP;
}

} // namespace

extern "C" {

FakeAspiControl* FakeAspi() {
    return &g_control;
}

uint32_t GetASPI32SupportInfo() {
    return g_control.supportInfo;
}

#ifdef FAKE_ASPI_INCOMPLETE
#define FAKE_ASPI_SEND SomeOtherExport
#else
#define FAKE_ASPI_SEND SendASPI32Command
#endif

uint32_t FAKE_ASPI_SEND(SrbHeader* srb) {
    switch (srb->SRB_Cmd) {
    case SC_GET_DEV_TYPE: {
        auto& block = *reinterpret_cast<SRB_GDEVBlock*>(srb);
        const bool isDrive = srb->SRB_HaId == 0 && block.SRB_Lun == 0 &&
                             block.SRB_Target == FakeAspiControl::kTarget;
        block.SRB_DeviceType = isDrive ? kTypeWriteOnce : kTypeNone; // the shim knows CD-ROM alone
        srb->SRB_Status = isDrive ? SS_COMP : SS_NO_DEVICE;
        return srb->SRB_Status;
    }
    case SC_HA_INQUIRY:
        reinterpret_cast<SRB_HAInquiry*>(srb)->HA_Unique[2] = g_control.countsResidual ? 2 : 0;
        srb->SRB_Status = SS_COMP;
        return srb->SRB_Status;
    case SC_EXEC_SCSI_CMD:
        return Execute(*reinterpret_cast<SRB_ExecSCSICmd*>(srb));
    case SC_ABORT_SRB:
        return Abort(*reinterpret_cast<SRB_Abort*>(srb));
    default:
        return SS_ERR;
    }
}

} // extern "C"
