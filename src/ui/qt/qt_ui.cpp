// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/qt_ui.h"

#include "ui/edit_queue_dialog.h"
#include "ui/parameter_dialogs.h"
#include "ui/progress_dialog.h"
#include "ui/qt/artwork.h"
#include "ui/qt/main_thread.h"
#include "ui/qt/parameter_window.h"
#include "ui/qt/progress_window.h"
#include "ui/qt/queue_window.h"
#include "ui/qt/tray_view.h"
#include "ui/qt/windows.h"
#include "ui/tray_icon.h"
#include "ui/ui_exception.h"

#include <QApplication>
#include <QPointer>
#include <QStyleHints>
#include <QTimer>

#include <array>
#include <atomic>
#include <chrono>
#include <new>
#include <optional>
#include <utility>
#include <vector>

// Outside the namespace, as the resource compiler requires.
static void InitArtwork() {
    Q_INIT_RESOURCE(artwork);
}

namespace larkspin {

namespace {

using Callback = CCDWriterUITrayIcon::Callback;

// How long a message stays if there may be nobody to read it.
constexpr std::chrono::minutes kLastWordsTime{1};

Callback ToCallback(std::function<void()> function) {
    return Callback([function = std::move(function)] {
        if (function) {
            function();
        }
    });
}

} // namespace

// A job's dialog: its logic, its window, and whether an update of the window has been posted.
struct JobDialog {
    JobDialog(JobKind kind, const std::function<void(JobKind, uint32_t)>& onCancel)
        : logic(kind, [kind, onCancel](uint32_t run) {
              if (onCancel) {
                  onCancel(kind, run);
              }
          }) {}

    CProgressDialog logic;
    std::unique_ptr<CProgressWindow> window;
    std::atomic<bool> refreshPosted = false;
};

class QtUi::Impl {
  public:
    Impl(IDriveCatalog& drives, IQueueModel& queue, ISettingsStore& store, IFileSystem& files,
         IClock& clock, std::function<void()> onQuit,
         const std::function<void(JobKind, uint32_t)>& onCancel);

    JobDialog& Dialog(JobKind kind) { return *m_jobs.at(static_cast<size_t>(kind)); }

    // Job's thread.
    void Start(JobKind kind, uint32_t diskType);
    void Stop(JobKind kind);
    void PostRefresh(JobKind kind);
    std::optional<ParameterInput>
    AskParameters(const ParameterContent& content,
                  const std::function<std::vector<std::u16string>(uint32_t)>& selectDrive);

    // Main thread.
    void OpenParameters(const ParameterContent& content, std::function<void(uint32_t)> driveChanged,
                        std::function<void(std::optional<ParameterInput>)> done);
    void FillHeader(CParameterWindow& window, JobKind kind);
    void KeepQuestion(QDialog* question);
    void PushCallbacks(JobKind kind);
    void RefreshTray();

