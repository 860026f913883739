// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CCDWriterUI: the owner of all dialogs, from the jobs' point of view.
//
// Every function may be called from a job's thread. None touches a widget there: it posts to the
// main thread, and also waits if it has a result. When the program exits, the waits end by
// themselves with the cancelled answer.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace larkspin {

struct DataParametersResult {
    bool bCancelled = true;
    uint32_t nDriveIndex = 0;
    double dSpeed = -1.0; // multiple of the medium's base speed, -1.0 for no preference
    std::u16string strTitle;
    bool bVerify = false; // read the disc back after writing it
};

// Also the result of the image dialog.
struct CopyParametersResult {
    bool bCancelled = true;
    uint32_t nDriveIndex = 0;
    double dSpeed = -1.0;
    uint32_t nCopies = 1;
    bool bVerify = false;
};

enum class EraseMode : uint32_t { Quick = 0, Full = 1, Cancelled = 2 };

struct EraseTypeResult {
    EraseMode mode = EraseMode::Cancelled;
    double dSpeed = -1.0;
};

enum class JobKind { Data, Audio, Image, Erase, Verify };
inline constexpr std::array kJobKinds = {JobKind::Data, JobKind::Audio, JobKind::Image,
                                         JobKind::Erase, JobKind::Verify};

// A message box's buttons and icon. The first button is the default, except in a guarded box.
enum class BoxButtons {
    Ok,
    OkCancel,
    YesNo,
    // Yes gives up something irreplaceable: data on a disc, or a disc that can be written only
    // once. No is the default, and input in the first second, which may be meant for the previous
    // box, is ignored.
    YesNoGuarded,
};
enum class BoxIcon { None, Question, Stop };

// Used instead of an MMC profile: nothing is being written yet, so a cancel costs no disc.
inline constexpr uint32_t kNothingAtStake = 0xFFFFFFFF;

// The title of the boxes shown by a job.
inline constexpr const char16_t* kBoxTitle = u"Larkspin 1.4";

// Stands for the size of the queue in the data and the audio dialog until it is known.
inline constexpr const char16_t* kCalculating = u"Calculating...";

class CCDWriterUI {
  public:
    virtual ~CCDWriterUI() = default;

    // `verify`: the initial state of the tick box.
    virtual DataParametersResult ShowDataParameters(const std::u16string& header, bool verify) = 0;
    virtual CopyParametersResult ShowAudioParameters(const std::u16string& header, bool verify) = 0;
    virtual CopyParametersResult ShowImageParameters(const std::u16string& header, bool verify) = 0;
    virtual EraseTypeResult ShowEraseType(const std::vector<double>& speeds) = 0;

    // Progress dialogs. Starting one sets the bar to 0, clears the flags, brings the dialog to the
    // front, and starts the clock and the timer. `diskType` is an MMC profile for the cancel
    // question.
    virtual void StartProgress(JobKind kind, uint32_t diskType) = 0;
    virtual void StopProgress(JobKind kind) = 0;
    virtual bool IsCancelled(JobKind kind) const = 0; // by the user, since the start

    // The same by name.
    void StartDataProgress(uint32_t diskType) { StartProgress(JobKind::Data, diskType); }
    void StartAudioProgress(uint32_t diskType) { StartProgress(JobKind::Audio, diskType); }
    void StartImageProgress(uint32_t diskType) { StartProgress(JobKind::Image, diskType); }
    void StartEraseProgress() { StartProgress(JobKind::Erase, 0); }
    void StopDataProgress() { StopProgress(JobKind::Data); }
    void StopAudioProgress() { StopProgress(JobKind::Audio); }
    void StopImageProgress() { StopProgress(JobKind::Image); }
    void StopEraseProgress() { StopProgress(JobKind::Erase); }
    bool IsDataCancelled() const { return IsCancelled(JobKind::Data); }
    bool IsAudioCancelled() const { return IsCancelled(JobKind::Audio); }
    bool IsImageCancelled() const { return IsCancelled(JobKind::Image); }
    bool IsEraseCancelled() const { return IsCancelled(JobKind::Erase); }

    virtual void SetStatus(JobKind kind, const std::u16string& text) = 0;
    virtual void SetProgress(JobKind kind, int percent) = 0; // limited to 0 to 100
    virtual int Progress(JobKind kind) const = 0;            // in percent
    // The number of bytes that the whole bar stands for, once known; each start resets it.
    virtual void SetAmount(JobKind kind, uint64_t bytes) = 0;
    void SetEraseProgress(int percent) { SetProgress(JobKind::Erase, percent); }
    virtual void StepEraseProgress() = 0;

    // Replaces the tray icon's callbacks by the job's pair (progress balloon and progress menu), as
    // on a stack; used by TrayCallbackGuard.
    virtual void PushJobTrayCallbacks(JobKind kind) = 0;
    virtual void PopJobTrayCallbacks() = 0;
    virtual void StartTrayAnimation() = 0;
    virtual void StopTrayAnimation() = 0;
    // For the erase job's balloon: the drive reports no percentage.
    virtual void SetNoProgressReport(bool noReport) = 0;

    // A message box without an owner; true for OK or Yes. Several may be open at once.
    virtual bool AskUser(const std::u16string& text, const std::u16string& title,
                         BoxButtons buttons, BoxIcon icon) = 0;
    // OK only, title "Larkspin 1.4", no icon.
    void ShowMessage(const std::u16string& text) {
        AskUser(text, kBoxTitle, BoxButtons::Ok, BoxIcon::None);
    }

    virtual void HideQueueDialog() = 0;
    // Posts UM_QUIT to the main dialog.
    virtual void RequestExit() = 0;
};

// Installs a job's tray callbacks as long as the object lives.
class TrayCallbackGuard {
  public:
    TrayCallbackGuard(CCDWriterUI& ui, JobKind kind) : m_ui(ui) { m_ui.PushJobTrayCallbacks(kind); }
    TrayCallbackGuard(const TrayCallbackGuard&) = delete;
    TrayCallbackGuard& operator=(const TrayCallbackGuard&) = delete;
    ~TrayCallbackGuard() { m_ui.PopJobTrayCallbacks(); }

  private:
    CCDWriterUI& m_ui;
};

} // namespace larkspin
