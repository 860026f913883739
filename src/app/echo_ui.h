// A user interface that tells a terminal what it tells the user: status lines, percentages and
// message boxes go to standard output, and everything goes on to the user interface behind it.
//
// Called on the threads that call the one behind it.
#pragma once

#include "ui/ccdwriter_ui.h"

#include <array>
#include <atomic>

namespace larkspin {

// Tells the terminal of a message box.
void EchoMessage(const std::u16string& text);

class EchoUi final : public CCDWriterUI {
  public:
    // `ui` is kept.
    explicit EchoUi(CCDWriterUI& ui) : m_ui(ui) {}

    void SetStatus(JobKind kind, const std::u16string& text) override;
    void SetProgress(JobKind kind, int percent) override;
    bool AskUser(const std::u16string& text, const std::u16string& title, BoxButtons buttons,
                 BoxIcon icon) override;

    DataParametersResult ShowDataParameters(const std::u16string& header, bool verify) override {
        return m_ui.ShowDataParameters(header, verify);
    }
    CopyParametersResult ShowAudioParameters(const std::u16string& header, bool verify) override {
        return m_ui.ShowAudioParameters(header, verify);
    }
    CopyParametersResult ShowImageParameters(const std::u16string& header, bool verify) override {
        return m_ui.ShowImageParameters(header, verify);
    }
    EraseTypeResult ShowEraseType(const std::vector<double>& speeds) override {
        return m_ui.ShowEraseType(speeds);
    }
    void StartDataProgress(uint32_t diskType) override { m_ui.StartDataProgress(diskType); }
    void StartAudioProgress(uint32_t diskType) override { m_ui.StartAudioProgress(diskType); }
    void StartImageProgress(uint32_t diskType) override { m_ui.StartImageProgress(diskType); }
    void StartEraseProgress() override;
    void StopDataProgress() override { m_ui.StopDataProgress(); }
    void StopAudioProgress() override { m_ui.StopAudioProgress(); }
    void StopImageProgress() override { m_ui.StopImageProgress(); }
    void StopEraseProgress() override { m_ui.StopEraseProgress(); }
    bool IsDataCancelled() const override { return m_ui.IsDataCancelled(); }
    bool IsAudioCancelled() const override { return m_ui.IsAudioCancelled(); }
    bool IsImageCancelled() const override { return m_ui.IsImageCancelled(); }
    bool IsEraseCancelled() const override { return m_ui.IsEraseCancelled(); }
    int Progress(JobKind kind) const override { return m_ui.Progress(kind); }
    void StepEraseProgress() override { m_ui.StepEraseProgress(); }
    void PushJobTrayCallbacks(JobKind kind) override { m_ui.PushJobTrayCallbacks(kind); }
    void PopJobTrayCallbacks() override { m_ui.PopJobTrayCallbacks(); }
    void StartTrayAnimation() override { m_ui.StartTrayAnimation(); }
    void StopTrayAnimation() override { m_ui.StopTrayAnimation(); }
    void SetNoProgressReport(bool noReport) override { m_ui.SetNoProgressReport(noReport); }
    void HideQueueDialog() override { m_ui.HideQueueDialog(); }
    void RequestExit() override { m_ui.RequestExit(); }

  private:
    CCDWriterUI& m_ui;
    std::array<std::atomic<int>, 4> m_lastPercent = {-1, -1, -1, -1}; // by JobKind
};

} // namespace larkspin
