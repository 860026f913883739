// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/ccdwriter.h"
#include "app/stay_awake.h"
#include "audio/factory.h"
#include "jobs/capacity_marks.h"
#include "jobs/file_list.h"
#include "platform/insist.h"
#include "platform/text.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <numeric>
#include <utility>

namespace larkspin {

namespace {

constexpr uint32_t kNoticeTimeMs = 30000;
constexpr size_t kMostPathsTold = 5;
constexpr uint32_t kSecondsPerMinute = 60;

constexpr const char* kBusy = "Cannot perform your request right now. Disk operation in progress.";
constexpr const char* kNoThread = "Internal error #124. Disk operation cannot be started.";

// The two arguments of "%d:%02d (min:sec)".
struct PlayingTime {
    explicit PlayingTime(uint32_t audioBytes)
        : minutes(audioBytes / kPcmBytesPerSecond / kSecondsPerMinute),
          seconds(audioBytes / kPcmBytesPerSecond % kSecondsPerMinute) {}

    uint32_t minutes;
    uint32_t seconds;
};

std::string SizeText(uint64_t bytes) {
    return ToNative(FormatSize(static_cast<long long>(bytes)));
}

std::u16string StillQueuedText(const std::vector<std::u16string>& paths) {
    std::u16string text = u"These have not been written yet and are still in the queue:\n";
    const size_t shown = std::min(paths.size(), kMostPathsTold);
    for (size_t i = 0; i < shown; ++i) {
        text += u"\n" + paths[i];
    }
    if (paths.size() > shown) {
        text += FormatWide("\n...and %zu more.", paths.size() - shown);
    }
    return text;
}

uint32_t HeldAudioBytes(uint64_t bytes) {
    return static_cast<uint32_t>(std::min<uint64_t>(bytes, std::numeric_limits<uint32_t>::max()));
}

} // namespace

CCDWriter::CCDWriter(DriveList& drives, ISettingsStore& store, IFileSystem& files, IClock& clock,
                     Options options)
    : m_drives(drives), m_files(files), m_clock(clock),
      m_startThread(std::move(options.startThread)), m_pSystemBus(options.systemBus),
      m_notify(std::move(options.notify)),
      m_measures(files, options.audioLength ? std::move(options.audioLength)
                                            : ItemMeasures::AudioLength(GetAudioFileLength)),
      m_watcher([this](const std::stop_token& stop) { return MeasureQueue(stop); },
                options.queueSettle),
      m_queue([this] { m_watcher.QueueChanged(); }), m_settings(store),
      m_discs(
          clock, [this] { return !m_bBusy; }, options.discPause) {}

void CCDWriter::Attach(CCDWriterUI& ui, IMainView& view) {
    m_ui.emplace(ui, m_monitor);
    m_pView = &view;
    m_watcher.Start([&view](const QueueNotice& notice) {
        view.ShowBalloon(notice.text, notice.title, notice.icon, kNoticeTimeMs);
    });
    m_discs.Start(m_drives.Port());
}

void CCDWriter::Detach() {
    if (m_hJobThread.joinable()) {
        m_hJobThread.join();
    }
    m_watcher.Stop();
    m_discs.Stop();
}

// --- the queue ---

bool CCDWriter::AddPath(const std::u16string& path) {
    const std::lock_guard lock(m_gate);
    if (m_bLeaving || m_bQuitWhenDone) {
        return false;
    }
    m_queue.Add(path);
    return true;
}

void CCDWriter::TakeOverQueue() {
    ClearQueue();
    m_watcher.Silence();
    m_bExclusiveQueue = true;
}

std::optional<uint64_t> CCDWriter::QueueBytes() {
    uint64_t sum = 0;
    for (const std::u16string& path : m_queue.Paths()) {
        const std::optional<uint64_t> bytes = m_measures.KnownBytes(path);
        if (!bytes) {
            m_watcher.Hurry();
            return std::nullopt;
        }
        sum += *bytes;
    }
    return sum;
}

std::optional<uint32_t> CCDWriter::QueueAudioBytes() {
    uint64_t sum = 0;
    for (const std::u16string& path : m_queue.Paths()) {
        const std::optional<uint32_t> bytes = m_measures.KnownAudioBytes(path);
        if (!bytes) {
            m_bAudioWanted = true;
            m_watcher.Hurry();
            return std::nullopt;
        }
        sum += *bytes;
    }
    return HeldAudioBytes(sum);
}

std::optional<QueueTotals> CCDWriter::MeasureQueue(const std::stop_token& stop) {
    QueueTotals totals;
    totals.allAudio = m_queue.IsAllAudio();
    const std::vector<std::u16string> paths = m_queue.Paths();
    for (const std::u16string& path : paths) {
        const std::optional<uint64_t> bytes = m_measures.ItemBytes(path, stop);
        if (!bytes || stop.stop_requested()) {
            return std::nullopt;
        }
        totals.bytes += *bytes;
    }
    if (!totals.allAudio && !m_bAudioWanted) {
        return totals;
    }
    uint64_t audioBytes = 0;
    for (const std::u16string& path : paths) {
        const std::optional<uint32_t> bytes = m_measures.ItemAudioBytes(path, stop);
        if (!bytes) {
            return std::nullopt;
        }
        audioBytes += *bytes;
    }
    totals.audioBytes = totals.allAudio ? HeldAudioBytes(audioBytes) : 0;
    return totals;
}

std::optional<std::u16string> CCDWriter::QueueSummaryText() {
    const std::vector<std::u16string> paths = m_queue.Paths();
    if (paths.empty()) {
        return u"Queue is empty.";
    }
    const bool allAudio = m_queue.IsAllAudio();
    const std::optional<uint64_t> bytes = QueueBytes();
    const std::optional<uint32_t> audioBytes = allAudio ? QueueAudioBytes() : 0;
    if (!bytes || !audioBytes) {
        return std::nullopt;
    }
    const auto folders =
        std::count_if(paths.begin(), paths.end(), [this](const std::u16string& path) {
            return m_measures.IsKnownFolder(path);
        });
    const auto files = static_cast<std::ptrdiff_t>(paths.size()) - folders;
    std::u16string text = FormatWide("Queue contains %td files and %td folders.\n"
                                     "Total data to write is approximatelly %s.\n\n",
                                     files, folders, SizeText(*bytes).c_str());
    if (!allAudio) {
        return text + u"Queue contains non-audio files. Writing Audio CD is impossible";
    }
    const PlayingTime time(*audioBytes);
    return text + FormatWide("All files in queue are audio files. Writing Audio CD is possible.\n"
                             "Total audio duration is %u:%02u (min:sec).",
                             time.minutes, time.seconds);
}

std::u16string CCDWriter::DataHeaderText() {
    return HeaderText(JobKind::Data).value_or(kCalculating);
}

std::u16string CCDWriter::AudioHeaderText(uint32_t audioBytes) {
    const PlayingTime time(audioBytes);
    return FormatWide("Queue contains %u:%02u (min:sec) of audio.", time.minutes, time.seconds);
}

std::optional<std::u16string> CCDWriter::HeaderText(JobKind kind) {
    if (kind == JobKind::Audio) {
        const std::optional<uint32_t> audioBytes = QueueAudioBytes();
        return audioBytes ? std::optional(AudioHeaderText(*audioBytes)) : std::nullopt;
    }
    const std::optional<uint64_t> bytes = QueueBytes();
    if (!bytes) {
        return std::nullopt;
    }
    return FormatWide("Queue contains approximately %s.", SizeText(*bytes).c_str()) +
           DiscSuffix(*bytes, u" BluRay or HD DVD disc required.");
}

// *needs does not include what has not been measured yet.
std::u16string CCDWriter::TotalText(QueueNeeds* needs) {
    const std::lock_guard lock(m_totalMutex);
    const uint64_t version = m_queue.Version();
    if (m_totalOf != version) {
        const bool allAudio = m_queue.IsAllAudio();
        const std::optional<std::u16string> data = HeaderText(JobKind::Data);
        const std::optional<std::u16string> audio =
            allAudio ? HeaderText(JobKind::Audio) : std::u16string();
        if (!data || !audio) {
            return kCalculating;
        }
        m_totalOf = version;
        m_strTotal = *data + (allAudio ? u"\n" + *audio : std::u16string());
        m_needs = {QueueBytes(), allAudio ? QueueAudioBytes() : std::nullopt};
    }
    *needs = m_needs;
    return m_strTotal;
}

QueueState CCDWriter::State(bool showsDiscs) {
    // The version first: a change that comes in between is noticed next time.
    QueueState state = {m_queue.Version(), m_queue.IsAllAudio(), {}, {}};
    QueueNeeds needs;
    if (!m_queue.IsEmpty()) {
        state.strTotal = TotalText(&needs);
    }
    if (showsDiscs) {
        state.strDiscs = DiscsText(m_discs.Discs(), needs);
    }
    return state;
}

// --- the jobs ---

void CCDWriter::StartErase(uint32_t driveIndex) {
    StartJob(JobKind::Erase, [driveIndex](JobEnv& env) { return EraseJob(env, driveIndex); });
}

void CCDWriter::StartVerify(uint32_t driveIndex) {
    StartJob(JobKind::Verify, [driveIndex](JobEnv& env) { return VerifyJob(env, driveIndex); });
}

void CCDWriter::StartImageBurn(const std::u16string& path, VerifyWish verify) {
    StartJob(
        JobKind::Image, [path](JobEnv& env) { return ImageJob(env, path); }, verify);
}

void CCDWriter::StartAudioWrite(VerifyWish verify) {
    StartJob(JobKind::Audio, AudioJob, verify);
}

void CCDWriter::StartDataWrite(VerifyWish verify) {
    StartJob(JobKind::Data, DataJob, verify);
}

bool CCDWriter::VerifyAfterWriting() {
    const VerifyWish wish = m_verify;
    return wish == VerifyWish::AsSet ? m_settings.VerifyAfterWriting != 0 : wish == VerifyWish::Yes;
}

void CCDWriter::TellSuccess(const std::u16string& what) {
    const bool isTold = m_notify && m_notify(what, m_settings.BeepWhenDone != 0);
    if (!isTold && !IsLeaving()) { // nobody will read a box when the program is about to exit
        m_ui->ShowMessage(what);
    }
    m_monitor.Succeed();
}

void CCDWriter::StartJob(JobKind kind, JobBody body, VerifyWish verify) {
    const std::lock_guard lock(m_gate);
    if (m_bBusy || m_bLeaving) {
        throw CCDWriterError(kBusy);
    }
    // The last job's thread has nothing left to do that needs the gate.
    if (m_hJobThread.joinable()) {
        m_hJobThread.join();
    }
    m_bBusy = true;
    m_verify = verify;
    try {
        m_monitor.Begin(kind);
        m_hJobThread = m_startThread([this, work = std::move(body)] { JobThread(work); });
    } catch (const std::exception&) { // no thread is available, or no memory for one
        m_bBusy = false;
        m_monitor.Fail();
        Insist([this] { m_monitor.End(); });
        throw CCDWriterError(kNoThread);
    }
}

void CCDWriter::JobThread(const JobBody& body) {
    m_discs.StandBack();
    JobEnv env{*this, *m_ui, m_drives, m_files, m_clock, m_startThread};
    JobEnd end = JobEnd::Exit;
    {
        const StayAwake awake(m_pSystemBus);
        end = RunJob(env, [&] { return body(env); });
    }
    EndJob(end);
}

void CCDWriter::EndJob(JobEnd end) {
    bool leave = false;
    {
        const std::lock_guard lock(m_gate);
        m_bLeaving = m_bLeaving || m_bQuitWhenDone || (end == JobEnd::Exit && m_queue.IsEmpty());
        leave = m_bLeaving;
        m_bBusy = false;
    }
    Insist([this] { m_monitor.End(); }); // after another job may be started, and before the exit
    if (leave) {
        Insist([this] { m_ui->RequestExit(); });
    } else if (end == JobEnd::Exit) {
        Insist([this] {
            // It may have been cleared by now.
            if (const std::vector<std::u16string> queued = m_queue.Paths(); !queued.empty()) {
                m_pView->ShowBalloon(StillQueuedText(queued), kBoxTitle, BalloonIcon::Information,
                                     kNoticeTimeMs);
            }
        });
    }
}

bool CCDWriter::BeginQuit() {
    const std::lock_guard lock(m_gate);
    m_bQuitWhenDone = m_bBusy;
    m_bLeaving = m_bLeaving || !m_bBusy;
    return !m_bBusy;
}

bool CCDWriter::IsLeaving() {
    const std::lock_guard lock(m_gate);
    return m_bLeaving || m_bQuitWhenDone;
}

} // namespace larkspin
