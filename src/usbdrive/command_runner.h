// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Runs the bus's commands on the virtual drive, on a thread of its own: a command may take its
// time while the bus wants answers at once.
//
// A drive on this bus has no place for sense data in its answers: the host fetches it with REQUEST
// SENSE, and the drive keeps what the last command left until then, or until another comes (SPC,
// "Sense data").
#pragma once

#include "usbdrive/bulk_only.h"
#include "virtualdrive/virtual_drive.h"

#include <array>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace larkspin {

class CCommandRunner final : public IScsiUnit {
  public:
    // `log` may be null; it gets one line a command, fields separated by tabs: the CDB, the bytes
    // that moved ("/" those that the host sent), the SCSI status, the sense, milliseconds.
    CCommandRunner(VirtualDrive& drive, std::FILE* log);
    CCommandRunner(const CCommandRunner&) = delete;
    CCommandRunner& operator=(const CCommandRunner&) = delete;
    // Lets the command that runs end; what waits is dropped.
    ~CCommandRunner() override;

    void Start(ScsiJob job) override;

    // Readable while there are results.
    int Descriptor() const { return m_event; }
    // Results since the last call. The thread that serves the bus takes them.
    std::vector<ScsiResult> TakeResults();

  private:
    void Work();
    ScsiResult Execute(ScsiJob& job);
    void Log(const ScsiJob& job, const PortCompletion& completion, uint32_t wanted,
             uint64_t milliseconds);

    VirtualDrive& m_drive;
    std::FILE* m_log;
    int m_event;
    std::optional<std::array<uint8_t, 32>> m_sense; // the worker's own

    std::mutex m_mutex; // guards all below
    std::condition_variable m_wake;
    std::deque<ScsiJob> m_jobs;
    std::vector<ScsiResult> m_results;
    bool m_isLeaving = false;

    std::thread m_worker; // last: everything is there when it begins
};

} // namespace larkspin
