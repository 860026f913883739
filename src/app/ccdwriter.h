// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CCDWriter: the engine. It owns the queue with its estimates and notices, and runs the jobs.
//
// One job runs at a time, on a thread of its own. The gate is taken before the thread is made, so
// that of two requests only one gets through. The start operations and BeginQuit are called on the
// main thread; everything else may be called on any.
//
// Leaving while a job runs: the wish is remembered, and the program is asked to end when the job
// has ended by itself. A job that has begun to change its disc is never cut short by it, one that
// has not ends at its next test. Once the program has been asked to end no
// further job is started.
//
// No path that was accepted is lost but by the user's own wish: the end of a job ends the program
// only if the queue is empty then, and else tells what is still there.
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

// Whether a disc is read back when it is written; the user may choose otherwise in the dialog.
enum class VerifyWish : uint32_t { AsSet = 0, Yes = 1, No = 2 };

class CCDWriter final : public JobHost, public IQueueModel {
  public:
    struct Options {
        std::chrono::milliseconds queueSettle{1000};
        std::chrono::milliseconds discPause{3000}; // between two looks at the drives
        ThreadStarter startThread = [](std::function<void()> body) {
            return std::thread(std::move(body));
        };
        // Empty takes GetAudioFileLength.
        ItemMeasures::AudioLength audioLength;
        // Where the machine is asked to stay awake while a job runs; null asks nobody. Kept.
        ISystemBus* systemBus = nullptr;
        // Shows a notification of the desktop that stays when the program has gone, with a sound if
        // `beep`. False if the desktop has none; empty for such a desktop. On the job's thread.
        std::function<bool(const std::u16string& text, bool beep)> notify;
    };

    // All references are kept.
    CCDWriter(DriveList& drives, ISettingsStore& store, IFileSystem& files, IClock& clock,
              Options options);
    CCDWriter(DriveList& drives, ISettingsStore& store, IFileSystem& files, IClock& clock)
        : CCDWriter(drives, store, files, clock, Options()) {}
    CCDWriter(const CCDWriter&) = delete;
    CCDWriter& operator=(const CCDWriter&) = delete;
    ~CCDWriter() override { Detach(); }

    // Gives the engine its user interface and starts the watchers. Both must stay until Detach.
    void Attach(CCDWriterUI& ui, IMainView& view);
    // Waits for the job and ends the watchers. The engine is of no more use then.
    void Detach();

    // --- the queue ---
    // False, and not taken, if the program is about to end.
    bool AddPath(const std::u16string& path);
    void ClearQueue() { m_queue.Clear(); }
    void RecheckAllAudio() { m_queue.RecheckAllAudio(); }
    // The queue belongs to a feeding program from now on: it is cleared, and no notice comes any
    // more.
    void TakeOverQueue();
    bool IsQueueEmpty() { return m_queue.IsEmpty(); }
    bool IsAllAudio() const { return m_queue.IsAllAudio(); }
    // Empty while the queue is being measured.
    std::optional<std::u16string> QueueSummaryText();

    // --- the jobs ---
    // Throw CCDWriterError when a job runs already or no thread can be had.
    void StartErase(uint32_t driveIndex);
    void StartVerify(uint32_t driveIndex);
    void StartImageBurn(const std::u16string& path, VerifyWish verify = VerifyWish::AsSet);
    void StartAudioWrite(VerifyWish verify = VerifyWish::AsSet);
    void StartDataWrite(VerifyWish verify = VerifyWish::AsSet);
    bool IsBusy() const { return m_bBusy; }
    JobMonitor& Monitor() { return m_monitor; }
    // True when the program may end now. False while a job runs: the user interface is asked to
    // end the program (RequestExit) when the job is over.
    bool BeginQuit();
    // The program ends now or with the job that runs, and the queue with it.
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
    std::optional<ObservedUi> m_ui; // by the monitor
    IMainView* m_pView = nullptr;

    ItemMeasures m_measures;
    QueueWatcher m_watcher;
    WriteQueue m_queue;
    std::atomic<bool> m_bAudioWanted = false; // the playing time of a queue that isn't all audio
    std::atomic<bool> m_bExclusiveQueue = false;
    std::mutex m_totalMutex;           // guards the next three
    std::optional<uint64_t> m_totalOf; // version of the queue that has this total
    std::u16string m_strTotal;
    QueueNeeds m_needs;
    uint64_t m_nCopied = 0; // latest arrival that the job has; the job thread's
    Settings m_settings;    // after the construction, the job thread's

    // Guards the members below, the hand-over to a new job thread, and that no path comes between
    // the last look at the queue and the end.
    std::mutex m_gate;
    std::atomic<bool> m_bBusy = false;
    std::atomic<VerifyWish> m_verify = VerifyWish::AsSet; // of the job that runs
    bool m_bQuitWhenDone = false;
    bool m_bLeaving = false; // the program has been asked to end
    std::thread m_hJobThread;
    DiscWatcher m_discs; // asks whether a job runs
};

} // namespace larkspin
