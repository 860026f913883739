// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CCDWriter: the engine. It owns the queue with its sizes and notices, and runs the jobs.
//
// One job runs at a time, on its own thread. The gate is taken before the thread is created, so
// that only one of two simultaneous requests succeeds. The start operations and BeginQuit are
// called on the main thread; everything else may be called on any thread.
//
// Leaving while a job runs: the request is remembered, and the program is asked to exit when the
// job has ended by itself. This never interrupts a job that has begun to change its disc; one that
// has not ends the next time it checks. Once the program has been asked to exit, no further job is
// started.
//
// A path that was accepted is never lost against the user's wishes: the end of a job ends the
// program only if the queue is then empty; otherwise the user is told what is still there.
#pragma once

#include "app/disc_watcher.h"
#include "app/errors.h"
#include "app/job_monitor.h"
#include "app/measures.h"
#include "app/queue.h"
#include "app/queue_watcher.h"
#include "app/settings.h"
#include "jobs/jobs.h"
#include "platform/system_bus.h"
#include "ui/models.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace larkspin {

// Whether a disc is read back after it is written; the user may choose otherwise in the dialog.
enum class VerifyWish : uint32_t { AsSet = 0, Yes = 1, No = 2 };

class CCDWriter final : public JobHost, public IQueueModel {
  public:
    struct Options {
        std::chrono::milliseconds queueSettle{1000};
        std::chrono::milliseconds discPause{3000}; // between two looks at the drives
        ThreadStarter startThread = [](std::function<void()> body) {
            return std::thread(std::move(body));
        };
        // If empty, GetAudioFileLength is used.
        ItemMeasures::AudioLength audioLength;
        // Used to keep the machine awake while a job runs; null for no bus. Kept.
        ISystemBus* systemBus = nullptr;
        // Shows a desktop notification that outlives the program, with a sound if `beep`. False if
        // the desktop can't; may be empty. Called on the job's thread.
        std::function<bool(const std::u16string& text, bool beep)> notify;
    };

    // Keeps all references.
    CCDWriter(DriveList& drives, ISettingsStore& store, IFileSystem& files, IClock& clock,
              Options options);
    CCDWriter(DriveList& drives, ISettingsStore& store, IFileSystem& files, IClock& clock)
        : CCDWriter(drives, store, files, clock, Options()) {}
    CCDWriter(const CCDWriter&) = delete;
    CCDWriter& operator=(const CCDWriter&) = delete;
    ~CCDWriter() override { Detach(); }

    // Gives the engine its user interface and starts the watchers. Both must live until Detach.
    void Attach(CCDWriterUI& ui, IMainView& view);
    // Waits for the job and ends the watchers. After that, the engine can't be used any more.
    void Detach();

    // --- the queue ---
    // Returns false, and does not add the path, if the program is about to exit.
    bool AddPath(const std::u16string& path);
    void ClearQueue() { m_queue.Clear(); }
    void RecheckAllAudio() { m_queue.RecheckAllAudio(); }
    // From now on, the queue belongs to a feeding program: it is cleared, and no more notices are
    // shown.
    void TakeOverQueue();
    bool IsQueueEmpty() { return m_queue.IsEmpty(); }
    bool IsAllAudio() const { return m_queue.IsAllAudio(); }
    // Empty while the queue is still being measured.
    std::optional<std::u16string> QueueSummaryText();

    // --- the jobs ---
    // Throw CCDWriterError if a job is already running or no thread is available.
    void StartErase(uint32_t driveIndex);
    void StartVerify(uint32_t driveIndex);
    void StartImageBurn(const std::u16string& path, VerifyWish verify = VerifyWish::AsSet);
    void StartAudioWrite(VerifyWish verify = VerifyWish::AsSet);
    void StartDataWrite(VerifyWish verify = VerifyWish::AsSet);
    bool IsBusy() const { return m_bBusy; }
    JobMonitor& Monitor() { return m_monitor; }
    // True if the program may exit now. False while a job runs: once it is over, the user interface
    // is asked to end the program (RequestExit).
    bool BeginQuit();
    // The program exits, with its queue, now or at the end of the current job.
    bool IsLeaving() override;

    // JobHost
    std::vector<std::u16string> CopyQueue() override { return m_queue.Paths(&m_nCopied); }
    void TakePaths() override { m_queue.RemoveUpTo(m_nCopied); }
    bool IsQueueExclusive() override { return m_bExclusiveQueue; }
    std::optional<uint32_t> QueueAudioBytes() override;
    std::u16string DataHeaderText() override;
    std::u16string AudioHeaderText(uint32_t audioBytes) override;
    void LoadSettings() override { m_settings.Load(); }
    bool BufferUnderrunProtection() override { return m_settings.BufferUnderrunProtection != 0; }
    bool WriteSpeedControl() override { return m_settings.WriteSpeedControl != 0; }
    bool VerifyAfterWriting() override;
    void TellSuccess(const std::u16string& what) override;

    // IQueueModel
    std::vector<std::u16string> Paths() override { return m_queue.Paths(); }
    void Remove(const std::vector<std::u16string>& paths) override { m_queue.Remove(paths); }
    void Move(const std::vector<std::u16string>& paths, const std::u16string& before) override {
        m_queue.Move(paths, before);
    }
    QueueState State(bool showsDiscs) override;
    std::optional<std::u16string> HeaderText(JobKind kind) override;

  private:
    using JobBody = std::function<JobEnd(JobEnv& env)>;

    std::optional<uint64_t> QueueBytes();
    std::u16string TotalText(QueueNeeds* needs);
    std::optional<QueueTotals> MeasureQueue(const std::stop_token& stop);
    void StartJob(JobKind kind, JobBody body, VerifyWish verify = VerifyWish::AsSet);
    void JobThread(const JobBody& body);
    void EndJob(JobEnd end);

    DriveList& m_drives;
    IFileSystem& m_files;
    IClock& m_clock;
    const ThreadStarter m_startThread;
    ISystemBus* const m_pSystemBus;
    const std::function<bool(const std::u16string&, bool)> m_notify;
    JobMonitor m_monitor;
    std::optional<ObservedUi> m_ui; // with the monitor as its observer
    IMainView* m_pView = nullptr;

    ItemMeasures m_measures;
    QueueWatcher m_watcher;
    WriteQueue m_queue;
    std::atomic<bool> m_bAudioWanted = false; // the playing time, even if not all is audio
    std::atomic<bool> m_bExclusiveQueue = false;
    std::mutex m_totalMutex;           // guards the next three
    std::optional<uint64_t> m_totalOf; // the queue version that has this total
    std::u16string m_strTotal;
    QueueNeeds m_needs;
    uint64_t m_nCopied = 0; // the latest arrival that the job has seen; used by the job's thread
    Settings m_settings;    // used by the job's thread, once constructed

    // Guards the members below and the hand-over to a new job thread, and makes sure that no path
    // arrives between the last look at the queue and the exit.
    std::mutex m_gate;
    std::atomic<bool> m_bBusy = false;
    std::atomic<VerifyWish> m_verify = VerifyWish::AsSet; // of the current job
    bool m_bQuitWhenDone = false;
    bool m_bLeaving = false; // the program has been asked to exit
    std::thread m_hJobThread;
    DiscWatcher m_discs; // asks whether a job runs
};

} // namespace larkspin
