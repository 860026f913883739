// A user interface for tests: it answers from a script, and keeps what it was told.
//
// The job calls it on its own thread, the test looks at it on another: all state is locked.
#pragma once

#include "ui/ccdwriter_ui.h"

#include <algorithm>
#include <array>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace larkspin {

class FakeUi : public CCDWriterUI {
  public:
    struct Box {
        std::u16string text;
        std::u16string title;
        BoxButtons buttons;
        BoxIcon icon;
    };

    FakeUi() {
        data.bCancelled = audio.bCancelled = image.bCancelled = false;
        data.strTitle = u"Test disc";
        erase.mode = EraseMode::Quick;
    }

    // --- script; set before the job starts ---
    DataParametersResult data;
    CopyParametersResult audio;
    CopyParametersResult image;
    EraseTypeResult erase;
    // The answer to a box with two buttons; Cancel and No unless set.
    std::function<bool(const Box& box)> onBox;
    std::function<void(JobKind kind, const std::u16string& text)> onStatus;
    std::function<void(JobKind kind, int percent)> onProgress;
    // Before a parameter dialog is answered.
    std::function<void()> onDialog;
    std::function<void()> onExit;

    // --- what the test may do and see at any time ---
    void Cancel(JobKind kind) {
        const std::lock_guard lock(m_mutex);
        Of(kind).cancelled = true;
    }
    std::vector<Box> Boxes() const { return Locked(m_boxes); }
    std::vector<std::u16string> Texts() const {
        std::vector<std::u16string> texts;
        for (const Box& box : Boxes()) {
            texts.push_back(box.text);
        }
        return texts;
    }
    std::vector<std::u16string> Headers() const { return Locked(m_headers); }
    std::vector<std::u16string> Statuses(JobKind kind) const {
        return Locked(m_dialogs[static_cast<size_t>(kind)].statuses);
    }
    std::vector<double> EraseSpeeds() const { return Locked(m_eraseSpeeds); }
    std::vector<uint32_t> DiskTypes() const { return Locked(m_diskTypes); }
    int Starts(JobKind kind) const { return Locked(m_dialogs[static_cast<size_t>(kind)].starts); }
    int Steps() const { return Locked(m_steps); }
    bool NoProgressReport() const { return Locked(m_noReport); }
    int Exits() const { return Locked(m_exits); }
    // Nothing that a job puts up is left: dialogs, tray callbacks, animation.
    bool IsTidy() const {
        const std::lock_guard lock(m_mutex);
        return m_callbackDepth == 0 && !m_animating &&
               std::none_of(m_dialogs.begin(), m_dialogs.end(),
                            [](const Dialog& dialog) { return dialog.shown; });
    }