    IDriveCatalog& m_drives;
    IQueueModel& m_queue;
    ISettingsStore& m_store;
    IClock& m_clock;
    const std::function<void()> m_onQuit;
    CMainThread m_main;
    CWindowSet m_windows;
    QPointer<CParameterWindow> m_pParameters;
    std::vector<QPointer<QDialog>> m_questions;                      // that a job waits for
    bool m_bLeaving = false;                                         // main thread
    std::array<std::unique_ptr<JobDialog>, kJobKinds.size()> m_jobs; // by JobKind
    CEditQueueDialog m_queueLogic;
    CQueueModel m_queueModel;
    CQueueWindow m_queueWindow;
    CTrayView m_trayView;
    CCDWriterUITrayIcon m_tray;
    std::atomic<bool> m_bNoProgressReport = false;
    std::function<void(const std::u16string&)> m_pathDropped;
    std::function<void()> m_clickTick;
    QTimer m_clickTimer;
    QTimer m_refreshTimer;
};

QtUi::Impl::Impl(IDriveCatalog& drives, IQueueModel& queue, ISettingsStore& store,
                 IFileSystem& files, IClock& clock, std::function<void()> onQuit,
                 const std::function<void(JobKind, uint32_t)>& onCancel)
    : m_drives(drives), m_queue(queue), m_store(store), m_clock(clock), m_onQuit(std::move(onQuit)),
      m_queueLogic(queue),
      m_queueModel(files, clock, m_main, CEditQueueDialog::ShowFileIcons(store)),
      m_queueWindow(m_queueLogic, m_queueModel,
                    [this](const std::u16string& path) {
                        if (m_pathDropped) {
                            m_pathDropped(path);
                        }
                    }),
      m_tray(m_trayView) {
    for (const JobKind kind : kJobKinds) {
        auto& job = m_jobs.at(static_cast<size_t>(kind));
        job = std::make_unique<JobDialog>(kind, onCancel);
        job->window = std::make_unique<CProgressWindow>(job->logic, clock, m_windows,
                                                        [this] { m_trayView.RefreshMenu(); });
    }
    m_trayView.Connect(
        m_tray, {[this](const QIcon& icon) { m_queueWindow.StandIn().SetIcon(icon); },
                 [this](const Balloon& balloon) { m_queueWindow.StandIn().ShowNotice(balloon); },
                 [this](const std::vector<MenuItem>& items, std::function<void(uint32_t)> command) {
                     m_queueWindow.StandIn().SetMenu(items, std::move(command));
                 }});
    m_queueWindow.StandIn().Connect(m_trayView.Menu(), [this] { m_tray.OnLeftButtonUp(); });
    QObject::connect(&m_clickTimer, &QTimer::timeout, &m_clickTimer, [this] {
        const std::function<void()> tick = m_clickTick; // it may kill the timer
        if (tick) {
            tick();
        }
    });
    QObject::connect(&m_refreshTimer, &QTimer::timeout, &m_refreshTimer, [this] { RefreshTray(); });
    m_refreshTimer.start(static_cast<int>(CEditQueueDialog::kRefreshPeriodMs));
    RefreshTray();
}

void QtUi::Impl::RefreshTray() {
    m_queueWindow.RefreshRows();
    m_trayView.RefreshMenu();
    // A tray may come and go while we run.
    const bool standIn = !CTrayView::HasTray();
    if (standIn != m_queueWindow.IsStandIn()) {
        m_queueWindow.SetStandIn(standIn);
        if (standIn) {
            m_queueWindow.show();
        } else if (m_queueWindow.isMinimized()) {
            m_queueWindow.hide(); // a window that is open stays as it is
        }
    }
}

void QtUi::Impl::Start(JobKind kind, uint32_t diskType) {
    const std::u16string name =
        kind == JobKind::Erase ? std::u16string() : m_drives.DiskTypeName(diskType);
    JobDialog& dialog = Dialog(kind);
    dialog.logic.Start(diskType, name, m_clock.TickMs());
    m_main.Post([&dialog] { dialog.window->Start(); });
}

void QtUi::Impl::Stop(JobKind kind) {
    m_main.Post([&dialog = Dialog(kind)] { dialog.window->Stop(); });
}

void QtUi::Impl::PostRefresh(JobKind kind) {
    JobDialog& dialog = Dialog(kind);
    // One update at a time: a job may report thousands of times a second.
    if (!dialog.refreshPosted.exchange(true)) {
        m_main.Post([&dialog] {
            dialog.refreshPosted = false;
            dialog.window->Refresh();
        });
    }
}

std::optional<ParameterInput>
QtUi::Impl::AskParameters(const ParameterContent& content,
                          const std::function<std::vector<std::u16string>(uint32_t)>& selectDrive) {
    const auto answer = std::make_shared<std::optional<ParameterInput>>();
    const bool answered = m_main.PostAndWait(
        [this, content, selectDrive, answer](const std::shared_ptr<CWaitingCall>& call) {
            if (m_bLeaving) {
                call->Finish();
                return;
            }
            OpenParameters(
                content,
                [this, selectDrive, call](uint32_t drive) {
                    // The drive is asked on the job's thread, and the answer is handled here.
                    call->RunOnCaller([this, selectDrive, drive] {
                        m_main.Post([this, drive, texts = selectDrive(drive)] {
                            if (m_pParameters != nullptr) {
                                m_pParameters->SetSpeeds(drive, texts);
                            }
                        });
                    });
                },
                [answer, call](std::optional<ParameterInput> input) {
                    *answer = std::move(input);
                    call->Finish();
                });
        });
    return answered ? *answer : std::nullopt;
}

void QtUi::Impl::OpenParameters(const ParameterContent& content,
                                std::function<void(uint32_t)> driveChanged,
                                std::function<void(std::optional<ParameterInput>)> done) {
    auto window = std::make_unique<CParameterWindow>(content);
    m_pParameters = window.get();
    m_pParameters->OnDriveChanged(std::move(driveChanged));
    if (content.strHeader == kCalculating) {
        FillHeader(*window, content.kind);
    }
    KeepQuestion(m_windows.Open(
        std::move(window), [done = std::move(done), open = m_pParameters.data()](int result) {
            done(result == QDialog::Accepted ? std::optional(open->Input()) : std::nullopt);
        }));
}

// Shows the size of the queue as soon as it is known.
void QtUi::Impl::FillHeader(CParameterWindow& window, JobKind kind) {
    constexpr int kLookMs = 200;
    auto* timer = new QTimer(&window);
    QObject::connect(timer, &QTimer::timeout, &window, [this, &window, timer, kind] {
        if (const std::optional<std::u16string> text = m_queue.HeaderText(kind)) {
            window.SetHeader(*text);
            timer->stop();
        }
    });
    timer->start(kLookMs);
}

void QtUi::Impl::KeepQuestion(QDialog* question) {
    std::erase_if(m_questions, [](const QPointer<QDialog>& other) { return other.isNull(); });
    m_questions.emplace_back(question);
}

void QtUi::Impl::PushCallbacks(JobKind kind) {
    JobDialog& dialog = Dialog(kind);
    m_tray.PushCallbacks(
        Callback([this, &dialog] {
            const ProgressBalloonText balloon =
                ProgressBalloon(dialog.logic.Kind(), dialog.logic.Progress(), m_bNoProgressReport);
            m_tray.ShowBalloon(balloon.strText, balloon.szTitle, BalloonIcon::Information,
                               kProgressBalloonMs);
        }),
        Callback([this, &dialog] {
            m_trayView.TrackMenu(
                MenuItems(dialog.logic.IsHidden() ? MenuId::RunningHidden : MenuId::RunningShown),
                [&dialog](uint32_t command) { dialog.window->Command(command); });
        }));
    m_trayView.RefreshMenu();
}

QtUi::QtUi(IDriveCatalog& drives, IQueueModel& queue, ISettingsStore& store, IFileSystem& files,
           IClock& clock, std::function<void()> onQuit,
           const std::function<void(JobKind, uint32_t)>& onCancel) {
    InitArtwork();
    QApplication::setQuitOnLastWindowClosed(false);
    try {
        m_pImpl =
            std::make_unique<Impl>(drives, queue, store, files, clock, std::move(onQuit), onCancel);
    } catch (const std::exception&) {
        throw CCDWriterUIException();
    }
}

QtUi::~QtUi() {
    ReleaseWaits();
}

void QtUi::ReleaseWaits() {
    m_pImpl->m_main.ReleaseWaits();
}

DataParametersResult QtUi::ShowDataParameters(const std::u16string& header, bool verify) {
    CDataParameters logic(m_pImpl->m_drives, m_pImpl->m_store, m_pImpl->m_clock);
    const auto input = m_pImpl->AskParameters(
        logic.Open(header, verify), [&logic](uint32_t drive) { return logic.SelectDrive(drive); });
    return input ? logic.Accept(*input) : DataParametersResult();
}

CopyParametersResult QtUi::ShowAudioParameters(const std::u16string& header, bool verify) {
    CAudioParameters logic(m_pImpl->m_drives);
    const auto input = m_pImpl->AskParameters(
        logic.Open(header, verify), [&logic](uint32_t drive) { return logic.SelectDrive(drive); });
    return input ? logic.Accept(*input) : CopyParametersResult();
}

CopyParametersResult QtUi::ShowImageParameters(const std::u16string& header, bool verify) {
    CBurnImageParameters logic(m_pImpl->m_drives);
    const auto input = m_pImpl->AskParameters(
        logic.Open(header, verify), [&logic](uint32_t drive) { return logic.SelectDrive(drive); });
    return input ? logic.Accept(*input) : CopyParametersResult();
}

EraseTypeResult QtUi::ShowEraseType(const std::vector<double>& speeds) {
    const CEraseTypeDialog logic(speeds);
    const auto input = m_pImpl->AskParameters(logic.Open(), {});
    return input ? logic.Accept(*input) : EraseTypeResult();
}

void QtUi::StartProgress(JobKind kind, uint32_t diskType) {
    m_pImpl->Start(kind, diskType);
}

void QtUi::StopProgress(JobKind kind) {
    m_pImpl->Stop(kind);
}

bool QtUi::IsCancelled(JobKind kind) const {
    return m_pImpl->Dialog(kind).logic.IsCancelled();
}

void QtUi::SetStatus(JobKind kind, const std::u16string& text) {
    m_pImpl->Dialog(kind).logic.SetStatus(text);
    m_pImpl->PostRefresh(kind);
}

void QtUi::SetProgress(JobKind kind, int percent) {
    m_pImpl->Dialog(kind).logic.SetProgress(percent);
    m_pImpl->PostRefresh(kind);
}

int QtUi::Progress(JobKind kind) const {
    return m_pImpl->Dialog(kind).logic.Progress();
}

void QtUi::SetAmount(JobKind kind, uint64_t bytes) {
    m_pImpl->Dialog(kind).logic.SetAmount(bytes);
}

void QtUi::StepEraseProgress() {
    m_pImpl->Dialog(JobKind::Erase).logic.StepProgress();
    m_pImpl->PostRefresh(JobKind::Erase);
}

void QtUi::PushJobTrayCallbacks(JobKind kind) {
    m_pImpl->m_main.Post([impl = m_pImpl.get(), kind] { impl->PushCallbacks(kind); });
}

void QtUi::PopJobTrayCallbacks() {
    m_pImpl->m_main.Post([impl = m_pImpl.get()] {
        impl->m_tray.PopCallbacks();
        impl->m_trayView.RefreshMenu();
    });
}

void QtUi::StartTrayAnimation() {
    m_pImpl->m_main.Post([impl = m_pImpl.get()] { impl->m_tray.StartTrayAnimation(); });
}

void QtUi::StopTrayAnimation() {
    m_pImpl->m_main.Post([impl = m_pImpl.get()] { impl->m_tray.StopTrayAnimation(); });
}

void QtUi::SetNoProgressReport(bool noReport) {
    m_pImpl->m_bNoProgressReport = noReport;
}

bool QtUi::AskUser(const std::u16string& text, const std::u16string& title, BoxButtons buttons,
                   BoxIcon icon) {
    const auto answer = std::make_shared<bool>(false);
    const bool answered =
        m_pImpl->m_main.PostAndWait([impl = m_pImpl.get(), text, title, buttons, icon,
                                     answer](const std::shared_ptr<CWaitingCall>& call) {
            if (impl->m_bLeaving && buttons != BoxButtons::Ok) {
                call->Finish();
                return;
            }
            QDialog* const box = OpenMessageBox(impl->m_windows, text, title, buttons, icon,
                                                [answer, call](bool yes) {
                                                    *answer = yes;
                                                    call->Finish();
                                                });
            impl->KeepQuestion(box);
            if (impl->m_bLeaving) {
                QTimer::singleShot(kLastWordsTime, box, &QDialog::reject);
            }
        });
    return answered && *answer;
}

void QtUi::HideQueueDialog() {
    m_pImpl->m_main.Post([impl = m_pImpl.get()] {
        if (!impl->m_queueWindow.IsStandIn()) {
            impl->m_queueWindow.hide();
        }
    });
}

void QtUi::RequestExit() {
    m_pImpl->m_main.Post(m_pImpl->m_onQuit);
}

void QtUi::ShowBalloon(const std::u16string& text, const std::u16string& title, BalloonIcon icon,
                       uint32_t timeoutMs) {
    if (m_pImpl->m_main.IsCurrent()) {
        m_pImpl->m_tray.ShowBalloon(text, title, icon, timeoutMs);
    } else {
        m_pImpl->m_main.Post([impl = m_pImpl.get(), text, title, icon, timeoutMs] {
            impl->m_tray.ShowBalloon(text, title, icon, timeoutMs);
        });
    }
}

void QtUi::SetIdleTrayCallbacks(std::function<void()> left, std::function<void()> right) {
    m_pImpl->m_tray.SetIdleCallbacks(ToCallback(std::move(left)), ToCallback(std::move(right)));
    // Later, because the caller may not be ready for its callbacks yet.
    m_pImpl->m_main.Post([impl = m_pImpl.get()] { impl->m_trayView.RefreshMenu(); });
}

void QtUi::SetPathDropped(std::function<void(const std::u16string&)> dropped) {
    m_pImpl->m_pathDropped = std::move(dropped);
}

void QtUi::StartClickTimer(uint32_t ms, std::function<void()> tick) {
    m_pImpl->m_clickTick = std::move(tick);
    m_pImpl->m_clickTimer.start(static_cast<int>(ms));
}

void QtUi::KillClickTimer() {
    m_pImpl->m_clickTimer.stop();
}

void QtUi::AfterPainting(std::function<void()> work) {
    // Mapping and painting a window takes several turns of the event loop and the display.
    constexpr int kPaintingMs = 100;
    QTimer::singleShot(kPaintingMs, &m_pImpl->m_clickTimer, std::move(work));
}

uint32_t QtUi::DoubleClickTimeMs() {
    return static_cast<uint32_t>(QGuiApplication::styleHints()->mouseDoubleClickInterval());
}

void QtUi::TrackIdleMenu(const IdleMenuState& state, std::function<void(uint32_t)> command) {
    m_pImpl->m_trayView.TrackMenu(IdleMenuItems(state), std::move(command));
}

void QtUi::ShowQueueEditor() {
    m_pImpl->m_queueWindow.RefreshRows();
    BringToFront(m_pImpl->m_queueWindow);
}

void QtUi::CancelQuestions() {
    m_pImpl->m_bLeaving = true;
    for (const QPointer<QDialog>& question : std::exchange(m_pImpl->m_questions, {})) {
        // A box that was just answered still exists, but is hidden.
        if (question != nullptr && question->isVisible()) {
            question->reject();
        }
    }
}

void QtUi::ShowErrorBox(const std::u16string& text, const std::u16string& title) {
    OpenMessageBox(m_pImpl->m_windows, text, title, BoxButtons::Ok, BoxIcon::Stop, [](bool) {});
}

void QtUi::Quit(int code) {
    ReleaseWaits();
    QCoreApplication::exit(code);
}

} // namespace larkspin
