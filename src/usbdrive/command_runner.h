// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Runs the bus's commands on the virtual drive, on its own thread: a command may take its time
// while the bus needs answers at once.
//
// On this bus, a drive's answers have no room for sense data: the host fetches it with REQUEST
// SENSE, and the drive keeps the sense of the last command until then, or until the next command
// (SPC, "Sense data").
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
    // `log` may be null; it gets one line for each command, with fields separated by tabs: the CDB,
    // the bytes transferred ("/" before those from the host), the SCSI status, the sense, and
    // milliseconds.
    CCommandRunner(VirtualDrive& drive, std::FILE* log);
    CCommandRunner(const CCommandRunner&) = delete;
    CCommandRunner& operator=(const CCommandRunner&) = delete;
    // Waits for the running command; those still waiting are dropped.
    ~CCommandRunner() override;

    void Start(ScsiJob job) override;

    // Readable while there are results.
    int Descriptor() const { return m_event; }
    // Results since the last call. For the thread that serves the bus.
    std::vector<ScsiResult> TakeResults();

  private:
    void Work();
    ScsiResult Execute(ScsiJob& job);
    void Log(const ScsiJob& job, const PortCompletion& completion, uint32_t wanted,
             uint64_t milliseconds);

    VirtualDrive& m_drive;
    std::FILE* m_log;
    int m_event;
    std::optional<std::array<uint8_t, 32>> m_sense; // used only by the worker

    std::mutex m_mutex; // guards everything below
    std::condition_variable m_wake;
    std::deque<ScsiJob> m_jobs;
    std::vector<ScsiResult> m_results;
    bool m_isLeaving = false;

    std::thread m_worker; // last, because it uses everything above
};

} // namespace larkspin
