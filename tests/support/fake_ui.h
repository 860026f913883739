// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A user interface for tests: it answers from a script, and keeps what it was told.
//
// The job calls it on its own thread, the test looks at it on another: all state is locked or
// atomic.
#pragma once

#include "platform/text.h"
#include "ui/ccdwriter_ui.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
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
    void Cancel(JobKind kind) { Of(kind).cancelled = true; }
    std::vector<Box> Boxes() const { return Locked(m_boxes); }
    std::vector<std::u16string> Texts() const {
        std::vector<std::u16string> texts;
        for (const Box& box : Boxes()) {
            texts.push_back(box.text);
        }
        return texts;
    }
    // What the tick box of the last dialog started with.
    bool VerifyOffered() const { return m_verifyOffered; }
    std::vector<std::u16string> Headers() const { return Locked(m_headers); }
    std::vector<std::u16string> Statuses(JobKind kind) const { return Locked(Of(kind).statuses); }
    std::vector<double> EraseSpeeds() const { return Locked(m_eraseSpeeds); }
    std::vector<uint32_t> DiskTypes() const { return Locked(m_diskTypes); }
    uint64_t Amount(JobKind kind) const { return Of(kind).amount; }
    int Starts(JobKind kind) const { return Of(kind).starts; }
    int Steps() const { return m_steps; }
    bool NoProgressReport() const { return m_noReport; }
    int Exits() const { return m_exits; }
    // Nothing that a job puts up is left: dialogs, tray callbacks, animation.
    bool IsTidy() const {
        return m_callbackDepth == 0 && !m_animating &&
               std::none_of(m_dialogs.begin(), m_dialogs.end(),
                            [](const Dialog& dialog) { return dialog.shown.load(); });
    }

    // --- CCDWriterUI ---
    DataParametersResult ShowDataParameters(const std::u16string& header, bool verify) override {
        m_verifyOffered = verify;
        return Dialogue(header, data);
    }
    CopyParametersResult ShowAudioParameters(const std::u16string& header, bool verify) override {
        m_verifyOffered = verify;
        return Dialogue(header, audio);
    }
    CopyParametersResult ShowImageParameters(const std::u16string& header, bool verify) override {
        m_verifyOffered = verify;
        return Dialogue(header, image);
    }
    EraseTypeResult ShowEraseType(const std::vector<double>& speeds) override {
        {
            const std::lock_guard lock(m_mutex);
            m_eraseSpeeds = speeds;
        }
        return Dialogue(u"", erase);
    }
    void StartProgress(JobKind kind, uint32_t diskType) override {
        Dialog& dialog = Of(kind);
        dialog.shown = true;
        dialog.cancelled = false;
        dialog.percent = 0;
        ++dialog.starts;
        const std::lock_guard lock(m_mutex);
        m_diskTypes.push_back(diskType);
    }
    void StopProgress(JobKind kind) override { Of(kind).shown = false; }
    bool IsCancelled(JobKind kind) const override { return Of(kind).cancelled; }
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
        Of(kind).percent = std::clamp(percent, 0, 100);
        if (onProgress) {
            onProgress(kind, percent);
        }
    }
    int Progress(JobKind kind) const override { return Of(kind).percent; }
    void SetAmount(JobKind kind, uint64_t bytes) override { Of(kind).amount = bytes; }
    void StepEraseProgress() override { ++m_steps; }
    void PushJobTrayCallbacks(JobKind) override { ++m_callbackDepth; }
    void PopJobTrayCallbacks() override { --m_callbackDepth; }
    void StartTrayAnimation() override { m_animating = true; }
    void StopTrayAnimation() override { m_animating = false; }
    void SetNoProgressReport(bool noReport) override { m_noReport = noReport; }
    bool AskUser(const std::u16string& text, const std::u16string& title, BoxButtons buttons,
                 BoxIcon icon) override {
        const Box box{text, title, buttons, icon};
        {
            const std::lock_guard lock(m_mutex);
            m_boxes.push_back(box);
            if (m_boxes.size() > 100'000) { // a question that comes again for ever
                std::fprintf(stderr, "asked for ever: %s\n", ToNative(text).c_str());
                std::abort();
            }
        }
        return onBox ? onBox(box) : buttons == BoxButtons::Ok;
    }
    void HideQueueDialog() override {}
    void RequestExit() override {
        ++m_exits;
        if (onExit) {
            onExit();
        }
    }

  private:
    struct Dialog {
        std::atomic<bool> shown = false;
        std::atomic<bool> cancelled = false;
        std::atomic<int> percent = 0;
        std::atomic<uint64_t> amount = 0;
        std::atomic<int> starts = 0;
        std::vector<std::u16string> statuses; // locked
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
    const Dialog& Of(JobKind kind) const { return m_dialogs[static_cast<size_t>(kind)]; }

    std::array<Dialog, kJobKinds.size()> m_dialogs;
    std::atomic<bool> m_verifyOffered = false;
    std::atomic<int> m_steps = 0;
    std::atomic<int> m_exits = 0;
    std::atomic<int> m_callbackDepth = 0;
    std::atomic<bool> m_animating = false;
    std::atomic<bool> m_noReport = false;
    mutable std::mutex m_mutex; // guards the statuses and the rest
    std::vector<Box> m_boxes;
    std::vector<std::u16string> m_headers;
    std::vector<double> m_eraseSpeeds;
    std::vector<uint32_t> m_diskTypes;
};

} // namespace larkspin