    // --- CCDWriterUI ---
    DataParametersResult ShowDataParameters(const std::u16string& header) override {
        return Dialogue(header, data);
    }
    CopyParametersResult ShowAudioParameters(const std::u16string& header) override {
        return Dialogue(header, audio);
    }
    CopyParametersResult ShowImageParameters(const std::u16string& header) override {
        return Dialogue(header, image);
    }
    EraseTypeResult ShowEraseType(const std::vector<double>& speeds) override {
        {
            const std::lock_guard lock(m_mutex);
            m_eraseSpeeds = speeds;
        }
        return Dialogue(u"", erase);
    }
    void StartDataProgress(uint32_t diskType) override { Start(JobKind::Data, diskType); }
    void StartAudioProgress(uint32_t diskType) override { Start(JobKind::Audio, diskType); }
    void StartImageProgress(uint32_t diskType) override { Start(JobKind::Image, diskType); }
    void StartEraseProgress() override { Start(JobKind::Erase, 0); }
    void StopDataProgress() override { Stop(JobKind::Data); }
    void StopAudioProgress() override { Stop(JobKind::Audio); }
    void StopImageProgress() override { Stop(JobKind::Image); }
    void StopEraseProgress() override { Stop(JobKind::Erase); }
    bool IsDataCancelled() const override { return IsCancelled(JobKind::Data); }
    bool IsAudioCancelled() const override { return IsCancelled(JobKind::Audio); }
    bool IsImageCancelled() const override { return IsCancelled(JobKind::Image); }
    bool IsEraseCancelled() const override { return IsCancelled(JobKind::Erase); }
    void SetStatus(JobKind kind, const std::u16string& text) override {
        {
            const std::lock_guard lock(m_mutex);
            Of(kind).statuses.push_back(text);
        }
        if (onStatus) {
            onStatus(kind, text);
        }
    }
    void SetProgress(JobKind kind, int percent) override {
        {
            const std::lock_guard lock(m_mutex);
            Of(kind).percent = std::clamp(percent, 0, 100);
        }
        if (onProgress) {
            onProgress(kind, percent);
        }
    }
    int Progress(JobKind kind) const override {
        return Locked(m_dialogs[static_cast<size_t>(kind)].percent);
    }
    void StepEraseProgress() override {
        const std::lock_guard lock(m_mutex);
        ++m_steps;
    }
    void PushJobTrayCallbacks(JobKind) override {
        const std::lock_guard lock(m_mutex);
        ++m_callbackDepth;
    }
    void PopJobTrayCallbacks() override {
        const std::lock_guard lock(m_mutex);
        --m_callbackDepth;
    }
    void StartTrayAnimation() override {
        const std::lock_guard lock(m_mutex);
        m_animating = true;
    }
    void StopTrayAnimation() override {
        const std::lock_guard lock(m_mutex);
        m_animating = false;
    }
    void SetNoProgressReport(bool noReport) override {
        const std::lock_guard lock(m_mutex);
        m_noReport = noReport;
    }
    bool AskUser(const std::u16string& text, const std::u16string& title, BoxButtons buttons,
                 BoxIcon icon) override {
        const Box box{text, title, buttons, icon};
        {
            const std::lock_guard lock(m_mutex);
            m_boxes.push_back(box);
        }
        return onBox ? onBox(box) : buttons == BoxButtons::Ok;
    }
    void HideQueueDialog() override {}
    void RequestExit() override {
        {
            const std::lock_guard lock(m_mutex);
            ++m_exits;
        }
        if (onExit) {
            onExit();
        }
    }

  private:
    struct Dialog {
        bool shown = false;
        bool cancelled = false;
        int percent = 0;
        int starts = 0;
        std::vector<std::u16string> statuses;
    };

    template <typename Value>
    Value Locked(const Value& value) const {
        const std::lock_guard lock(m_mutex);
        return value;
    }
    template <typename Result>
    Result Dialogue(const std::u16string& header, const Result& result) {
        {
            const std::lock_guard lock(m_mutex);
            m_headers.push_back(header);
        }
        if (onDialog) {
            onDialog();
        }
        return result;
    }
    Dialog& Of(JobKind kind) { return m_dialogs[static_cast<size_t>(kind)]; }
    void Start(JobKind kind, uint32_t diskType) {
        const std::lock_guard lock(m_mutex);
        Dialog& dialog = Of(kind);
        dialog.shown = true;
        dialog.cancelled = false;
        dialog.percent = 0;
        ++dialog.starts;
        m_diskTypes.push_back(diskType);
    }
    void Stop(JobKind kind) {
        const std::lock_guard lock(m_mutex);
        Of(kind).shown = false;
    }
    bool IsCancelled(JobKind kind) const {
        return Locked(m_dialogs[static_cast<size_t>(kind)].cancelled);
    }

    mutable std::mutex m_mutex;
    std::array<Dialog, 4> m_dialogs;
    std::vector<Box> m_boxes;
    std::vector<std::u16string> m_headers;
    std::vector<double> m_eraseSpeeds;
    std::vector<uint32_t> m_diskTypes;
    int m_steps = 0;
    int m_exits = 0;
    int m_callbackDepth = 0;
    bool m_animating = false;
    bool m_noReport = false;
};

} // namespace larkspin
