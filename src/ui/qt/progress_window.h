// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The window of a progress dialog. Created hidden at start-up. Main thread.
#pragma once

#include "platform/clock.h"
#include "ui/progress_dialog.h"
#include "ui/qt/windows.h"

#include <QDialog>
#include <QPixmap>
#include <QPointer>
#include <QTimer>

#include <array>
#include <functional>

class QLabel;
class QProgressBar;

namespace larkspin {

class CProgressWindow final : public QDialog {
    Q_OBJECT

  public:
    // Keeps all references. `visibilityChanged` is called after Hide and Show.
    CProgressWindow(CProgressDialog& logic, IClock& clock, CWindowSet& windows,
                    std::function<void()> visibilityChanged);

    // The job has started or ended.
    void Start();
    void Stop();
    // Updates bar and status line from the logic.
    void Refresh();
    // CMD_CANCEL, CMD_HIDE or CMD_SHOW, from a button or the tray menu. Ignored without a job.
    void Command(uint32_t command);

  public slots:
    // Escape and the window's close button.
    void reject() override { Command(CMD_CANCEL); }

  protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void AskCancel();
    void CloseQuestion();
    void OnTimer();

    CProgressDialog& m_logic;
    IClock& m_clock;
    CWindowSet& m_windows;
    const std::function<void()> m_visibilityChanged;
    std::array<QPixmap, 2> m_pictures;
    QPointer<QDialog> m_pQuestion;
    QLabel* m_pPicture = nullptr;
    QLabel* m_pStatus = nullptr;
    QProgressBar* m_pBar = nullptr;
    QLabel* m_pElapsed = nullptr;
    QLabel* m_pLeft = nullptr; // time left and speed
    QTimer m_timer;
};

} // namespace larkspin
